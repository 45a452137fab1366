// Repeated keys: the last value wins in objects of any size, keys are equal
// when Qt decodes them to the same text, and (under LeakSanitizer) Qt does
// not leak the values of the earlier keys. Qt 5 needs the kit's guard for
// this; Qt 6's parser does it by itself, and the same cases hold there.
#include "RecordVisitors.h"

#include <gtest/gtest.h>

#include <string>

using namespace OrvKitDat;

TEST(JsonDuplicateKeys, LastValueWinsWhateverTheSpelling)
{
    const struct {
        const char* json;
        bool parses;
        const char* code;
    } cases[] = {
        {R"({"error":{"code":"A"},"error":{"code":"B"}})", true, "B"},
        {R"({"error":{"code":"A"},"\error":{"code":"B"}})", true, "B"},
        {R"({"\u0065rror":[1,{"a":2}],"\err\or":{"code":"B"}})", true, "B"},
        {R"({"error":{"code":"A","c\u006Fde":"B","\code":"C"}})", true, "C"},
        {R"({"error":{"\ud83d\ude97":[1],"🚗":{},"\uD83D\uDE97":[],"code":"A"}})", true, "A"},
        // A key that looks like a renamed one does not collide with it.
        {R"({"\u00001\u0000error":{"code":"X"},"error":{"code":"Y"},"error":{"code":"Z"}})", true, "Z"},
        // Qt compares a key's own U+FEFF, raw or escaped.
        {"{\"error\":{\"code\":\"A\"},\"\xEF\xBB\xBF" "error\":{\"code\":\"B\"}}", true, "A"},
        {"{\"error\":{\"\xEF\xBB\xBF" "code\":[1],\"\\ufeffcode\":[2],\"code\":\"A\"}}", true, "A"},
        {R"({"error":{"code":"A"},"error":{"code":"B"})", false, ""},
        {R"({"error":{"code":"A"},"error":{"code":"B"}} trailing)", false, ""},
        {R"({"error":{"code":"A"},"\uZZZZ":{"code":"B"}})", false, ""},
    };
    for (const auto& c : cases) {
        ErrorResponse error;
        EXPECT_EQ(error.fromJson(bytesOf(c.json)), c.parses) << c.json;
        EXPECT_EQ(error.code, c.code) << c.json;
    }

    BookmarksFoldersResponse folders;
    ASSERT_TRUE(folders.fromJson(bytesOf(R"({"all":1,"\all":2,"folders":[{"id":"F1"}],"folders":[{"id":"F2"}]})")));
    EXPECT_EQ(folders.all, 2u);
    ASSERT_EQ(folders.folders.size(), 1u);
    EXPECT_EQ(folders.folders[0].id, "F2");
}

// Qt keeps the first of two equal keys once an object has about fifteen
// other members; the records still read the last.
TEST(JsonDuplicateKeys, LastValueWinsInLargeObjects)
{
    for (int members = 0; members <= 40; members += 4) {
        std::string json = R"({"memo":"first","routePoints":[{"rspType":1}],)";
        for (int i = 0; i < members; ++i)
            json += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
        json += R"("m\emo":"last","routePoints":[{"rspType":2},{"rspType":3}]})";
        BookmarksSpotDetailResponse spot;
        ASSERT_TRUE(spot.fromJson(bytesOf(json))) << members;
        EXPECT_EQ(spot.memo, "last") << members;
        ASSERT_EQ(spot.routePoints.size(), 2u) << members;
        EXPECT_EQ(spot.routePoints[1].rspType, 3u) << members;
    }
}

// The scan ahead of Qt's parse must not recurse on nesting far beyond any
// real body, unbalanced or balanced.
TEST(JsonDuplicateKeys, DeeplyNestedBodiesFailWithoutCrashing)
{
    std::string objects;
    for (int i = 0; i < 20000; ++i)
        objects += "{\"a\":";
    for (const std::string& body : {std::string(100000, '['), std::string(100000, '[') + std::string(100000, ']'),
                                    objects, objects + "1" + std::string(20000, '}')}) {
        ErrorResponse error;
        EXPECT_FALSE(error.fromJson(bytesOf(body)));
    }
}
