#include "util/OrvArrayUtils.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(OrvArrayUtilsTest, CheckedReads)
{
    const struct { Bytes buf; unsigned int offset; unsigned int word; unsigned long dword; } cases[] = {
        {{0x12, 0x34}, 0, 0x1234, 0},
        {{0x12, 0x34}, 1, 0, 0},
        {{0x12, 0x34}, 2, 0, 0},
        {{}, 0, 0, 0},
        {{0xDE, 0xAD, 0xBE, 0xEF}, 0, 0xDEAD, 0xDEADBEEFul},
        {{0xDE, 0xAD, 0xBE, 0xEF}, 2, 0xBEEF, 0},
        {{0xDE, 0xAD, 0xBE, 0xEF}, 3, 0, 0},
        {{0x01, 0x02, 0x03}, 0, 0x0102, 0},
        {{0x01, 0x02, 0x03}, 1, 0x0203, 0},
        {{0x00, 0xFF, 0xFF, 0xFF, 0xFF}, 1, 0xFFFF, 0xFFFFFFFFul},
        {{0x01, 0x02, 0x03, 0x04}, UINT_MAX, 0, 0},
        {{0x01, 0x02, 0x03, 0x04}, UINT_MAX - 2, 0, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(OrvArrayUtils::byteArrayToWord(c.buf, c.offset), c.word) << "offset " << c.offset << " size " << c.buf.size();
        EXPECT_EQ(OrvArrayUtils::byteArrayToDword(c.buf, c.offset), c.dword) << "offset " << c.offset << " size " << c.buf.size();
    }
    const unsigned char raw[] = {0x80, 0x01, 0x02, 0x03};
    EXPECT_EQ(OrvArrayUtils::byteArrayToWord(raw), 0x8001u);
    EXPECT_EQ(OrvArrayUtils::byteArrayToDword(raw), 0x80010203ul);
}

TEST(OrvArrayUtilsTest, CheckedWritesNeverGrowOrWritePartially)
{
    const struct { size_t size; unsigned int offset; bool wordFits; bool dwordFits; } cases[] = {
        {0, 0, false, false}, {1, 0, false, false}, {2, 0, true, false}, {2, 1, false, false},
        {5, 2, true, false}, {6, 2, true, true}, {6, 3, true, false}, {6, 4, true, false}, {6, 5, false, false},
        {6, UINT_MAX, false, false},
    };
    for (const auto& c : cases) {
        Bytes buf(c.size, 0xAA);
        OrvArrayUtils::setWordToByteArray(0x12345, buf, c.offset);
        Bytes expected(c.size, 0xAA);
        if (c.wordFits) {
            expected[c.offset] = 0x23;
            expected[c.offset + 1] = 0x45;
        }
        EXPECT_EQ(buf, expected) << "word size " << c.size << " offset " << c.offset;

        buf.assign(c.size, 0xAA);
        OrvArrayUtils::setDwordToByteArray(0x01020304ul, buf, c.offset);
        expected.assign(c.size, 0xAA);
        if (c.dwordFits) {
            for (unsigned int i = 0; i < 4; ++i)
                expected[c.offset + i] = static_cast<unsigned char>(i + 1);
        }
        EXPECT_EQ(buf, expected) << "dword size " << c.size << " offset " << c.offset;
    }
}

TEST(OrvArrayUtilsTest, AppendsAndPointerWrites)
{
    Bytes buf{0x09};
    OrvArrayUtils::appendWordToByteArray(0x12345, buf);
    OrvArrayUtils::appendDwordToByteArray(0xCAFEBABEul, buf);
    EXPECT_EQ(buf, (Bytes{0x09, 0x23, 0x45, 0xCA, 0xFE, 0xBA, 0xBE}));

    unsigned char raw[6] = {};
    OrvArrayUtils::wordToByteArray(0xFFEE, raw);
    OrvArrayUtils::dwordToByteArray(0x11223344ul, raw + 2);
    EXPECT_EQ(Bytes(raw, raw + 6), (Bytes{0xFF, 0xEE, 0x11, 0x22, 0x33, 0x44}));
    EXPECT_EQ(OrvArrayUtils::byteArrayToDword(buf, 3), 0xCAFEBABEul);
}

TEST(OrvArrayUtilsTest, StringReads)
{
    const Bytes buf{'a', 'b', 0, 'c'};
    const struct { unsigned int offset; const char* expected; } cases[] = {
        {0, "ab"}, {1, "b"}, {2, ""}, {3, "c"}, {4, ""}, {5, "previous"}, {UINT_MAX, "previous"},
    };
    for (const auto& c : cases) {
        std::string out = "previous";
        OrvArrayUtils::byteArrayToString(buf, out, c.offset);
        EXPECT_EQ(out, c.expected) << c.offset;
        out = "previous";
        OrvArrayUtils::byteArrayToStringMultiByte(buf, out, c.offset);
        EXPECT_EQ(out, c.expected) << c.offset;
    }
    std::string out = "previous";
    OrvArrayUtils::byteArrayToString(Bytes(), out, 0);
    EXPECT_EQ(out, "previous");
    const Bytes text{0xE3, 0x81, 0x82, 0x00, 'x'};
    OrvArrayUtils::byteArrayToStringMultiByte(text, out, 0);
    EXPECT_EQ(out, "\xE3\x81\x82");
}

TEST(OrvArrayUtilsTest, StringWrites)
{
    Bytes buf{1, 2, 3};
    OrvArrayUtils::stringToByteArray("", buf, true);
    EXPECT_EQ(buf, (Bytes{1, 2, 3}));
    OrvArrayUtils::stringToByteArray("ab", buf, true);
    EXPECT_EQ(buf, (Bytes{'a', 'b', 0}));
    OrvArrayUtils::stringToByteArray(std::string("x\0y", 3), buf, false);
    EXPECT_EQ(buf, (Bytes{'x', 0, 'y'}));
}

TEST(OrvArrayUtilsTest, Copies)
{
    const Bytes src{'a', 'b', 0, 'c', 'd'};
    const struct { unsigned int offset; Bytes expected; bool touched; } runs[] = {
        {0, {'a', 'b'}, true}, {2, {}, true}, {3, {'c', 'd'}, true}, {5, {}, true}, {6, {9}, false},
    };
    for (const auto& c : runs) {
        Bytes dst{9};
        OrvArrayUtils::copyByteArray(src, dst, c.offset);
        EXPECT_EQ(dst, c.expected) << c.offset;
    }
    Bytes dst{9};
    OrvArrayUtils::copyByteArray(src, dst, 1, 3);
    EXPECT_EQ(dst, (Bytes{'b', 0, 'c'}));
    OrvArrayUtils::copyByteArray(src, dst, 0, 0);
    EXPECT_TRUE(dst.empty());
    // A range past the end is cut rather than read out of bounds.
    OrvArrayUtils::copyByteArray(src, dst, 4, 10);
    EXPECT_EQ(dst, (Bytes{'d'}));
    OrvArrayUtils::copyByteArray(src, dst, UINT_MAX, UINT_MAX);
    EXPECT_TRUE(dst.empty());
}

TEST(OrvArrayUtilsTest, DigitsAndNibbles)
{
    const struct { const char* text; bool digits; } cases[] = {
        {"", true}, {"0123456789", true}, {"-12", true}, {"1-2", true}, {"--", true},
        {"1.5", false}, {" 1", false}, {"+1", false}, {"1a", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OrvArrayUtils::isDigit(c.text), c.digits) << '"' << c.text << '"';
    EXPECT_EQ(OrvArrayUtils::getUpperNibble(0xAB), 0x0Au);
    EXPECT_EQ(OrvArrayUtils::getUpperNibble(0x1AB), 0x0Au);
    EXPECT_EQ(OrvArrayUtils::getUpperNibble(0x0F), 0u);
}

} // namespace
