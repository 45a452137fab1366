#include "util/OrvDebugDataWriter.h"
#include "util/OrvLogger.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <string>
#include <unistd.h>

namespace {

class OrvDebugDataWriterTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const char* zone = getenv("TZ");
        hadZone = zone != nullptr;
        if (hadZone)
            savedZone = zone;
        setenv("TZ", "UTC", 1);
        tzset();
    }
    void TearDown() override
    {
        if (hadZone)
            setenv("TZ", savedZone.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    bool hadZone = false;
    std::string savedZone;
};

TEST_F(OrvDebugDataWriterTest, FileNameTimeFormat)
{
    const struct { time_t when; const char* expected; } cases[] = {
        {1709804465, "X-2024-03-07_09-09-05-name.bin"}, // 09:41:05
        {1709847000, "X-2024-03-07_21-09-00-name.bin"}, // 21:30:00
        {1709820309, "X-2024-03-07_14-02-09-name.bin"}, // 14:05:09
        {1709769600, "X-2024-03-07_00-12-00-name.bin"}, // midnight: %I reads 12
        {0, "X-1970-01-01_00-12-00-name.bin"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OrvDebugDataWriter::getFileName("X-", "name", ".bin", c.when), c.expected);
}

TEST_F(OrvDebugDataWriterTest, EmptyPartGivesEmptyName)
{
    EXPECT_EQ(OrvDebugDataWriter::getFileName("a", "b", "", 1709804465), "");
    EXPECT_EQ(OrvDebugDataWriter::getFileName("", "b", "c", 1709804465), "");
    EXPECT_EQ(OrvDebugDataWriter::getFileName("a", "", "c"), "");
    const std::string now = OrvDebugDataWriter::getFileName("a", "b", "c");
    ASSERT_EQ(now.size(), 1u + 20u + 2u);
    EXPECT_EQ(now.front(), 'a');
    EXPECT_EQ(now.substr(now.size() - 2), "bc");
}

TEST(OrvDebugDataWriterInactiveTest, NothingIsWritten)
{
    char pattern[] = "/tmp/orvkit-debug-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof(previous)), nullptr);
    ASSERT_EQ(chdir(pattern), 0);

    EXPECT_EQ(OrvDebugDataWriter::getFileNameForOriginalData("reply"), "");
    EXPECT_EQ(OrvDebugDataWriter::getFileNameForConvertedData("reply"), "");
    EXPECT_EQ(OrvDebugDataWriter::getFileNameForLog(), "");
    OrvDebugDataWriter::writeData(OrvDebugDataWriter::OUT_DIR_PATH + "/ORG-x.bin", std::vector<unsigned char>{1, 2});
    OrvDebugDataWriter::writeData("plain.log", std::string("text"));
    {
        OrvLogger logger;
        logger.log("line");
        logger.flush();
        std::string out = "unchanged";
        logger.getLog(out);
        EXPECT_EQ(out, "unchanged");
    }

    int entries = 0;
    DIR* directory = opendir(".");
    ASSERT_NE(directory, nullptr);
    while (dirent* entry = readdir(directory)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            ++entries;
    }
    closedir(directory);
    EXPECT_EQ(chdir(previous), 0);
    rmdir(pattern);
    EXPECT_EQ(entries, 0);
}

} // namespace
