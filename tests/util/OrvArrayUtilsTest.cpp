#include "util/OrvArrayUtils.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <climits>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// Byte i of the buffer holds 0xF0 + i, so that a read shows where it started
// and a sign-extended byte would show. Writes put 01 02 03 04 (the word: 03 04).
TEST(OrvArrayUtilsTest, CheckedReadsAndWritesStayInsideTheBuffer)
{
    // word, dword: what reads at offset, 0 when it does not fit.
    const struct { size_t size; unsigned int offset; unsigned long word, dword; } cases[] = {
        {0, 0, 0, 0},          {1, 0, 0, 0},      {2, 0, 0xF0F1, 0}, {2, 1, 0, 0}, {2, 2, 0, 0},
        {5, 2, 0xF2F3, 0},     {6, 2, 0xF2F3, 0xF2F3F4F5ul},         {6, 4, 0xF4F5, 0}, {6, 5, 0, 0},
        {6, UINT_MAX, 0, 0},   {6, UINT_MAX - 2, 0, 0},
    };
    const Bytes source{0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5};
    for (const auto& c : cases) {
        for (unsigned int width : {2u, 4u}) {
            SCOPED_TRACE(testing::Message() << "size " << c.size << " offset " << c.offset << " width " << width);
            Bytes buf(source.begin(), source.begin() + static_cast<long>(c.size));
            const unsigned long read = width == 2 ? c.word : c.dword;
            EXPECT_EQ(width == 2 ? OrvArrayUtils::byteArrayToWord(buf, c.offset) : OrvArrayUtils::byteArrayToDword(buf, c.offset), read);

            Bytes expected = buf;
            const Bytes written = width == 2 ? Bytes{0x03, 0x04} : Bytes{0x01, 0x02, 0x03, 0x04};
            if (read != 0)
                std::copy(written.begin(), written.end(), expected.begin() + c.offset);
            if (width == 2)
                OrvArrayUtils::setWordToByteArray(0x10304, buf, c.offset);
            else
                OrvArrayUtils::setDwordToByteArray(0x01020304ul, buf, c.offset);
            EXPECT_EQ(buf, expected);
        }
    }
}

TEST(OrvArrayUtilsTest, AppendsAndPointerForms)
{
    Bytes buf{0x09};
    OrvArrayUtils::appendWordToByteArray(0x12345, buf);
    OrvArrayUtils::appendDwordToByteArray(0xCAFEBABEul, buf);
    EXPECT_EQ(buf, (Bytes{0x09, 0x23, 0x45, 0xCA, 0xFE, 0xBA, 0xBE}));
    EXPECT_EQ(OrvArrayUtils::byteArrayToWord(buf.data() + 3), 0xCAFEu);
    EXPECT_EQ(OrvArrayUtils::byteArrayToDword(buf.data() + 3), 0xCAFEBABEul);
    // A null pointer reads 0 and takes no write.
    EXPECT_EQ(OrvArrayUtils::byteArrayToWord(nullptr), 0u);
    EXPECT_EQ(OrvArrayUtils::byteArrayToDword(nullptr), 0ul);
    OrvArrayUtils::wordToByteArray(0x1234, nullptr);
    OrvArrayUtils::dwordToByteArray(0x12345678ul, nullptr);
}

TEST(OrvArrayUtilsTest, StringsAndCopies)
{
    const Bytes buf{'a', 'b', 0, 'c'};
    // text and run: up to the zero; range: three bytes, cut at the end.
    const struct { unsigned int offset; const char* text; Bytes run; Bytes range; } cases[] = {
        {0, "ab", {'a', 'b'}, {'a', 'b', 0}}, {1, "b", {'b'}, {'b', 0, 'c'}}, {2, "", {}, {0, 'c'}}, {3, "c", {'c'}, {'c'}},
        {4, "", {}, {}}, {5, "previous", {9}, {}}, {UINT_MAX, "previous", {9}, {}},
    };
    for (const auto& c : cases) {
        for (auto read : {&OrvArrayUtils::byteArrayToString, &OrvArrayUtils::byteArrayToStringMultiByte}) {
            std::string out = "previous";
            read(buf, out, c.offset);
            EXPECT_EQ(out, c.text) << c.offset;
        }
        Bytes dst{9};
        OrvArrayUtils::copyByteArray(buf, dst, c.offset);
        EXPECT_EQ(dst, c.run) << c.offset;
        OrvArrayUtils::copyByteArray(buf, dst, c.offset, 3);
        EXPECT_EQ(dst, c.range) << c.offset;
    }
    std::string out = "previous";
    OrvArrayUtils::byteArrayToString(Bytes(), out, 0);
    EXPECT_EQ(out, "previous");

    Bytes written{1, 2, 3};
    OrvArrayUtils::stringToByteArray("", written, true);
    EXPECT_EQ(written, (Bytes{1, 2, 3}));
    OrvArrayUtils::stringToByteArray("ab", written, true);
    EXPECT_EQ(written, (Bytes{'a', 'b', 0}));
    OrvArrayUtils::stringToByteArray(std::string("x\0y", 3), written, false);
    EXPECT_EQ(written, (Bytes{'x', 0, 'y'}));
}

TEST(OrvArrayUtilsTest, DigitsAndNibbles)
{
    const struct { const char* text; bool digits; } cases[] = {
        {"", true}, {"0123456789", true}, {"1-2", true}, {"1.5", false}, {" 1", false}, {"+1", false}, {"1a", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OrvArrayUtils::isDigit(c.text), c.digits) << '"' << c.text << '"';
    EXPECT_EQ(OrvArrayUtils::getUpperNibble(0x1AB), 0x0Au);
}

} // namespace
