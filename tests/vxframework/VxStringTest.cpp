#include <VxString.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(VxStringTest, BoundedCopies)
{
    const struct { const char* src; size_t destSize; size_t count; int copyResult; const char* copied; int ncopyResult; const char* ncopied; } cases[] = {
        {"abc", 8, 8, 0, "abc", 0, "abc"},
        {"abc", 4, 8, 0, "abc", 0, "abc"},
        {"abcd", 4, 8, -1, "abc", -1, "abc"},
        {"abcdef", 8, 3, 0, "abcdef", 0, "abc"},
        {"abcdef", 3, 3, -1, "ab", -1, "ab"},
        {"", 1, 5, 0, "", 0, ""},
        {"x", 1, 5, -1, "", -1, ""},
        {"abc", 8, 0, 0, "abc", 0, ""},
    };
    for (const auto& c : cases) {
        char dest[16];
        std::memset(dest, 'Z', sizeof(dest));
        EXPECT_EQ(vx_strcpy(dest, c.destSize, c.src), c.copyResult) << c.src << " " << c.destSize;
        EXPECT_STREQ(dest, c.copied);
        EXPECT_EQ(dest[c.destSize], 'Z');
        std::memset(dest, 'Z', sizeof(dest));
        EXPECT_EQ(vx_strncpy(dest, c.destSize, c.src, c.count), c.ncopyResult) << c.src << " " << c.destSize << " " << c.count;
        EXPECT_STREQ(dest, c.ncopied);
        EXPECT_EQ(dest[c.destSize], 'Z');
    }
}

TEST(VxStringTest, UnusableArguments)
{
    char dest[4] = "ab";
    EXPECT_EQ(vx_strcpy(nullptr, 4, "x"), -1);
    EXPECT_EQ(vx_strcpy(dest, 0, "x"), -1);
    EXPECT_STREQ(dest, "ab");
    EXPECT_EQ(vx_strcpy(dest, 4, nullptr), -1);
    EXPECT_STREQ(dest, "");
    EXPECT_EQ(vx_strncpy(nullptr, 4, "x", 1), -1);
    // The source needs no terminator within count bytes.
    const char unterminated[3] = {'p', 'q', 'r'};
    EXPECT_EQ(vx_strncpy(dest, 4, unterminated, 3), 0);
    EXPECT_STREQ(dest, "pqr");
}

TEST(VxStringTest, FixedCapacityStringCuts)
{
    VxString<5> text("abc");
    text.append("defgh");
    EXPECT_STREQ(text.c_str(), "abcde");
    text.append("more");
    EXPECT_STREQ(text.c_str(), "abcde");
    EXPECT_STREQ(VxString<5>(nullptr).c_str(), "");
    EXPECT_STREQ(VxString<5>().append(nullptr).c_str(), "");
    VxString<32> name("/");
    name.append("SystemInfo");
    EXPECT_STREQ(name.c_str(), "/SystemInfo");
}

} // namespace
