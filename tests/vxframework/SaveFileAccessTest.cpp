#include <SaveFileAccess.h>
#include <VxHostSaveFile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

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

// The names in the save directory that begin with prefix.
std::vector<std::string> entriesStartingWith(const std::string& prefix)
{
    std::vector<std::string> found;
    DIR* directory = opendir(VxHostSaveFile::directory().c_str());
    if (directory == nullptr)
        return found;
    while (dirent* entry = readdir(directory)) {
        if (std::string(entry->d_name).rfind(prefix, 0) == 0)
            found.push_back(entry->d_name);
    }
    closedir(directory);
    return found;
}

void removeAll(const std::string& path)
{
    struct stat info;
    if (lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        rmdir(path.c_str());
    else
        unlink(path.c_str());
}

class SaveFileAccessTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        name = std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".ini";
        // Creates the directory.
        auto file = openFile(name.c_str());
        file->Flush();
        path = VxHostSaveFile::path(name);
        for (const std::string& entry : entriesStartingWith(name))
            removeAll(VxHostSaveFile::directory() + "/" + entry);
    }
    std::string name;
    std::string path;
};

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

// Another writer's temporary file, or one left by an interrupted flush, is
// neither written into nor renamed; a flush leaves no file of its own behind.
TEST_F(SaveFileAccessTest, TemporaryFileIsTheWritersOwn)
{
    const std::string foreign = path + ".tmp";
    writeFile(foreign, "token=half");
    for (const char* value : {"one", "two"}) {
        auto file = openFile(name.c_str());
        file->Set("token", std::string(value));
        ASSERT_EQ(file->Flush(), 0);
    }
    EXPECT_EQ(readFile(path), "token=two\n");
    EXPECT_EQ(readFile(foreign), "token=half");
    std::vector<std::string> left = entriesStartingWith(name);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{name, name + ".tmp"}));
}

TEST_F(SaveFileAccessTest, FailedFlushKeepsOldContents)
{
    {
        auto file = openFile(name.c_str());
        file->Set("token", std::string("old"));
        ASSERT_EQ(file->Flush(), 0);
    }
    // A file size limit makes the write fail, whoever runs the test.
    struct rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    struct rlimit small = saved;
    small.rlim_cur = 8;
    void (*previous)(int) = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    int flushed = 0;
    {
        auto file = openFile(name.c_str());
        file->Set("token", std::string("new and longer than the limit"));
        flushed = file->Flush();
    }
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(flushed, -1);
    EXPECT_EQ(readFile(path), "token=old\n");
    EXPECT_EQ(entriesStartingWith(name), (std::vector<std::string>{name}));
}

// Whatever sits at the path, FOpen returns without blocking and reads only a
// regular file; where a file can take its place, a Flush puts it there.
TEST_F(SaveFileAccessTest, SomethingOtherThanAFileAtThePath)
{
    const std::string elsewhere = path + ".target";
    struct Case {
        const char* what;
        std::function<int()> make;
        bool opens;      // the store takes Set after the failed FOpen
        bool replaced;   // a Flush leaves a regular file at the path
    };
    const Case cases[] = {
        {"fifo", [&] { return mkfifo(path.c_str(), 0600); }, true, true},
        {"directory", [&] { return mkdir(path.c_str(), 0700); }, true, false},
        {"dangling link", [&] { return symlink((path + ".missing").c_str(), path.c_str()); }, true, true},
        {"link to a file", [&] {
             writeFile(elsewhere, "token=linked\n");
             return symlink(elsewhere.c_str(), path.c_str());
         }, true, true},
        {"device", [&] { return mknod(path.c_str(), S_IFCHR | 0600, makedev(1, 3)); }, true, true},
        {"oversized file", [&] {
             writeFile(path, "");
             return truncate(path.c_str(), 5 * 1024 * 1024);
         }, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        removeAll(path);
        if (c.make() != 0) {
            if (errno == EPERM)
                continue; // no device nodes without the privilege
            FAIL() << "could not make it: " << errno;
        }
        struct stat before;
        ASSERT_EQ(lstat(path.c_str(), &before), 0);
        std::unique_ptr<SaveFileAccessMetaText> file(SaveFileAccessFactory::GetInstance()->CreateMetaText(name.c_str(), "a+"));
        auto opening = std::async(std::launch::async, [&] { return file->FOpen(); });
        if (opening.wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
            // Release a reader stuck in open() so that the test can end.
            close(open(path.c_str(), O_WRONLY | O_NONBLOCK));
            opening.wait();
            ADD_FAILURE() << "FOpen blocked";
            continue;
        }
        EXPECT_EQ(opening.get(), -1);
        std::string value;
        EXPECT_EQ(file->Get("token", &value), -1);
        EXPECT_EQ(file->Set("token", std::string("new")), c.opens ? 0 : -1);
        EXPECT_EQ(file->Flush(), c.replaced ? 0 : -1);
        file->FClose();

        struct stat after;
        ASSERT_EQ(lstat(path.c_str(), &after), 0);
        if (c.replaced) {
            EXPECT_TRUE(S_ISREG(after.st_mode));
            EXPECT_EQ(readFile(path), "token=new\n");
        } else {
            EXPECT_EQ(after.st_ino, before.st_ino);
            EXPECT_EQ(after.st_size, before.st_size);
        }
        if (access(elsewhere.c_str(), F_OK) == 0) {
            EXPECT_EQ(readFile(elsewhere), "token=linked\n");
            removeAll(elsewhere);
        }
        EXPECT_TRUE(entriesStartingWith(name + ".").empty());
    }
    removeAll(path);
}

} // namespace
