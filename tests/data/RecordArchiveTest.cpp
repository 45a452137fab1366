#include "RecordVisitors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

using namespace OrvKitDat;

namespace {

// Allocations left before the next one fails on this thread; -1 for never.
thread_local long allocationsLeft = -1;
thread_local bool allocationFailed = false;

} // namespace

void* operator new(std::size_t size)
{
    if (allocationsLeft == 0) {
        allocationFailed = true;
        throw std::bad_alloc();
    }
    if (allocationsLeft > 0)
        --allocationsLeft;
    if (void* memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

template <class R> std::vector<uint8_t> serialized(const R& record)
{
    VxSerialization::Archive archive;
    EXPECT_TRUE(record.serialize(archive));
    return archive.bytes();
}

template <class R> R unserialized(const std::vector<uint8_t>& bytes)
{
    VxSerialization::Archive archive;
    archive.write(bytes.data(), bytes.size());
    R record;
    EXPECT_TRUE(record.unserialize(archive));
    return record;
}

// A record read from a damaged archive writes back at most the values it
// read and the defaults of the members after the damage.
template <class R> void expectBounded(const std::vector<uint8_t>& bytes)
{
    EXPECT_LE(serialized(unserialized<R>(bytes)).size(), bytes.size() + serialized(R()).size()) << bytes.size();
}

} // namespace

template <class R> class RecordArchiveTest : public ::testing::Test {};

using AllRecords = ::testing::Types<ErrorResponse, AuthResponse, SummaryResponse, CertificateResponse,
                                    BookmarksSpotsResponse, BookmarksSpotDetailResponse, BookmarksFoldersResponse,
                                    BookmarksDestsResponse, PlansSummaryResponse, PlansResponse, GenresResponse,
                                    CertificateRequest, CarPositions>;
TYPED_TEST_SUITE(RecordArchiveTest, AllRecords);

TYPED_TEST(RecordArchiveTest, SerializeWritesEveryMemberInTableOrder)
{
    for (const TypeParam& record : {TypeParam(), filledRecord<TypeParam>()})
        EXPECT_EQ(serialized(record), encoded(record).archive.bytes());
}

// The value written after the record is the next one read: the record read
// exactly what it wrote, and nothing of what it held before remains.
TYPED_TEST(RecordArchiveTest, UnserializeReplacesEveryMember)
{
    const TypeParam source = filledRecord<TypeParam>(1, 2);
    VxSerialization::Archive archive;
    source.serialize(archive);
    archive.write(0xC0FFEEu);
    TypeParam target = filledRecord<TypeParam>(500, 3);
    EXPECT_TRUE(target.unserialize(archive));
    EXPECT_EQ(dumpRecord(target), dumpRecord(source));
    unsigned int next = 0;
    EXPECT_EQ(archive.read(next), 0);
    EXPECT_EQ(next, 0xC0FFEEu);
}

// Cut at every length, and once more with a byte overwritten; a count of
// 0xFFFFFFFF, over nothing or over the rest of the record, must neither
// allocate by itself nor make the reader go on past the archive.
TYPED_TEST(RecordArchiveTest, DamagedArchiveKeepsWhatWasReadWhole)
{
    const RecordEncoder expectation = encoded(filledRecord<TypeParam>());
    const std::vector<uint8_t>& full = expectation.archive.bytes();
    for (size_t length = 0; length < full.size(); ++length) {
        std::vector<uint8_t> bytes(full.begin(), full.begin() + static_cast<long>(length));
        expectBounded<TypeParam>(bytes);
        if (length > 0) {
            bytes[(length * 7919) % length] ^= 0xA5;
            expectBounded<TypeParam>(bytes);
        }
    }
    for (size_t offset : expectation.countOffsets) {
        std::vector<uint8_t> cut(full.begin(), full.begin() + static_cast<long>(offset));
        cut.insert(cut.end(), {0xFF, 0xFF, 0xFF, 0xFF});
        expectBounded<TypeParam>(cut);
        std::vector<uint8_t> patched = full;
        std::fill_n(patched.begin() + static_cast<long>(offset), 4, 0xFF);
        expectBounded<TypeParam>(patched);
    }
}

// Memory that runs out at any allocation: serialize still answers true and
// leaves the values written before it, unserialize answers true.
TYPED_TEST(RecordArchiveTest, RunningOutOfMemoryStillAnswersTrue)
{
    const TypeParam source = filledRecord<TypeParam>(1, 2);
    const std::vector<uint8_t> full = serialized(source);
    allocationFailed = true;
    for (long left = 0; allocationFailed; ++left) {
        VxSerialization::Archive written;
        VxSerialization::Archive reading(full.data(), full.size());
        TypeParam target;
        allocationFailed = false;
        allocationsLeft = left;
        const bool wrote = source.serialize(written);
        allocationsLeft = left;
        const bool read = target.unserialize(reading);
        allocationsLeft = -1;
        EXPECT_TRUE(wrote) << left;
        EXPECT_TRUE(read) << left;
        ASSERT_LE(written.size(), full.size()) << left;
        EXPECT_TRUE(std::equal(written.bytes().begin(), written.bytes().end(), full.begin())) << left;
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
