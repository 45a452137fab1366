#include "sysdata/SysDataOrvToken.h"
#include "sysdata/SysDataProductFactory.h"

#include "LogCapture.h"

#include <SaveFileAccess.h>
#include <VxHostSaveFile.h>

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::string tokenPath() { return VxHostSaveFile::path("OrvToken.ini"); }

// What a fresh handle on the file reads, bypassing the store.
bool readKey(const char* key, std::string& value)
{
    std::unique_ptr<SaveFileAccessMetaText> file(SaveFileAccessFactory::GetInstance()->CreateMetaText("OrvToken.ini", "r"));
    file->FOpen();
    return file->Get(key, &value) == 0;
}

void removeAll(const std::string& path) { if (rmdir(path.c_str()) != 0) unlink(path.c_str()); }

// Counts the accesses, and those that began while another was open.
struct CountingMetaText : SaveFileAccessMetaText
{
    CountingMetaText() : SaveFileAccessMetaText("OrvToken.ini", "a+") {}
    int FOpen() override
    {
        overlaps += open++ != 0 ? 1 : 0;
        ++opens;
        std::this_thread::yield();
        return SaveFileAccessMetaText::FOpen();
    }
    int FClose() override
    {
        --open;
        return SaveFileAccessMetaText::FClose();
    }
    std::atomic<int> open{0}, overlaps{0}, opens{0};
};

} // namespace

class SysDataOrvTokenTest : public ::testing::Test
{
protected:
    void SetUp() override { removeAll(tokenPath()); }
    void TearDown() override { installHandle(nullptr); }

    // Puts a handle into the token slot, deleting the one it replaces.
    static void installHandle(SaveFileAccessBase* handle)
    {
        VxSyncGuard guard(SysDataOrvToken::GetInstance()->sync);
        SaveFileAccessBase*& slot = SysDataProductFactory::GetInstance()->files[SysDataProductFactory::kOrvTokenSlot];
        if (slot != handle)
            delete slot;
        slot = handle;
    }

    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
};

namespace {

// Missing keys are created; values are written through at once and read
// back from the file, so another writer's value is what the store reads next.
TEST_F(SysDataOrvTokenTest, StoredValuesAreOnDiskAndAnotherWritersAreReadNext)
{
    std::string value = "unset";
    EXPECT_EQ(store->getTokenAccess(), "");
    EXPECT_TRUE(readKey("TokenAccess", value));
    EXPECT_EQ(value, "");
    EXPECT_FALSE(readKey("TokenExpiration", value));
    EXPECT_EQ(store->getTokenExpiration(), 0);
    EXPECT_TRUE(readKey("TokenExpiration", value));
    EXPECT_EQ(value, "0");

    const std::string token("tok=en\nwith\\bytes\0", 18);
    store->storeTokenAccess(token);
    store->storeTokenExpiration(-1);
    EXPECT_TRUE(readKey("TokenAccess", value));
    EXPECT_EQ(value, token);
    EXPECT_EQ(store->getTokenAccess(), token) << "each writer keeps the other key";
    EXPECT_EQ(store->getTokenExpiration(), -1);

    std::ofstream(tokenPath()) << "TokenAccess=theirs\nTokenExpiration=1234\n";
    EXPECT_EQ(store->getTokenAccess(), "theirs");
    EXPECT_EQ(store->getTokenExpiration(), 1234);
}

// What may sit at the token path, and whether a login's token is kept. It is
// kept through a link, in the link's target, with the link left in place (the
// persistent copy may live on another partition), and in place of a file too
// large or malformed to be a token file. It is not written where a read
// failed, so a passing fault never replaces a good token, nor into a
// directory or a link whose directory is missing (a partition not mounted
// yet). The kit's tests cover a FIFO and a device. The log never holds the token.
TEST_F(SysDataOrvTokenTest, ALoginsTokenIsKeptWhereverThatLosesNothing)
{
    const std::string path = tokenPath();
    const std::string target = path + ".persistent";
    const std::string unmounted = path + ".unmounted";
    const auto linkTo = [&path](const std::string& to) { return symlink(to.c_str(), path.c_str()); };
    const auto fileAt = [](const std::string& at, const std::string& content) {
        std::ofstream(at) << content;
        return 0;
    };
    const struct { const char* what; std::function<int()> make; const char* read; bool kept; } cases[] = {
        {"relative link to a token file", [&] { fileAt(target, "TokenAccess=linked\n"); return linkTo("OrvToken.ini.persistent"); }, "linked", true},
        {"dangling link", [&] { return linkTo(target); }, "", true},
        {"link into a missing directory", [&] { return linkTo(unmounted + "/OrvToken.ini"); }, "", false},
        {"file of 6000000 bytes", [&] { fileAt(path, "TokenAccess=big\n"); return truncate(path.c_str(), 6000000); }, "", true},
        {"file of no entries", [&] { return fileAt(path, std::string("\x7f" "ELF\0\1=\\q", 9)); }, "", true},
        {"directory", [&] { return mkdir(path.c_str(), 0700); }, "", false},
        {"link to a file failing with EIO", [&] { return linkTo("/proc/self/mem"); }, "", false},
        {"link to a file refusing to be read", [&] { return linkTo("/proc/sys/vm/drop_caches"); }, "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        removeAll(path);
        unlink(target.c_str());
        ASSERT_EQ(c.make(), 0);
        struct stat before, after;
        ASSERT_EQ(lstat(path.c_str(), &before), 0);
        LogCapture log;
        EXPECT_EQ(store->getTokenAccess(), c.read);
        store->storeTokenAccess("s3cret-token");
        ASSERT_EQ(lstat(path.c_str(), &after), 0);
        EXPECT_EQ(S_ISLNK(after.st_mode), S_ISLNK(before.st_mode)) << "a link stays a link";
        installHandle(nullptr); // as a kit started later
        EXPECT_EQ(store->getTokenAccess(), c.kept ? "s3cret-token" : c.read);
        if (c.kept && S_ISLNK(before.st_mode)) {
            std::ifstream in(target);
            EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "TokenAccess=s3cret-token\n");
        }
        if (!c.kept) {
            EXPECT_EQ(after.st_ino, before.st_ino) << "left as it was";
            EXPECT_EQ(after.st_size, before.st_size) << "left as it was";
        }
        EXPECT_EQ(log.linesWith({"could not be written"}).empty(), c.kept) << log.joined();
        EXPECT_EQ(log.linesWith({"s3cret"}).size(), 0u);
    }
    removeAll(path);
    unlink(target.c_str());
    struct stat info;
    EXPECT_NE(stat(unmounted.c_str(), &info), 0) << "no directory is made for a link";
}

TEST_F(SysDataOrvTokenTest, ConcurrentAccessNeverOverlaps)
{
    CountingMetaText* handle = new CountingMetaText();
    installHandle(handle);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([this] {
            for (int i = 0; i < 30; ++i) {
                store->storeTokenAccess(std::string(40, 'A'));
                store->getTokenAccess();
                store->storeTokenExpiration(i);
                store->getTokenExpiration();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(handle->overlaps.load(), 0);
    EXPECT_EQ(handle->opens.load(), 3 * 30 * 4) << "every access opens the handle in the slot";
    EXPECT_EQ(store->getTokenExpiration(), 29);
}

} // namespace
