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
    EXPECT_TRUE(readKey("TokenAccess", value) && value.empty());
    EXPECT_FALSE(readKey("TokenExpiration", value));
    EXPECT_EQ(store->getTokenExpiration(), 0);
    EXPECT_TRUE(readKey("TokenExpiration", value) && value == "0");

    const std::string token("tok=en\nwith\\bytes\0", 18);
    store->storeTokenAccess(token);
    store->storeTokenExpiration(-1);
    EXPECT_TRUE(readKey("TokenAccess", value) && value == token);
    EXPECT_EQ(store->getTokenAccess(), token) << "each writer keeps the other key";
    EXPECT_EQ(store->getTokenExpiration(), -1);

    std::ofstream(tokenPath()) << "TokenAccess=theirs\nTokenExpiration=1234\n";
    EXPECT_EQ(store->getTokenAccess(), "theirs");
    EXPECT_EQ(store->getTokenExpiration(), 1234);
}

// Not a token file at the path (the kit's tests cover a FIFO, a device and a
// dangling link): it reads as no token and is replaced only where that loses
// nothing, never through a link; the log never holds the token.
TEST_F(SysDataOrvTokenTest, SomethingOtherThanATokenFileAtThePath)
{
    const std::string path = tokenPath();
    const std::string linked = path + ".target";
    const struct { const char* what; std::function<int()> make; bool replaced; } cases[] = {
        {"directory", [&] { return mkdir(path.c_str(), 0700); }, false},
        {"link to a file", [&] { std::ofstream{linked} << "TokenAccess=linked\n"; return symlink(linked.c_str(), path.c_str()); }, true},
        {"oversized file", [&] { std::ofstream{path}; return truncate(path.c_str(), 5 << 20); }, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        removeAll(path);
        ASSERT_EQ(c.make(), 0);
        struct stat before, after;
        ASSERT_EQ(lstat(path.c_str(), &before), 0);
        LogCapture log;
        EXPECT_EQ(store->getTokenAccess(), "");
        store->storeTokenAccess("s3cret-token");
        ASSERT_EQ(lstat(path.c_str(), &after), 0);
        std::string value;
        EXPECT_EQ(S_ISREG(after.st_mode) && readKey("TokenAccess", value) && value == "s3cret-token", c.replaced);
        EXPECT_EQ(after.st_ino == before.st_ino && after.st_size == before.st_size, !c.replaced) << "left as it was";
        EXPECT_EQ(log.linesWith({"OrvToken.ini could not be read"}).size(), c.replaced ? 1u : 2u) << log.joined();
        EXPECT_EQ(log.linesWith({"could not be written"}).size(), c.replaced ? 0u : 2u) << log.joined();
        EXPECT_EQ(log.linesWith({"s3cret"}).size(), 0u);
    }
    removeAll(path);
    std::ifstream in(linked);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "TokenAccess=linked\n") << "written through the link";
    unlink(linked.c_str());
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
