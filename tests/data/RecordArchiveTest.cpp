#include "RecordVisitors.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace OrvKitDat;

namespace {

template <class R>
std::vector<uint8_t> serialized(const R& record)
{
    VxSerialization::Archive archive;
    record.serialize(archive);
    return archive.bytes();
}

// An archive handed over as bytes, made with nothing but the archive's own
// operations.
VxSerialization::Archive holding(const std::vector<uint8_t>& bytes)
{
    VxSerialization::Archive archive;
    archive.write(bytes.data(), bytes.size());
    return archive;
}

template <class R>
R unserialized(const std::vector<uint8_t>& bytes)
{
    VxSerialization::Archive archive = holding(bytes);
    R record;
    EXPECT_TRUE(record.unserialize(archive));
    return record;
}

// What a record read from a damaged archive may write back: the values it
// read, and the defaults of the members after the damage.
template <class R>
size_t bound(size_t archiveBytes)
{
    return archiveBytes + serialized(R()).size();
}

} // namespace

template <class R>
class RecordArchiveTest : public ::testing::Test
{
};

using AllRecords = ::testing::Types<ErrorResponse, AuthResponse, SummaryResponse, CertificateResponse,
                                    BookmarksSpotsResponse, BookmarksSpotDetailResponse, BookmarksFoldersResponse,
                                    BookmarksDestsResponse, PlansSummaryResponse, PlansResponse, GenresResponse,
                                    CertificateRequest, CarPositions>;
TYPED_TEST_SUITE(RecordArchiveTest, AllRecords);

TYPED_TEST(RecordArchiveTest, SerializeWritesEveryMemberInTableOrder)
{
    for (const TypeParam& record : {TypeParam(), filledRecord<TypeParam>()}) {
        VxSerialization::Archive archive;
        EXPECT_TRUE(record.serialize(archive));
        EXPECT_EQ(archive.bytes(), expectedArchive(record).archive.bytes());
    }
}

// The value written after the record is the next one read: the record read
// exactly what it wrote.
TYPED_TEST(RecordArchiveTest, RoundTripIntoFreshRecordKeepsEveryMember)
{
    const TypeParam source = filledRecord<TypeParam>();
    VxSerialization::Archive archive;
    source.serialize(archive);
    archive.write(0xC0FFEEu);
    TypeParam copy;
    EXPECT_TRUE(copy.unserialize(archive));
    EXPECT_EQ(dumpRecord(copy), dumpRecord(source));
    unsigned int next = 0;
    EXPECT_EQ(archive.read(next), 0);
    EXPECT_EQ(next, 0xC0FFEEu);
}

TYPED_TEST(RecordArchiveTest, UnserializeReplacesWhatTheRecordHeld)
{
    const TypeParam source = filledRecord<TypeParam>(1, 2);
    TypeParam target = filledRecord<TypeParam>(500, 3);
    VxSerialization::Archive archive = holding(serialized(source));
    EXPECT_TRUE(target.unserialize(archive));
    EXPECT_EQ(dumpRecord(target), dumpRecord(source));
}

TYPED_TEST(RecordArchiveTest, TruncatedArchiveKeepsWhatWasReadWhole)
{
    const std::vector<uint8_t> full = serialized(filledRecord<TypeParam>());
    for (size_t length = 0; length < full.size(); ++length) {
        const TypeParam record = unserialized<TypeParam>(std::vector<uint8_t>(full.begin(), full.begin() + length));
        EXPECT_LE(serialized(record).size(), bound<TypeParam>(length)) << "cut at " << length;
    }
}

// A count of 0xFFFFFFFF, over nothing or over the rest of the record, must
// neither allocate by itself nor make the reader go on past the archive.
TYPED_TEST(RecordArchiveTest, HugeCountEndsWithTheArchive)
{
    const ArchiveExpectation expectation = expectedArchive(filledRecord<TypeParam>());
    const std::vector<uint8_t>& full = expectation.archive.bytes();
    for (size_t offset : expectation.countOffsets) {
        std::vector<uint8_t> cut(full.begin(), full.begin() + static_cast<long>(offset));
        cut.insert(cut.end(), {0xFF, 0xFF, 0xFF, 0xFF});
        EXPECT_LE(serialized(unserialized<TypeParam>(cut)).size(), bound<TypeParam>(cut.size())) << offset;

        std::vector<uint8_t> patched = full;
        for (size_t i = 0; i < 4; ++i)
            patched[offset + i] = 0xFF;
        EXPECT_LE(serialized(unserialized<TypeParam>(patched)).size(), bound<TypeParam>(full.size())) << offset;
    }
}

