#include "util/OrvHttpUtils.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

enum class Kind { Form, Binary, Json };

// Builds with both overloads, which must agree; the text comes after "x".
std::string build(Kind kind, const std::vector<std::pair<std::string, std::string>>& fields)
{
    std::string text = "x";
    std::vector<unsigned char> bytes{'x'};
    for (size_t i = 0; i < fields.size(); ++i) {
        const std::string& key = fields[i].first;
        const std::string& value = fields[i].second;
        const std::vector<unsigned char> raw(value.begin(), value.end());
        const bool first = i == 0;
        const bool last = i + 1 == fields.size();
        switch (kind) {
        case Kind::Form:
            OrvHttpUtils::appendTextParameter(text, key, value, first);
            OrvHttpUtils::appendTextParameter(bytes, key, value, first);
            break;
        case Kind::Binary:
            OrvHttpUtils::appendBinaryParameter(text, key, raw, first);
            OrvHttpUtils::appendBinaryParameter(bytes, key, raw, first);
            break;
        case Kind::Json:
            OrvHttpUtils::appendTextParameter(text, key, value, first, last);
            OrvHttpUtils::appendTextParameter(bytes, key, value, first, last);
            break;
        }
    }
    EXPECT_EQ(text, std::string(bytes.begin(), bytes.end()));
    return text;
}

TEST(OrvHttpUtils, Builders)
{
    const struct
    {
        Kind kind;
        std::vector<std::pair<std::string, std::string>> fields;
        std::string expected;
    } cases[] = {
        {Kind::Form, {{"a", "1"}, {"b", "2"}}, "xa=1&b=2"},
        {Kind::Form, {{"q", "a b&c=d"}}, "xq=a b&c=d"}, // nothing escaped
        {Kind::Form, {{"a", ""}, {"b", ""}}, "xa=&b="},
        {Kind::Binary, {{"a", "1"}, {"key", ""}}, "xa=1&key="},
        {Kind::Binary, {{"k", std::string("\x00\xff=&", 4)}}, std::string("xk=\x00\xff=&", 7)},
        {Kind::Json, {{"a", "1"}}, "x{\n\"a\": \"1\"\n}\n"},
        {Kind::Json, {{"a", "1"}, {"b", "x\"y"}}, "x{\n\"a\": \"1\",\n\"b\": \"x\"y\"\n}\n"}, // quote unescaped
    };
    for (const auto& c : cases)
        EXPECT_EQ(build(c.kind, c.fields), c.expected);
    std::string text = "prefix:";
    OrvHttpUtils::appendTextParameter(text, "a", "1", false);
    EXPECT_EQ(text, "prefix:&a=1");
}

TEST(OrvHttpUtils, Splitting)
{
    const struct
    {
        std::string text;
        int delimiter; // -1: lines
        std::vector<std::string> expected;
    } cases[] = {
        {"a\r\nb", -1, {"a", "b"}},  {"a\n", -1, {"a"}},    {"a\n\nb", -1, {"a", "", "b"}}, {"", -1, {}},
        {"\r\nx", -1, {"", "x"}},    {"a\rb\n", -1, {"a\rb"}}, {"a\r\r\n", -1, {"a\r"}},
        {"x,,y", ',', {"x", "", "y"}}, {"x,", ',', {"x"}},   {",", ',', {""}},  {"a\r,b", ',', {"a\r", "b"}},
        {"", ',', {}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> out = {"kept"};
        if (c.delimiter < 0)
            OrvHttpUtils::splitString(c.text, out);
        else
            OrvHttpUtils::splitString(c.text, static_cast<char>(c.delimiter), out);
        std::vector<std::string> expected = {"kept"};
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        EXPECT_EQ(out, expected) << "text: " << c.text;
    }
}

} // namespace
