// Uses only the public header and the shared library, as an application does.
#include <OrvKit.h>

#include "../support/RecordingListener.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>

namespace {

unsigned char kSomeBytes[] = {0x00, 0x01};

OrvKitDef::CmdData unknownCommand()
{
    OrvKitDef::CmdData command;
    command.data = kSomeBytes;
    command.size = sizeof(kSomeBytes);
    command.uniqueID = 0x71;
    return command;
}

bool waitUntilAccepted(OrvKit& kit, int timeoutMs = 3000)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    OrvKitDef::CmdData command = unknownCommand();
    while (std::chrono::steady_clock::now() < deadline) {
        if (kit.sendCommand(command) == 1)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

} // namespace

TEST(KitLifecycle, OpenNotifiesAndCloseNotifies)
{
    RecordingListener listener;
    OrvKit kit;
    EXPECT_EQ(kit.setListener(&listener), 1);
    OrvKitDef::CmdData command = unknownCommand();
    EXPECT_EQ(kit.sendCommand(command), 0) << "no service before open";
    EXPECT_EQ(kit.open(), 1);
    EXPECT_EQ(kit.open(), 0) << "second open while open";
    ASSERT_TRUE(listener.waitForOpen());
    ASSERT_TRUE(waitUntilAccepted(kit));
    EXPECT_EQ(kit.close(), 1);
    ASSERT_TRUE(listener.waitForClose());
    EXPECT_EQ(listener.openCount(), 1);
    EXPECT_TRUE(listener.received().empty()) << "unknown codes are answered with silence";
}

// onOpenEnd and onCloseEnd come from the worker thread, around the event
// thread's life; messages come from the event thread.
TEST(KitLifecycle, CallbacksRunOnTheLibrarysThreads)
{
    class ThreadListener : public RecordingListener
    {
    public:
        void onOpenEnd() override { note(openThread, openName); RecordingListener::onOpenEnd(); }
        void onCloseEnd() override { note(closeThread, closeName); RecordingListener::onCloseEnd(); }
        void onMessage(OrvKitDef::CmdData& message) override
        {
            std::string ignored;
            note(messageThread, ignored);
            RecordingListener::onMessage(message);
        }
        std::thread::id openThread, closeThread, messageThread;
        std::string openName, closeName;

    private:
        void note(std::thread::id& id, std::string& name)
        {
            std::lock_guard<std::mutex> lock(mutex);
            id = std::this_thread::get_id();
            char text[32] = {};
            pthread_getname_np(pthread_self(), text, sizeof(text));
            name = text;
        }
        std::mutex mutex;
    };
    ThreadListener listener;
    {
        OrvKit kit;
        kit.setListener(&listener);
        kit.open();
        ASSERT_TRUE(listener.waitForOpen());
        unsigned char none = 0;
        OrvKitDef::CmdData destinations{&none, 1, OrvKitDef::CMD_GET_DESTINATIONS};
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
        while (kit.sendCommand(destinations) == 0 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_TRUE(listener.waitForId(OrvKitDef::MSG_ACCEPTED | OrvKitDef::CMD_GET_DESTINATIONS));
        kit.close();
        ASSERT_TRUE(listener.waitForClose());
    }
    EXPECT_EQ(listener.openName, "OrvKitImpl");
    EXPECT_EQ(listener.openThread, listener.closeThread);
    EXPECT_NE(listener.messageThread, listener.openThread);
    EXPECT_NE(listener.messageThread, std::this_thread::get_id());
}

TEST(KitLifecycle, RefusesNullAndEmptyCommands)
{
    RecordingListener listener;
    OrvKit kit;
    kit.setListener(&listener);
    kit.open();
    ASSERT_TRUE(listener.waitForOpen());
    ASSERT_TRUE(waitUntilAccepted(kit));
    OrvKitDef::CmdData nullData{nullptr, 4, 0x11};
    OrvKitDef::CmdData empty{kSomeBytes, 0, 0x11};
    EXPECT_EQ(kit.sendCommand(nullData), 0);
    EXPECT_EQ(kit.sendCommand(empty), 0);
}

TEST(KitLifecycle, ReopenCreatesAFreshService)
{
    RecordingListener listener;
    OrvKit kit;
    kit.open();
    // setListener after open still reaches the running service.
    kit.setListener(&listener);
    ASSERT_TRUE(waitUntilAccepted(kit));
    kit.close();
    ASSERT_TRUE(listener.waitForClose(1));
    // The first open may or may not have been heard, depending on when the listener arrived.
    const int opensBefore = listener.openCount();
    ASSERT_EQ(kit.open(), 1);
    ASSERT_TRUE(listener.waitForOpen(opensBefore + 1));
    ASSERT_TRUE(waitUntilAccepted(kit));
    kit.close();
    ASSERT_TRUE(listener.waitForClose(2));
}

TEST(KitLifecycle, CloseWithoutServiceOnlyClearsTheFlag)
{
    OrvKit kit;
    EXPECT_EQ(kit.close(), 1);
    EXPECT_EQ(kit.open(), 1) << "close cleared the flag, so open succeeds";
}

TEST(KitLifecycle, RemoveListenerWithAnyPointerSilences)
{
    RecordingListener listener;
    RecordingListener stranger;
    OrvKit kit;
    kit.setListener(&listener);
    kit.open();
    ASSERT_TRUE(listener.waitForOpen());
    ASSERT_TRUE(waitUntilAccepted(kit));
    EXPECT_EQ(kit.removeListener(&stranger), 1);
    kit.close();
    // The close still happens; nobody hears it.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(listener.closeCount(), 0);
    EXPECT_EQ(stranger.closeCount(), 0);
}

TEST(KitLifecycle, DestroyingANeverOpenedKitIsQuick)
{
    const auto start = std::chrono::steady_clock::now();
    {
        OrvKit kit;
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 400);
}

TEST(KitLifecycle, DestroyingAnOpenKitClosesIt)
{
    RecordingListener listener;
    {
        OrvKit kit;
        kit.setListener(&listener);
        kit.open();
        ASSERT_TRUE(listener.waitForOpen());
    }
    EXPECT_EQ(listener.closeCount(), 1);
}

TEST(KitLifecycle, DestroyRightAfterOpenNeverHangs)
{
    // open() followed at once by destruction races the worker's creation of
    // the service; the destructor must still return.
    for (int i = 0; i < 5; ++i) {
        RecordingListener listener;
        OrvKit kit;
        kit.setListener(&listener);
        kit.open();
        std::this_thread::sleep_for(std::chrono::milliseconds(95 + i * 3));
    }
    SUCCEED();
}

TEST(KitLifecycle, PreferencesCarryConfiguredDefaults)
{
    OrvKitPreferences defaults;
    EXPECT_FALSE(defaults.apiServerOrigin.empty());
    EXPECT_EQ(defaults.apiServerOrigin.find('/', 8), std::string::npos) << "an origin has no path";
    EXPECT_NE(defaults.deviceShadowOrigin.find(":8443"), std::string::npos);
    EXPECT_FALSE(defaults.verifyServerCertificates);
    OrvKitPreferences custom;
    custom.apiServerOrigin = "https://127.0.0.1:1";
    OrvKit kit(custom);
    SUCCEED();
}
