#include "util/OrvDebugDataWriter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace {

TEST(OrvDebugDataWriterTest, FileNameTimeFormat)
{
    const char* zone = getenv("TZ");
    const std::string savedZone = zone != nullptr ? zone : "";
    setenv("TZ", "UTC", 1);
    tzset();
    const struct { const char* prefix; const char* name; const char* extension; time_t when; const char* expected; } cases[] = {
        {"X-", "name", ".bin", 1709804465, "X-2024-03-07_09-09-05-name.bin"}, // 09:41:05
        {"X-", "name", ".bin", 1709847000, "X-2024-03-07_21-09-00-name.bin"}, // 21:30:00
        {"X-", "name", ".bin", 1709820309, "X-2024-03-07_14-02-09-name.bin"}, // 14:05:09
        {"X-", "name", ".bin", 1709769600, "X-2024-03-07_00-12-00-name.bin"}, // midnight: %I reads 12
        {"X-", "name", ".bin", 0, "X-1970-01-01_00-12-00-name.bin"},
        {"a", "b", "", 1709804465, ""}, // an empty part gives an empty name
        {"", "b", "c", 1709804465, ""},
        {"a", "", "c", 1709804465, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OrvDebugDataWriter::getFileName(c.prefix, c.name, c.extension, c.when), c.expected) << c.when;
    const std::string now = OrvDebugDataWriter::getFileName("a", "b", "c");
    if (zone != nullptr)
        setenv("TZ", savedZone.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
    ASSERT_EQ(now.size(), 1u + 20u + 2u);
    EXPECT_EQ(now.front(), 'a');
    EXPECT_EQ(now.substr(now.size() - 2), "bc");
}

} // namespace
