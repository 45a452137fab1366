#include "RecordVisitors.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace OrvKitDat;

TEST(RecordJson, ExpirationDateIsClampedIntoUnsigned32)
{
    const struct {
        const char* json;
        uint32_t expected;
    } cases[] = {
        {"4294967296", 4294967295u},
        {"4294967294.5", 4294967295u},
        {"4294967294", 4294967294u},
        {"1e300", 4294967295u},
        {"-5", 0u},
        {"-0.5", 0u},
        {"1000.9", 1000u},
        {"1735689600", 1735689600u},
        {"\"1000\"", 0u},
        {"true", 0u},
    };
    for (const auto& c : cases) {
        AuthResponse auth;
        auth.expirationDate = 77;
        ASSERT_TRUE(auth.fromJson(bytesOf(std::string(R"({"role":"tlv","expiration_date":)") + c.json + "}")));
        EXPECT_EQ(auth.expirationDate, c.expected) << c.json;
    }
}

TEST(RecordJson, ErrorBodyEmptinessIsTestedOnTheTopLevel)
{
    ErrorResponse error;
    ASSERT_TRUE(error.fromJson(bytesOf(R"({"error":{"code":"E1","message":"m"}})")));
    EXPECT_EQ(error.code, "E1");
    EXPECT_EQ(error.message, "m");

    for (const char* body : {R"({"status":500})", R"({"error":"E4001001"})", R"({"error":{}})"}) {
        ErrorResponse record;
        record.code = "old";
        record.message = "old";
        EXPECT_TRUE(record.fromJson(bytesOf(body))) << body;
        EXPECT_EQ(record.code, "") << body;
        EXPECT_EQ(record.message, "") << body;
    }
}

TEST(RecordJson, SummaryPairsChangeOnlyWhenBothKeysArePresent)
{
    SummaryResponse summary;
    summary.spotCount = 1;
    summary.spotUpdatedAt = "old spot";
    summary.folderCount = 2;
    summary.folderUpdatedAt = "old folder";
    summary.destinationCount = 3;
    summary.destinationUpdatedAt = "old destination";
    summary.planCount = 4;
    summary.planUpdatedAt = "old plan";
    summary.agreementUpdatedAt = "old agreement";
    ASSERT_TRUE(summary.fromJson(bytesOf(R"({"spot":{"count":3},)"
                                         R"("folder":{"updatedAt":"2024-01-01"},)"
                                         R"("destination":{"count":-1,"updatedAt":5},)"
                                         R"("plan":[{"count":9,"updatedAt":"x"}],)"
                                         R"("agreement":{}})")));
    EXPECT_EQ(summary.spotCount, 1u);
    EXPECT_EQ(summary.spotUpdatedAt, "old spot");
    EXPECT_EQ(summary.folderCount, 2u);
    EXPECT_EQ(summary.folderUpdatedAt, "old folder");
    EXPECT_EQ(summary.destinationCount, 0xFFFFFFFFu);
    EXPECT_EQ(summary.destinationUpdatedAt, "");
    EXPECT_EQ(summary.planCount, 4u);
    EXPECT_EQ(summary.planUpdatedAt, "old plan");
    EXPECT_EQ(summary.agreementUpdatedAt, "old agreement");

    ASSERT_TRUE(summary.fromJson(bytesOf(R"({"agreement":{"updatedAt":7}})")));
    EXPECT_EQ(summary.agreementUpdatedAt, "");
    ASSERT_TRUE(summary.fromJson(bytesOf(R"({"agreement":{"updatedAt":"2024-04-01T00:00:00Z"}})")));
    EXPECT_EQ(summary.agreementUpdatedAt, "2024-04-01T00:00:00Z");
}

TEST(RecordJson, EmptyDestinationOrPlanArrayIsAFailedParse)
{
    BookmarksDestsResponse destinations;
    destinations.dests.resize(2);
    EXPECT_FALSE(destinations.fromJson(bytesOf("[]")));
    EXPECT_EQ(destinations.dests.size(), 2u);
    ASSERT_TRUE(destinations.fromJson(bytesOf(R"([1, {"id":"d1","routePoints":[{},{"rspType":2}]}])")));
    ASSERT_EQ(destinations.dests.size(), 2u);
    EXPECT_EQ(destinations.dests[0].id, "");
    EXPECT_TRUE(destinations.dests[0].routePoints.empty());
    EXPECT_EQ(destinations.dests[1].id, "d1");
    ASSERT_EQ(destinations.dests[1].routePoints.size(), 2u);
    EXPECT_EQ(destinations.dests[1].routePoints[1].rspType, 2u);

    PlansResponse plans;
    EXPECT_FALSE(plans.fromJson(bytesOf("[]")));
    ASSERT_TRUE(plans.fromJson(bytesOf(R"([{"id":"p1"}])")));
    ASSERT_EQ(plans.plans.size(), 1u);
    EXPECT_TRUE(plans.plans[0].planpoints.empty());
}

