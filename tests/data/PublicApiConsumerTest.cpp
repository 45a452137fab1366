// Built against the shared library alone: proves that the records and the
// archive are exported.
#include <OrvKit.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(PublicApiConsumer, DecodesABodyAndRoundTripsAnArchive)
{
    const std::string body = R"([{"id":"d1","name":"自宅","lon":139.5,"routePoints":[{"rspType":2}]}])";
    OrvKitDat::BookmarksDestsResponse destinations;
    ASSERT_TRUE(destinations.fromJson(std::vector<uint8_t>(body.begin(), body.end())));
    ASSERT_EQ(destinations.dests.size(), 1u);

    VxSerialization::Archive archive;
    ASSERT_TRUE(destinations.serialize(archive));
    VxSerialization::Archive received(archive.data(), archive.size());
    OrvKitDat::BookmarksDestsResponse copy;
    ASSERT_TRUE(copy.unserialize(received));
    ASSERT_EQ(copy.dests.size(), 1u);
    EXPECT_EQ(copy.dests[0].name, "自宅");
    EXPECT_EQ(copy.dests[0].lon, 139.5);
    ASSERT_EQ(copy.dests[0].routePoints.size(), 1u);
    EXPECT_EQ(copy.dests[0].routePoints[0].rspType, 2u);

    OrvKitDat::BookmarksDestsResponse viaBase;
    const OrvKitDat::ResponseBase* base = &copy;
    EXPECT_TRUE(viaBase.copyFrom(base));
    EXPECT_EQ(viaBase.dests.size(), 1u);

    OrvKitDat::CarPositions position;
    std::vector<uint8_t> out;
    EXPECT_TRUE(position.makeJson(out));
    EXPECT_FALSE(out.empty());
}
