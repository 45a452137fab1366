#include <SaveFileAccess.h>

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

std::unique_ptr<SaveFileAccessMetaText> openFile(const char* name, const char* mode = "a+")
{
    std::unique_ptr<SaveFileAccessMetaText> file(SaveFileAccessFactory::GetInstance()->CreateMetaText(name, mode));
    EXPECT_NE(file, nullptr);
    EXPECT_EQ(file->FOpen(), 0);
    return file;
}

class SaveFileAccessTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        name = std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".ini";
        auto file = openFile(name.c_str());
        path = file->path();
        unlink(path.c_str());
        unlink((path + ".tmp").c_str());
    }
    std::string name;
    std::string path;
};

TEST_F(SaveFileAccessTest, PathUsesConfiguredDirectory)
{
    const char* directory = getenv("VX_SAVEFILE_DIR");
    ASSERT_NE(directory, nullptr);
    EXPECT_EQ(SaveFileAccessBase::directory(), directory);
    EXPECT_EQ(path, std::string(directory) + "/" + name);
}

TEST_F(SaveFileAccessTest, MissingFileOpensEmpty)
{
    auto file = openFile(name.c_str());
    std::string text;
    int number = 0;
    EXPECT_EQ(file->Get("a", &text), -1);
    EXPECT_EQ(file->Get("a", &number), -1);
    EXPECT_EQ(access(path.c_str(), F_OK), -1);
}

TEST_F(SaveFileAccessTest, ArbitraryBytesSurviveReopen)
{
    const std::string values[] = {
        "", "plain", "a=b=c", "line\nbreak", "cr\rlf\r\n", "back\\slash\\", "\\n literal",
        std::string("nul\0byte", 8), "\xff\xfe\x01", " spaced ",
    };
    {
        auto file = openFile(name.c_str());
        int i = 0;
        for (const auto& value : values)
            EXPECT_EQ(file->Set(("key" + std::to_string(i++)).c_str(), value), 0);
        EXPECT_EQ(file->Set("we=ird\\key\n", "k"), 0);
        EXPECT_EQ(file->Set("number", -42), 0);
        EXPECT_EQ(file->Flush(), 0);
        EXPECT_EQ(file->FClose(), 0);
    }
    auto file = openFile(name.c_str());
    int i = 0;
    for (const auto& value : values) {
        std::string read = "unchanged";
        EXPECT_EQ(file->Get(("key" + std::to_string(i++)).c_str(), &read), 0);
        EXPECT_EQ(read, value);
    }
    std::string weird;
    EXPECT_EQ(file->Get("we=ird\\key\n", &weird), 0);
    EXPECT_EQ(weird, "k");
    int number = 0;
    EXPECT_EQ(file->Get("number", &number), 0);
    EXPECT_EQ(number, -42);
}

TEST_F(SaveFileAccessTest, UnflushedChangesAreNotWritten)
{
    {
        auto file = openFile(name.c_str());
        file->Set("kept", 1);
        file->Flush();
        file->Set("dropped", 2);
        file->FClose();
    }
    auto file = openFile(name.c_str());
    int value = 0;
    EXPECT_EQ(file->Get("kept", &value), 0);
    EXPECT_EQ(file->Get("dropped", &value), -1);
}

TEST_F(SaveFileAccessTest, GarbageLinesAreSkipped)
{
    writeFile(path, "no separator\n"
                    "=empty key\n"
                    "bad\\qescape=1\n"
                    "trailing=backslash\\\n"
                    "good=value\n"
                    "crlf=ok\r\n"
                    "dup=first\n"
                    "dup=second\n"
                    "last=no newline");
    auto file = openFile(name.c_str());
    const struct { const char* key; const char* expected; } cases[] = {
        {"good", "value"}, {"crlf", "ok"}, {"dup", "second"}, {"last", "no newline"},
    };
    for (const auto& c : cases) {
        std::string value;
        EXPECT_EQ(file->Get(c.key, &value), 0) << c.key;
        EXPECT_EQ(value, c.expected) << c.key;
    }
    std::string value;
    EXPECT_EQ(file->Get("no separator", &value), -1);
    EXPECT_EQ(file->Get("", &value), -1);
    EXPECT_EQ(file->Get("bad\\qescape", &value), -1);
    EXPECT_EQ(file->Get("badqescape", &value), -1);
    EXPECT_EQ(file->Get("trailing", &value), -1);
}

