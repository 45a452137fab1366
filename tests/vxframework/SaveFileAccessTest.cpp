#include <SaveFileAccess.h>
#include <VxHostSaveFile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::unique_ptr<SaveFileAccessMetaText> openFile(const std::string& name)
{
    std::unique_ptr<SaveFileAccessMetaText> file(SaveFileAccessFactory::GetInstance()->CreateMetaText(name.c_str(), "a+"));
    EXPECT_EQ(file->FOpen(), 0);
    return file;
}

// The names in the save directory that begin with prefix, sorted.
std::vector<std::string> entriesStartingWith(const std::string& prefix)
{
    std::vector<std::string> found;
    if (DIR* directory = opendir(VxHostSaveFile::directory().c_str())) {
        while (dirent* entry = readdir(directory)) {
            if (std::string(entry->d_name).rfind(prefix, 0) == 0)
                found.push_back(entry->d_name);
        }
        closedir(directory);
    }
    std::sort(found.begin(), found.end());
    return found;
}

// "<test name>.ini", with nothing in the save directory (made if need be) that begins so.
std::string freshName()
{
    const std::string name = std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".ini";
    openFile(name)->Flush();
    for (const std::string& entry : entriesStartingWith(name))
        unlink((VxHostSaveFile::directory() + "/" + entry).c_str());
    return name;
}

TEST(SaveFileAccessTest, ArbitraryBytesSurviveReopen)
{
    const std::string name = freshName();
    const std::pair<std::string, std::string> entries[] = {
        {"empty", ""}, {"plain", "plain"}, {"equals", "a=b=c"}, {"newline", "line\nbreak"}, {"cr", "cr\rlf\r\n"},
        {"backslash", "back\\slash\\"}, {"escape", "\\n literal"}, {"nul", std::string("nul\0byte", 8)},
        {"high", "\xff\xfe\x01"}, {"spaced", " spaced "}, {"we=ird\\key\n", "k"}, {"notANumber", "12x"},
    };
    {
        auto file = openFile(name);
        for (const auto& entry : entries)
            EXPECT_EQ(file->Set(entry.first.c_str(), entry.second), 0);
        EXPECT_EQ(file->Set("number", -42), 0);
        EXPECT_EQ(file->Flush(), 0);
    }
    auto file = openFile(name);
    for (const auto& entry : entries) {
        std::string read = "unchanged";
        EXPECT_EQ(file->Get(entry.first.c_str(), &read), 0);
        EXPECT_EQ(read, entry.second);
    }
    int number = 0;
    EXPECT_EQ(file->Get("number", &number), 0);
    EXPECT_EQ(number, -42);
    EXPECT_EQ(file->Get("notANumber", &number), -1);
}

// A flush renames a file of its own: another writer's temporary file is left
// alone, and a failed write leaves the old contents and nothing of its own.
TEST(SaveFileAccessTest, FlushReplacesTheFileAtomically)
{
    const std::string name = freshName();
    const std::string path = VxHostSaveFile::path(name);
    std::ofstream(path + ".tmp") << "token=half";
    for (const char* value : {"one", "two"}) {
        auto file = openFile(name);
        file->Set("token", std::string(value));
        ASSERT_EQ(file->Flush(), 0);
    }
    EXPECT_EQ(readFile(path), "token=two\n");

    // A file size limit makes the write fail, whoever runs the test.
    struct rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    struct rlimit small = saved;
    small.rlim_cur = 8;
    void (*previous)(int) = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    auto file = openFile(name);
    file->Set("token", std::string("new and longer than the limit"));
    const int flushed = file->Flush();
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(flushed, -1);
    EXPECT_EQ(readFile(path), "token=two\n");
    EXPECT_EQ(readFile(path + ".tmp"), "token=half");
    EXPECT_EQ(entriesStartingWith(name), (std::vector<std::string>{name, name + ".tmp"}));
}

} // namespace
