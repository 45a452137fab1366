// Repeated keys: the last value wins, as with Qt's parser, and (under
// LeakSanitizer) the values of the earlier keys are not leaked.
#include "RecordVisitors.h"

#include "data/OrvJsonDuplicateKeys.h"

#include <gtest/gtest.h>

#include <string>

using namespace OrvKitDat;

TEST(JsonDuplicateKeys, LastValueWins)
{
    const struct {
        const char* json;
        bool parses;
        const char* code;
    } cases[] = {
        {R"({"error":{"code":"E4001001"},"error":{"code":"E4011001"}})", true, "E4011001"},
        {R"({"error":[1,{"a":2}],"error":{"code":"E4011001"}})", true, "E4011001"},
        {R"({"error":{"code":"A"},"\u0065rror":{"code":"B"}})", true, "B"},
        {R"({"error":{"code":"A","code":"B","code":"C"}})", true, "C"},
        // A key that looks like a renamed one does not collide with it.
        {R"({"\u00000\u0000error":{"code":"X"},"error":{"code":"Y"},"error":{"code":"Z"}})", true, "Z"},
        {R"({"error":{"code":"A"},"error":{"code":"B"})", false, ""},
        {R"({"error":{"code":"A"},"error":{"code":"B"}} trailing)", false, ""},
    };
    for (const auto& c : cases) {
        ErrorResponse error;
        EXPECT_EQ(error.fromJson(bytesOf(c.json)), c.parses) << c.json;
        EXPECT_EQ(error.code, c.code) << c.json;
    }
}

TEST(JsonDuplicateKeys, RepeatedListsAndNestedObjects)
{
    BookmarksFoldersResponse folders;
    ASSERT_TRUE(folders.fromJson(bytesOf(R"({"folders":[{"id":"F1"}],"all":3,"folders":[{"id":"F2"},{"id":"F3","id":"F4"}]})")));
    ASSERT_EQ(folders.folders.size(), 2u);
    EXPECT_EQ(folders.folders[0].id, "F2");
    EXPECT_EQ(folders.folders[1].id, "F4");
    EXPECT_EQ(folders.all, 3u);

    PlansResponse plans;
    ASSERT_TRUE(plans.fromJson(bytesOf(R"([{"id":"P1","planpoints":[{"name":"a"}],"planpoints":[]}])")));
    ASSERT_EQ(plans.plans.size(), 1u);
    EXPECT_TRUE(plans.plans[0].planpoints.empty());

    SummaryResponse summary;
    ASSERT_TRUE(summary.fromJson(bytesOf(R"({"spot":{"count":1,"updatedAt":"a"},"spot":{"count":2,"updatedAt":"b"}})")));
    EXPECT_EQ(summary.spotCount, 2u);
    EXPECT_EQ(summary.spotUpdatedAt, "b");
}

TEST(JsonDuplicateKeys, TextWithoutRepeatsIsLeftAlone)
{
    std::string out = "untouched";
    for (const char* json : {R"({"a":{"a":1},"b":[{"a":2},{"a":3}]})", R"(["a","a"])", R"({"a":"\u0061","\u0062":1})", "{"}) {
        EXPECT_FALSE(OrvJsonDuplicateKeys::renameEarlier(json, std::string(json).size(), out)) << json;
        EXPECT_EQ(out, "untouched");
    }
    const std::string json = R"({"k":{},"k":1})";
    ASSERT_TRUE(OrvJsonDuplicateKeys::renameEarlier(json.data(), json.size(), out));
    EXPECT_EQ(out, R"({"\u00000\u0000k":{},"k":1})");
}
