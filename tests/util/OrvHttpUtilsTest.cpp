#include "util/OrvHttpUtils.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

enum class Kind { Form, Binary, Json };
using Fields = std::vector<std::pair<std::string, std::string>>;

// Builds after "x" with the text and the byte overload, which must agree.
template <typename Out>
Out build(Kind kind, const Fields& fields)
{
    Out out{'x'};
    for (size_t i = 0; i < fields.size(); ++i) {
        const std::string& value = fields[i].second;
        if (kind == Kind::Form)
            OrvHttpUtils::appendTextParameter(out, fields[i].first, value, i == 0);
        else if (kind == Kind::Binary)
            OrvHttpUtils::appendBinaryParameter(out, fields[i].first, std::vector<unsigned char>(value.begin(), value.end()), i == 0);
        else
            OrvHttpUtils::appendTextParameter(out, fields[i].first, value, i == 0, i + 1 == fields.size());
    }
    return out;
}

TEST(OrvHttpUtils, Builders)
{
    const struct { Kind kind; Fields fields; std::string expected; } cases[] = {
        {Kind::Form, {{"a", "1"}, {"q", "a b&c=d"}}, "xa=1&q=a b&c=d"}, // nothing escaped
        {Kind::Form, {{"a", ""}, {"b", ""}}, "xa=&b="},
        {Kind::Binary, {{"a", "1"}, {"k", std::string("\x00\xff=&", 4)}}, std::string("xa=1&k=\x00\xff=&", 11)},
        {Kind::Json, {{"a", "1"}}, "x{\n\"a\": \"1\"\n}\n"},
        {Kind::Json, {{"a", "1"}, {"b", "x\"y"}}, "x{\n\"a\": \"1\",\n\"b\": \"x\"y\"\n}\n"}, // quote unescaped
    };
    for (const auto& c : cases) {
        EXPECT_EQ(build<std::string>(c.kind, c.fields), c.expected);
        const std::vector<unsigned char> bytes = build<std::vector<unsigned char>>(c.kind, c.fields);
        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), c.expected);
    }
}

TEST(OrvHttpUtils, Splitting)
{
    const struct { std::string text; int delimiter; std::vector<std::string> expected; } cases[] = {
        {"a\r\nb", -1, {"a", "b"}}, {"a\n\nb", -1, {"a", "", "b"}}, {"", -1, {}}, {"a\rb\n", -1, {"a\rb"}},
        {"a\r\r\n", -1, {"a\r"}},   {"x,,y", ',', {"x", "", "y"}},  {"x,", ',', {"x"}}, {"a\r,b", ',', {"a\r", "b"}},
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
