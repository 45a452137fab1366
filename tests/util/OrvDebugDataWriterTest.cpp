#include "util/OrvDebugDataWriter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

TEST(OrvDebugDataWriterTest, FileNameTimeFormat)
{
    setenv("TZ", "UTC", 1); // nothing else in this program reads the zone
    tzset();
    const struct { const char* prefix; const char* name; const char* extension; time_t when; const char* expected; } cases[] = {
        {"X-", "name", ".bin", 1709804465, "X-2024-03-07_09-09-05-name.bin"}, // 09:41:05
        {"X-", "name", ".bin", 1709847000, "X-2024-03-07_21-09-00-name.bin"}, // 21:30:00
        {"X-", "name", ".bin", 1709769600, "X-2024-03-07_00-12-00-name.bin"}, // midnight: %I reads 12
        {"a", "b", "", 1709804465, ""}, // an empty part gives an empty name
        {"", "b", "c", 1709804465, ""},
        {"a", "", "c", 1709804465, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OrvDebugDataWriter::getFileName(c.prefix, c.name, c.extension, c.when), c.expected) << c.when;
    EXPECT_EQ(OrvDebugDataWriter::getFileName("a", "b", "c").size(), 1u + 20u + 2u);
}

} // namespace
