#include "RecordVisitors.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

using namespace OrvKitDat;

namespace {

template <class R>
constexpr bool bodyIsArray = std::is_same<R, BookmarksDestsResponse>::value || std::is_same<R, PlansResponse>::value;

// What a record holds after a body that has none of its keys: indexed
// members and lists fall back to their defaults, found members keep their
// values.
template <class R>
R afterBodyWithoutKeys(const R&)
{
    return R();
}
SummaryResponse afterBodyWithoutKeys(const SummaryResponse& before)
{
    return before;
}
BookmarksDestsResponse afterBodyWithoutKeys(const BookmarksDestsResponse&)
{
    BookmarksDestsResponse one;
    one.dests.resize(1);
    return one;
}
PlansResponse afterBodyWithoutKeys(const PlansResponse&)
{
    PlansResponse one;
    one.plans.resize(1);
    return one;
}

} // namespace

template <class R>
class ResponseRecordTest : public ::testing::Test
{
};

using ResponseRecords = ::testing::Types<ErrorResponse, AuthResponse, SummaryResponse, CertificateResponse,
                                         BookmarksSpotsResponse, BookmarksSpotDetailResponse,
                                         BookmarksFoldersResponse, BookmarksDestsResponse, PlansSummaryResponse,
                                         PlansResponse, GenresResponse>;
TYPED_TEST_SUITE(ResponseRecordTest, ResponseRecords);

TYPED_TEST(ResponseRecordTest, BodiesThatAreNotTheExpectedShapeFailAndChangeNothing)
{
    const std::string wrongTopLevel = bodyIsArray<TypeParam> ? "{\"a\":1}" : "[{\"a\":1}]";
    const std::string emptyTopLevel = bodyIsArray<TypeParam> ? "[]" : "{}";
    const std::vector<std::vector<uint8_t>> bodies = {
        {},
        bytesOf("   "),
        bytesOf("not json"),
        bytesOf("{\"a\":"),
        bytesOf("[1,"),
        bytesOf("\"text\""),
        bytesOf("42"),
        bytesOf("null"),
        bytesOf(emptyTopLevel),
        bytesOf(wrongTopLevel),
        bytesOf(std::string("\0[{\"a\":1}]", 10)),
        bytesOf(std::string("[{\"a\":\0 1}]", 11)),
        bytesOf(std::string("{\"a\":\0 1}", 9)),
    };
    const TypeParam before = filledRecord<TypeParam>();
    for (const std::vector<uint8_t>& body : bodies) {
        TypeParam record = before;
        EXPECT_FALSE(record.fromJson(body)) << std::string(body.begin(), body.end());
        EXPECT_EQ(dumpRecord(record), dumpRecord(before));
    }
}

TYPED_TEST(ResponseRecordTest, ParseEndsAtTheFirstZeroByte)
{
    const TypeParam source = filledRecord<TypeParam>();
    std::vector<uint8_t> body = jsonBodyOf(source);
    const std::string tail("\0{\"garbage", 10);
    body.insert(body.end(), tail.begin(), tail.end());
    TypeParam decoded;
    ASSERT_TRUE(decoded.fromJson(body));
    EXPECT_EQ(dumpRecord(decoded), dumpRecord(source));
}

TYPED_TEST(ResponseRecordTest, BodyWithoutAnyKeyGivesDefaultsExceptFoundMembers)
{
    const TypeParam before = filledRecord<TypeParam>();
    TypeParam record = before;
    ASSERT_TRUE(record.fromJson(bytesOf(bodyIsArray<TypeParam> ? "[{\"unrelated\":1}]" : "{\"unrelated\":1}")));
    EXPECT_EQ(dumpRecord(record), dumpRecord(afterBodyWithoutKeys(before)));
}

TYPED_TEST(ResponseRecordTest, CopyFromTakesOnlyItsOwnClass)
{
    const TypeParam source = filledRecord<TypeParam>(1, 2);
    const TypeParam before = filledRecord<TypeParam>(500, 3);

    TypeParam target = before;
    EXPECT_FALSE(target.copyFrom(nullptr));
    EXPECT_EQ(dumpRecord(target), dumpRecord(before));

    using Other = typename std::conditional<std::is_same<TypeParam, ErrorResponse>::value, AuthResponse,
                                            ErrorResponse>::type;
    const Other other;
    EXPECT_FALSE(target.copyFrom(&other));
    EXPECT_EQ(dumpRecord(target), dumpRecord(before));

    const ResponseBase* base = &source;
    EXPECT_TRUE(target.copyFrom(base));
    EXPECT_EQ(dumpRecord(target), dumpRecord(source));

    EXPECT_TRUE(target.copyFrom(&target));
    EXPECT_EQ(dumpRecord(target), dumpRecord(source));

    ResponseBase root;
    EXPECT_FALSE(root.copyFrom(&source));
}

// Nesting far beyond any real body, unbalanced and balanced.
TYPED_TEST(ResponseRecordTest, DeeplyNestedBodiesFailWithoutCrashing)
{
    const std::string open(100000, '[');
    const std::string close(100000, ']');
    std::string objects;
    for (int i = 0; i < 20000; ++i)
        objects += "{\"a\":";
    TypeParam record;
    EXPECT_FALSE(record.fromJson(bytesOf(open)));
    EXPECT_FALSE(record.fromJson(bytesOf(open + close)));
    EXPECT_FALSE(record.fromJson(bytesOf(objects)));
}