TEST_F(SaveFileAccessTest, IntegerTypeRules)
{
    writeFile(path, "");
    auto file = openFile(name.c_str());
    const struct { const char* text; bool valid; int value; } cases[] = {
        {"0", true, 0}, {"-0", true, 0}, {"123", true, 123}, {"-17", true, -17},
        {"2147483647", true, 2147483647}, {"-2147483648", true, -2147483647 - 1},
        {"2147483648", false, 0}, {"-2147483649", false, 0}, {"99999999999999999999", false, 0},
        {"", false, 0}, {"-", false, 0}, {"+5", false, 0}, {" 5", false, 0}, {"5 ", false, 0},
        {"0x10", false, 0}, {"1.5", false, 0}, {"12a", false, 0},
    };
    for (const auto& c : cases) {
        file->Set("k", std::string(c.text));
        int value = 777;
        EXPECT_EQ(file->Get("k", &value), c.valid ? 0 : -1) << c.text;
        EXPECT_EQ(value, c.valid ? c.value : 777) << c.text;
        std::string text;
        EXPECT_EQ(file->Get("k", &text), 0);
        EXPECT_EQ(text, c.text);
    }
    file->Set("n", 2147483647);
    std::string text;
    EXPECT_EQ(file->Get("n", &text), 0);
    EXPECT_EQ(text, "2147483647");
}

TEST_F(SaveFileAccessTest, LeftOverTemporaryFileDoesNotHarm)
{
    {
        auto file = openFile(name.c_str());
        file->Set("token", std::string("old"));
        ASSERT_EQ(file->Flush(), 0);
    }
    // An interrupted earlier flush left a partial temporary file behind.
    writeFile(path + ".tmp", "token=half");
    {
        auto file = openFile(name.c_str());
        std::string value;
        EXPECT_EQ(file->Get("token", &value), 0);
        EXPECT_EQ(value, "old");
        file->Set("token", std::string("new"));
        ASSERT_EQ(file->Flush(), 0);
    }
    EXPECT_EQ(access((path + ".tmp").c_str(), F_OK), -1);
    EXPECT_EQ(readFile(path), "token=new\n");
}

TEST_F(SaveFileAccessTest, FailedFlushKeepsOldContents)
{
    {
        auto file = openFile(name.c_str());
        file->Set("token", std::string("old"));
        ASSERT_EQ(file->Flush(), 0);
    }
    // A directory in the temporary file's place makes the write fail.
    ASSERT_EQ(mkdir((path + ".tmp").c_str(), 0700), 0);
    {
        auto file = openFile(name.c_str());
        file->Set("token", std::string("new"));
        EXPECT_EQ(file->Flush(), -1);
    }
    rmdir((path + ".tmp").c_str());
    EXPECT_EQ(readFile(path), "token=old\n");
}

TEST_F(SaveFileAccessTest, ModesAndMisuse)
{
    {
        auto file = openFile(name.c_str());
        file->Set("a", 1);
        file->Flush();
    }
    auto readOnly = openFile(name.c_str(), "r");
    int value = 0;
    EXPECT_EQ(readOnly->Get("a", &value), 0);
    readOnly->Set("a", 2);
    EXPECT_EQ(readOnly->Flush(), -1);

    auto truncating = openFile(name.c_str(), "w");
    EXPECT_EQ(truncating->Get("a", &value), -1);

    std::unique_ptr<SaveFileAccessMetaText> closed(SaveFileAccessFactory::GetInstance()->CreateMetaText(name.c_str(), "a+"));
    EXPECT_EQ(closed->Set("a", 3), -1);
    EXPECT_EQ(closed->Flush(), -1);
    EXPECT_EQ(closed->FClose(), -1);
    std::string text;
    EXPECT_EQ(closed->FOpen(), 0);
    EXPECT_EQ(closed->Get(nullptr, &text), -1);
    EXPECT_EQ(closed->Set(nullptr, 1), -1);
    EXPECT_EQ(closed->Set("", 1), -1);

    EXPECT_EQ(SaveFileAccessFactory::GetInstance()->CreateMetaText(nullptr, "a+"), nullptr);
    std::unique_ptr<SaveFileAccessMetaText> escaping(SaveFileAccessFactory::GetInstance()->CreateMetaText("../x.ini", "a+"));
    EXPECT_EQ(escaping->FOpen(), -1);
}

TEST(SaveFileDirectoryTest, CreatedWithParentsOnFlush)
{
    const std::string saved = getenv("VX_SAVEFILE_DIR");
    const std::string nested = saved + "/nested/deeper";
    setenv("VX_SAVEFILE_DIR", nested.c_str(), 1);
    {
        auto file = openFile("nested.ini");
        file->Set("k", 1);
        EXPECT_EQ(file->Flush(), 0);
    }
    EXPECT_EQ(readFile(nested + "/nested.ini"), "k=1\n");
    const char* home = getenv("HOME");
    const std::string savedHome = home != nullptr ? home : "";
    unsetenv("VX_SAVEFILE_DIR");
    setenv("HOME", (saved + "/home").c_str(), 1);
    EXPECT_EQ(SaveFileAccessBase::directory(), saved + "/home/.local/state/orvkit");
    setenv("VX_SAVEFILE_DIR", saved.c_str(), 1);
    if (home != nullptr)
        setenv("HOME", savedHome.c_str(), 1);
    else
        unsetenv("HOME");
}

} // namespace
