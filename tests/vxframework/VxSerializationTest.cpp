#include <VxHostArchive.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

TEST(VxSerializationArchive, EncodesBigEndianWithFixedWidthAndReadsItBack)
{
    VxHostArchive writer;
    writer.write(0x01020304u);
    writer.write(1.0);
    writer.write(true);
    writer.write(std::string("ab\0c", 4), -1);
    writer.write(std::string("hello"), 2);
    EXPECT_EQ(writer.bytes(), (std::vector<uint8_t>{1, 2, 3, 4, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0, 1,
                                                    0, 0, 0, 4, 'a', 'b', 0, 'c', 0, 0, 0, 2, 'h', 'e'}));
    writer.write(std::numeric_limits<double>::denorm_min());

    VxHostArchive reader(writer.data(), writer.size());
    unsigned int number = 0;
    double real = 0, tiny = 0;
    bool flag = false;
    std::string text, cut;
    EXPECT_EQ(reader.read(number), 0);
    EXPECT_EQ(reader.read(real), 0);
    EXPECT_EQ(reader.read(flag), 0);
    EXPECT_EQ(reader.read(text), 0);
    EXPECT_EQ(reader.read(cut), 0);
    EXPECT_EQ(reader.read(tiny), 0);
    EXPECT_EQ(number, 0x01020304u);
    EXPECT_EQ(real, 1.0);
    EXPECT_TRUE(flag);
    EXPECT_EQ(text, std::string("ab\0c", 4));
    EXPECT_EQ(cut, "he");
    EXPECT_EQ(tiny, std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(reader.remaining(), 0u);
    EXPECT_FALSE(reader.isExhausted());
}

// A short read gives the default, consumes the rest and marks the archive
// exhausted; a length beyond the rest is not allocated.
TEST(VxSerializationArchive, ShortReadsGiveDefaults)
{
    const std::vector<uint8_t> inputs[] = {{1, 2, 3}, {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b'}, {}};
    for (const auto& raw : inputs) {
        VxHostArchive archive(raw.data(), raw.size());
        std::string text = "stale";
        EXPECT_EQ(archive.read(text), -1);
        EXPECT_EQ(text, "");
        EXPECT_TRUE(archive.isExhausted());
        EXPECT_EQ(archive.remaining(), 0u);
        unsigned int number = 9;
        double real = 9.5;
        bool flag = true;
        EXPECT_EQ(archive.read(number) + archive.read(real) + archive.read(flag), -3); // each one fails
        EXPECT_EQ(number, 0u);
        EXPECT_EQ(real, 0.0);
        EXPECT_FALSE(flag);
    }
}

} // namespace