TEST(RecordJson, PlanFlagsAreNumbersNotBooleans)
{
    PlansResponse plans;
    ASSERT_TRUE(plans.fromJson(bytesOf(R"([{"share":true,"useETC":1,"planpoints":[)"
                                       R"({"startTimeIsFixed":true},{"startTimeIsFixed":1}]}])")));
    ASSERT_EQ(plans.plans.size(), 1u);
    EXPECT_EQ(plans.plans[0].share, 0u);
    EXPECT_EQ(plans.plans[0].useETC, 1u);
    ASSERT_EQ(plans.plans[0].planpoints.size(), 2u);
    EXPECT_EQ(plans.plans[0].planpoints[0].startTimeIsFixed, 0u);
    EXPECT_EQ(plans.plans[0].planpoints[1].startTimeIsFixed, 1u);
}

TEST(RecordJson, PlansSummaryKeepsOneEntryPerPlan)
{
    PlansSummaryResponse summary;
    summary.startDateTimes = {"stale"};
    ASSERT_TRUE(summary.fromJson(bytesOf(R"({"all":3,"plans":[{"startDateTime":"2024-05-01T09:00"},)"
                                         R"({"id":"x"},"not an object"]})")));
    EXPECT_EQ(summary.all, 3u);
    EXPECT_EQ(summary.startDateTimes, (std::vector<std::string>{"2024-05-01T09:00", "", ""}));
}

TEST(RecordJson, GenresHaveExactlyTwoLevels)
{
    GenresResponse genres;
    ASSERT_TRUE(genres.fromJson(bytesOf(
        R"({"updatedAt":"2024-06-01","item":[)"
        R"({"genre_key":1,"name":"食べる","tree_flag":1,"tree_code":"5","item":[)"
        R"({"genre_key":11,"name":"ラーメン","tree_flag":"1","item":[{"genre_key":111,"name":"deep"}]},)"
        R"({"genre_key":12}]},)"
        R"({"genre_key":2,"name":"泊まる"}]})")));
    EXPECT_EQ(genres.updatedAt, "2024-06-01");
    ASSERT_EQ(genres.mainGenres.size(), 2u);
    const GenresResponse::MainGenreData& food = genres.mainGenres[0];
    EXPECT_EQ(food.name, "食べる");
    EXPECT_EQ(food.treeFlag, "");
    EXPECT_EQ(food.treeCode, 0u);
    ASSERT_EQ(food.subGenres.size(), 2u);
    EXPECT_EQ(food.subGenres[0].genreKey, 11u);
    EXPECT_EQ(food.subGenres[0].name, "ラーメン");
    EXPECT_EQ(food.subGenres[0].treeFlag, "1");
    EXPECT_EQ(food.subGenres[1].genreKey, 12u);
    EXPECT_TRUE(genres.mainGenres[1].subGenres.empty());
}

TEST(RecordJson, LargeBodiesDecode)
{
    std::string body = R"({"all":20000,"spots":[)";
    for (int i = 0; i < 20000; ++i) {
        body += i ? "," : "";
        body += R"({"id":"s)" + std::to_string(i) + R"(","name":"名前","lon":139.1,"genreCodeL":)" +
                std::to_string(i) + "}";
    }
    body += "]}";
    BookmarksSpotsResponse spots;
    ASSERT_TRUE(spots.fromJson(bytesOf(body)));
    ASSERT_EQ(spots.spots.size(), 20000u);
    EXPECT_EQ(spots.spots[19999].id, "s19999");
    EXPECT_EQ(spots.spots[19999].genreCodeL, 19999u);

    const std::string big(8 * 1024 * 1024, 'x');
    CertificateResponse certificate;
    ASSERT_TRUE(certificate.fromJson(bytesOf("{\"privateKey\":\"" + big + "\"}")));
    EXPECT_EQ(certificate.privateKey.size(), big.size());
}