TYPED_TEST(RecordArchiveTest, CorruptedBytesDoNotCrash)
{
    const std::vector<uint8_t> full = serialized(filledRecord<TypeParam>());
    uint32_t state = 12345;
    const auto random = [&state] {
        state = state * 1103515245u + 12345u;
        return state >> 8;
    };
    for (int round = 0; round < 200; ++round) {
        std::vector<uint8_t> bytes = full;
        for (int flips = 0; flips < 3; ++flips)
            bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
        bytes.resize(random() % (bytes.size() + 1));
        EXPECT_LE(serialized(unserialized<TypeParam>(bytes)).size(), bound<TypeParam>(bytes.size()));
    }
}

// A list keeps the elements read whole: the second plan, cut short, is left
// out, and so is everything after the count's first failed read.
TEST(RecordArchiveHostile, HugeCountOverAShortArchiveYieldsTheWholeElements)
{
    PlansResponse source = filledRecord<PlansResponse>(1, 2);
    const std::vector<uint8_t> full = serialized(source);
    std::vector<uint8_t> bytes = {0xFF, 0xFF, 0xFF, 0xFF};
    bytes.insert(bytes.end(), full.begin() + 4, full.end() - 10);
    const PlansResponse read = unserialized<PlansResponse>(bytes);
    source.plans.resize(1);
    EXPECT_EQ(dumpRecord(read), dumpRecord(source));
}

// The encoding itself, pinned once for a record without and one with a bool.
TEST(RecordArchiveGolden, AuthResponseBytes)
{
    AuthResponse auth;
    auth.accessToken = "ab";
    auth.expiresIn = 0x01020304;
    auth.expirationDate = 0xFFFFFFFE;
    auth.role = "tlv";
    const std::vector<uint8_t> expected = {
        0, 0, 0, 2, 'a', 'b',
        0, 0, 0, 0,
        0x01, 0x02, 0x03, 0x04,
        0xFF, 0xFF, 0xFF, 0xFE,
        0, 0, 0, 3, 't', 'l', 'v'};
    EXPECT_EQ(serialized(auth), expected);
}

TEST(RecordArchiveGolden, CarPositionsBytes)
{
    CarPositions position;
    position.model = "M";
    position.lon = 1.0;
    position.lat = -2.0;
    position.direction = 7;
    position.speed = 0x100;
    position.elevation = 0.5;
    position.roadType = 3;
    position.accOff = true;
    const std::vector<uint8_t> expected = {
        0, 0, 0, 2, '0', '6',
        0, 0, 0, 1, 'M',
        0, 0, 0, 0,
        0, 0, 0, 0,
        0x3F, 0xF0, 0, 0, 0, 0, 0, 0,
        0xC0, 0x00, 0, 0, 0, 0, 0, 0,
        0, 0, 0, 0,
        0, 0, 0, 7,
        0, 0, 1, 0,
        0x3F, 0xE0, 0, 0, 0, 0, 0, 0,
        0, 0, 0, 0, 0, 0, 0, 0,
        0, 0, 0, 3,
        1};
    EXPECT_EQ(serialized(position), expected);
}

TEST(RecordArchiveGolden, NestedCountsSitBetweenTheirOwnersMembers)
{
    PlansResponse plans;
    plans.plans.resize(1);
    plans.plans[0].planpoints.resize(2);
    plans.plans[0].planpoints[1].routePoints.resize(3);
    const ArchiveExpectation expectation = expectedArchive(plans);
    ASSERT_EQ(expectation.countOffsets.size(), 4u);
    const std::vector<uint8_t> bytes = serialized(plans);
    ASSERT_EQ(bytes, expectation.archive.bytes());
    const auto countAt = [&bytes](size_t offset) {
        return (uint32_t(bytes[offset]) << 24) | (uint32_t(bytes[offset + 1]) << 16) |
               (uint32_t(bytes[offset + 2]) << 8) | bytes[offset + 3];
    };
    EXPECT_EQ(countAt(expectation.countOffsets[0]), 1u);
    EXPECT_EQ(countAt(expectation.countOffsets[1]), 2u);
    EXPECT_EQ(countAt(expectation.countOffsets[2]), 0u);
    EXPECT_EQ(countAt(expectation.countOffsets[3]), 3u);
}
