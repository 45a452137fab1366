#include <VxHostArchive.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

// The host archive adds only a look at the read position.
using Archive = VxHostArchive;

namespace {

std::vector<uint8_t> bytesOf(std::initializer_list<int> values)
{
    std::vector<uint8_t> bytes;
    for (int value : values)
        bytes.push_back(static_cast<uint8_t>(value));
    return bytes;
}

} // namespace

TEST(VxSerializationArchive, EncodesEachPrimitiveBigEndianWithFixedWidth)
{
    Archive archive;
    archive.write(0x01020304u);
    archive.write(1.0);
    archive.write(true);
    archive.write(false);
    archive.write(std::string("ab\0c", 4), -1);
    const uint8_t raw[] = {0xAA, 0xBB};
    archive.write(raw, sizeof raw);
    EXPECT_EQ(archive.bytes(), bytesOf({0x01, 0x02, 0x03, 0x04,
                                        0x3F, 0xF0, 0, 0, 0, 0, 0, 0,
                                        0x01, 0x00,
                                        0, 0, 0, 4, 'a', 'b', 0, 'c',
                                        0xAA, 0xBB}));
}

TEST(VxSerializationArchive, StringLengthArgumentLimitsTheBytesWritten)
{
    Archive archive;
    archive.write(std::string("hello"), 2);
    archive.write(std::string("hi"), 10);
    archive.write(std::string("x"), 0);
    EXPECT_EQ(archive.bytes(), bytesOf({0, 0, 0, 2, 'h', 'e', 0, 0, 0, 2, 'h', 'i', 0, 0, 0, 0}));
}

TEST(VxSerializationArchive, ReadsBackWhatWasWritten)
{
    Archive writer;
    writer.write(std::numeric_limits<unsigned int>::max());
    writer.write(-0.125);
    writer.write(std::numeric_limits<double>::denorm_min());
    writer.write(true);
    writer.write(std::string("\xE6\x9D\xB1\0tail", 8), -1);
    writer.write(std::string(), -1);

    Archive reader(writer.data(), writer.size());
    unsigned int number = 0;
    double negative = 0, tiny = 0;
    bool flag = false;
    std::string text, empty = "stale";
    EXPECT_EQ(reader.read(number), 0);
    EXPECT_EQ(reader.read(negative), 0);
    EXPECT_EQ(reader.read(tiny), 0);
    EXPECT_EQ(reader.read(flag), 0);
    EXPECT_EQ(reader.read(text), 0);
    EXPECT_EQ(reader.read(empty), 0);
    EXPECT_EQ(number, std::numeric_limits<unsigned int>::max());
    EXPECT_EQ(negative, -0.125);
    EXPECT_EQ(tiny, std::numeric_limits<double>::denorm_min());
    EXPECT_TRUE(flag);
    EXPECT_EQ(text, std::string("\xE6\x9D\xB1\0tail", 8));
    EXPECT_EQ(empty, "");
    EXPECT_EQ(reader.remaining(), 0u);
    EXPECT_FALSE(reader.isExhausted());
}

TEST(VxSerializationArchive, AnyNonZeroByteReadsAsTrue)
{
    const uint8_t raw[] = {0x7F};
    Archive archive(raw, sizeof raw);
    bool flag = false;
    EXPECT_EQ(archive.read(flag), 0);
    EXPECT_TRUE(flag);
}

TEST(VxSerializationArchive, ShortReadGivesDefaultConsumesRestAndMarksExhausted)
{
    const uint8_t raw[] = {1, 2, 3};
    {
        Archive archive(raw, sizeof raw);
        unsigned int number = 9;
        EXPECT_EQ(archive.read(number), -1);
        EXPECT_EQ(number, 0u);
        EXPECT_TRUE(archive.isExhausted());
        EXPECT_EQ(archive.position(), 3u);
        EXPECT_EQ(archive.remaining(), 0u);
    }
    {
        Archive archive(raw, sizeof raw);
        double real = 9.5;
        EXPECT_EQ(archive.read(real), -1);
        EXPECT_EQ(real, 0.0);
        EXPECT_TRUE(archive.isExhausted());
    }
    {
        Archive archive;
        bool flag = true;
        EXPECT_EQ(archive.read(flag), -1);
        EXPECT_FALSE(flag);
        EXPECT_TRUE(archive.isExhausted());
    }
    {
        Archive archive(raw, sizeof raw);
        std::string text = "stale";
        EXPECT_EQ(archive.read(text), -1);
        EXPECT_EQ(text, "");
        EXPECT_TRUE(archive.isExhausted());
    }
}

TEST(VxSerializationArchive, StringLongerThanTheRestIsNotAllocated)
{
    // 0xFFFFFFFF claims 4 GiB; only two bytes follow.
    const uint8_t raw[] = {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b'};
    Archive archive(raw, sizeof raw);
    std::string text = "stale";
    EXPECT_EQ(archive.read(text), -1);
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(archive.isExhausted());
    EXPECT_EQ(archive.remaining(), 0u);
    unsigned int after = 7;
    EXPECT_EQ(archive.read(after), -1);
    EXPECT_EQ(after, 0u);
}

TEST(VxSerializationArchive, RewindAndClear)
{
    Archive archive;
    archive.write(5u);
    unsigned int value = 0;
    archive.read(value);
    archive.read(value);
    EXPECT_TRUE(archive.isExhausted());
    archive.rewind();
    EXPECT_FALSE(archive.isExhausted());
    EXPECT_EQ(archive.read(value), 0);
    EXPECT_EQ(value, 5u);

    archive.clear();
    EXPECT_EQ(archive.size(), 0u);
    EXPECT_EQ(archive.position(), 0u);
    archive.write(6u);
    EXPECT_EQ(archive.read(value), 0);
    EXPECT_EQ(value, 6u);
}

TEST(VxSerializationArchive, NullOrEmptyInputsAreHarmless)
{
    Archive fromNull(nullptr, 16);
    EXPECT_EQ(fromNull.size(), 0u);
    fromNull.write(static_cast<const uint8_t*>(nullptr), size_t{8});
    EXPECT_EQ(fromNull.size(), 0u);
    std::string text = "x";
    EXPECT_EQ(fromNull.read(text), -1);
    EXPECT_TRUE(text.empty());
}
