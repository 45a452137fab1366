#include "util/OrvHttpUtils.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Field
{
    std::string key;
    std::string value;
};

std::string asText(const std::vector<unsigned char>& bytes)
{
    return std::string(bytes.begin(), bytes.end());
}

std::vector<unsigned char> asBytes(const std::string& text)
{
    return std::vector<unsigned char>(text.begin(), text.end());
}

// Both containers must hold the same text after the same calls.
std::string formOf(const std::vector<Field>& fields, bool binary)
{
    std::string text;
    std::vector<unsigned char> bytes;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (binary) {
            OrvHttpUtils::appendBinaryParameter(text, fields[i].key, asBytes(fields[i].value), i == 0);
            OrvHttpUtils::appendBinaryParameter(bytes, fields[i].key, asBytes(fields[i].value), i == 0);
        } else {
            OrvHttpUtils::appendTextParameter(text, fields[i].key, fields[i].value, i == 0);
            OrvHttpUtils::appendTextParameter(bytes, fields[i].key, fields[i].value, i == 0);
        }
    }
    EXPECT_EQ(text, asText(bytes));
    return text;
}

std::string jsonOf(const std::vector<Field>& fields)
{
    std::string text;
    std::vector<unsigned char> bytes;
    for (size_t i = 0; i < fields.size(); ++i) {
        const bool first = i == 0;
        const bool last = i + 1 == fields.size();
        OrvHttpUtils::appendTextParameter(text, fields[i].key, fields[i].value, first, last);
        OrvHttpUtils::appendTextParameter(bytes, fields[i].key, fields[i].value, first, last);
    }
    EXPECT_EQ(text, asText(bytes));
    return text;
}

TEST(OrvHttpUtils, Builders)
{
    struct Case
    {
        const char* name;
        std::string (*build)(const std::vector<Field>&);
        std::vector<Field> fields;
        std::string expected;
    };
    const auto form = [](const std::vector<Field>& f) { return formOf(f, false); };
    const auto binary = [](const std::vector<Field>& f) { return formOf(f, true); };
    const auto json = [](const std::vector<Field>& f) { return jsonOf(f); };
    const std::vector<Case> cases = {
        {"form pairs", form, {{"a", "1"}, {"b", "2"}}, "a=1&b=2"},
        {"form nothing escaped", form, {{"q", "a b&c=d"}}, "q=a b&c=d"},
        {"form empty value", form, {{"a", ""}, {"b", ""}}, "a=&b="},
        {"binary first empty", binary, {{"key", ""}}, "key="},
        {"binary later empty", binary, {{"a", "1"}, {"key", ""}}, "a=1&key="},
        {"binary raw bytes", binary, {{"k", std::string("\x00\xff=&", 4)}}, std::string("k=\x00\xff=&", 6)},
        {"json single", json, {{"a", "1"}}, "{\n\"a\": \"1\"\n}\n"},
        {"json two", json, {{"a", "1"}, {"b", "x"}}, "{\n\"a\": \"1\",\n\"b\": \"x\"\n}\n"},
        {"json unescaped quote", json, {{"a", "x\"y"}}, "{\n\"a\": \"x\"y\"\n}\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.build(c.fields), c.expected) << c.name;
    }
}

TEST(OrvHttpUtils, BuildersAppendToExistingContent)
{
    std::string text = "prefix:";
    OrvHttpUtils::appendTextParameter(text, "a", "1", false);
    EXPECT_EQ(text, "prefix:&a=1");
    std::vector<unsigned char> bytes = asBytes("x");
    OrvHttpUtils::appendTextParameter(bytes, "a", "1", true, false);
    EXPECT_EQ(asText(bytes), "x{\n\"a\": \"1\",\n");
}

TEST(OrvHttpUtils, Splitting)
{
    struct Case
    {
        std::string text;
        int delimiter; // -1: lines
        std::vector<std::string> expected;
    };
    const std::vector<Case> cases = {
        {"a\r\nb", -1, {"a", "b"}},
        {"a\n", -1, {"a"}},
        {"a\n\nb", -1, {"a", "", "b"}},
        {"", -1, {}},
        {"\r\nx", -1, {"", "x"}},
        {"a\rb\n", -1, {"a\rb"}},
        {"a\r\r\n", -1, {"a\r"}},
        {"x,,y", ',', {"x", "", "y"}},
        {"x,", ',', {"x"}},
        {",", ',', {""}},
        {"a\r,b", ',', {"a\r", "b"}},
        {"", ',', {}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> out = {"kept"};
        if (c.delimiter < 0) {
            OrvHttpUtils::splitString(c.text, out);
        } else {
            OrvHttpUtils::splitString(c.text, static_cast<char>(c.delimiter), out);
        }
        std::vector<std::string> expected = {"kept"};
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        EXPECT_EQ(out, expected) << "text: " << c.text;
    }
}

} // namespace
