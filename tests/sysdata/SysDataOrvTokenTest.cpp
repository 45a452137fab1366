#include "sysdata/SysDataOrvToken.h"
#include "sysdata/SysDataProductFactory.h"

#include <SaveFileAccess.h>
#include <VxHostSaveFile.h>

#include <QLoggingCategory>
#include <QString>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::string tokenPath()
{
    return VxHostSaveFile::path("OrvToken.ini");
}

// What a fresh handle on the file reads, bypassing the store.
bool readKey(const char* key, std::string& value)
{
    std::unique_ptr<SaveFileAccessMetaText> file(SaveFileAccessFactory::GetInstance()->CreateMetaText("OrvToken.ini", "r"));
    file->FOpen();
    return file->Get(key, &value) == 0;
}

// Counts how many callers have the handle open at once.
class CountingMetaText : public SaveFileAccessMetaText
{
public:
    CountingMetaText() : SaveFileAccessMetaText("OrvToken.ini", "a+") {}
    int FOpen() override
    {
        if (openCount.fetch_add(1) != 0)
            ++overlaps;
        ++opens;
        std::this_thread::yield();
        return SaveFileAccessMetaText::FOpen();
    }
    int FClose() override
    {
        const int result = SaveFileAccessMetaText::FClose();
        openCount.fetch_sub(1);
        return result;
    }
    static std::atomic<int> openCount;
    static std::atomic<int> overlaps;
    static std::atomic<int> opens;
};
std::atomic<int> CountingMetaText::openCount{0};
std::atomic<int> CountingMetaText::overlaps{0};
std::atomic<int> CountingMetaText::opens{0};

// What the "orvkit.token" category says while it lives.
class TokenLog
{
public:
    TokenLog()
    {
        QLoggingCategory::setFilterRules("orvkit.token.debug=true\norvkit.token.info=true");
        previous = qInstallMessageHandler(&TokenLog::handle);
    }
    ~TokenLog()
    {
        qInstallMessageHandler(previous);
        QLoggingCategory::setFilterRules(QString());
    }
    static std::vector<std::string> lines()
    {
        std::lock_guard<std::mutex> lock(mutex());
        return recorded();
    }

private:
    static void handle(QtMsgType, const QMessageLogContext& context, const QString& text)
    {
        if (context.category != nullptr && std::string(context.category) == "orvkit.token") {
            std::lock_guard<std::mutex> lock(mutex());
            recorded().push_back(text.toStdString());
        }
    }
    static std::mutex& mutex()
    {
        static std::mutex instance;
        return instance;
    }
    static std::vector<std::string>& recorded()
    {
        static std::vector<std::string> instance;
        return instance;
    }
    QtMessageHandler previous;
};

} // namespace

class SysDataOrvTokenTest : public ::testing::Test
{
protected:
    void SetUp() override { unlink(tokenPath().c_str()); }
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
    static SaveFileAccessBase* slotHandle()
    {
        return SysDataProductFactory::GetInstance()->files[SysDataProductFactory::kOrvTokenSlot];
    }
};

namespace {

TEST_F(SysDataOrvTokenTest, MissingFileYieldsEmptyTokenAndCreatesKey)
{
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    EXPECT_EQ(store, SysDataOrvToken::GetInstance());
    EXPECT_EQ(store->getTokenAccess(), "");
    std::string value = "unset";
    ASSERT_TRUE(readKey("TokenAccess", value));
    EXPECT_EQ(value, "");
    EXPECT_FALSE(readKey("TokenExpiration", value));
    EXPECT_EQ(store->getTokenExpiration(), 0);
    ASSERT_TRUE(readKey("TokenExpiration", value));
    EXPECT_EQ(value, "0");
}

TEST_F(SysDataOrvTokenTest, StoredValuesReturnUnchanged)
{
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    const std::string tokens[] = {
        "eyJhbGciOi.x-y_z", "with=equals==", "multi\nline\r\n", "back\\slash\\n", std::string("nul\0inside", 10), "\xe3\x81\x82",
    };
    for (const auto& token : tokens) {
        store->storeTokenAccess(token);
        EXPECT_EQ(store->getTokenAccess(), token);
    }
    const int expirations[] = {0, 1700000000, 0x7FFFFFFF, -1};
    for (int value : expirations) {
        store->storeTokenExpiration(value);
        EXPECT_EQ(store->getTokenExpiration(), value);
    }
    // Each writer keeps the other key.
    EXPECT_EQ(store->getTokenAccess(), tokens[5]);
}

TEST_F(SysDataOrvTokenTest, HandleIsCreatedOnceInTheTokenSlot)
{
    installHandle(nullptr);
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    store->storeTokenAccess("t");
    SaveFileAccessBase* handle = slotHandle();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(store->getTokenAccess(), "t");
    EXPECT_EQ(slotHandle(), handle);
    std::string value;
    ASSERT_TRUE(readKey("TokenAccess", value));
    EXPECT_EQ(value, "t");
}

// Failures are told to "orvkit.token", never with the token.
TEST_F(SysDataOrvTokenTest, UnusableFileIsLoggedWithoutValues)
{
    ASSERT_EQ(mkdir(tokenPath().c_str(), 0700), 0);
    {
        TokenLog log;
        SysDataOrvToken* store = SysDataOrvToken::GetInstance();
        store->storeTokenAccess("s3cret-token");
        EXPECT_EQ(store->getTokenAccess(), "");
        const std::vector<std::string> lines = TokenLog::lines();
        int unread = 0;
        int unwritten = 0;
        for (const std::string& line : lines) {
            EXPECT_EQ(line.find("s3cret"), std::string::npos) << line;
            unread += line.find("could not be read") != std::string::npos;
            unwritten += line.find("could not be written") != std::string::npos;
        }
        EXPECT_EQ(unread, 2);
        EXPECT_EQ(unwritten, 2);
    }
    rmdir(tokenPath().c_str());
}

TEST_F(SysDataOrvTokenTest, ConcurrentAccessNeverOverlaps)
{
    installHandle(new CountingMetaText());
    CountingMetaText::overlaps = 0;
    CountingMetaText::opens = 0;
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    const std::string first(40, 'A');
    const std::string second(40, 'B');
    store->storeTokenAccess(first);

    std::atomic<int> badReads{0};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int i = 0; i < 100; ++i)
            store->storeTokenAccess(i % 2 == 0 ? second : first);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 100; ++i) {
            const std::string token = store->getTokenAccess();
            if (token != first && token != second)
                ++badReads;
        }
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 100; ++i) {
            store->storeTokenExpiration(i);
            store->getTokenExpiration();
        }
    });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(CountingMetaText::overlaps.load(), 0);
    EXPECT_EQ(CountingMetaText::opens.load(), 1 + 100 + 100 + 200);
    EXPECT_EQ(badReads.load(), 0);
    EXPECT_EQ(store->getTokenExpiration(), 99);
}

// Another writer's value is what the store reads next: nothing is cached.
TEST_F(SysDataOrvTokenTest, ReadsWhatAnotherWriterStored)
{
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    store->storeTokenAccess("mine");
    {
        std::unique_ptr<SaveFileAccessMetaText> other(SaveFileAccessFactory::GetInstance()->CreateMetaText("OrvToken.ini", "a+"));
        other->FOpen();
        other->Set("TokenAccess", std::string("tok=en\nwith\\bytes"));
        other->Set("TokenExpiration", 1234);
        ASSERT_EQ(other->Flush(), 0);
    }
    EXPECT_EQ(store->getTokenAccess(), "tok=en\nwith\\bytes");
    EXPECT_EQ(store->getTokenExpiration(), 1234);
}

} // namespace
