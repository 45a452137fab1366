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

// Sends an unknown command (answered with silence) until the kit takes it.
bool waitUntilAccepted(OrvKit& kit)
{
    OrvKitDef::CmdData command{kSomeBytes, sizeof(kSomeBytes), 0x71};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (kit.sendCommand(command) != 1) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace

TEST(KitLifecycle, OpenCommandsAndClose)
{
    RecordingListener listener;
    OrvKit kit;
    EXPECT_EQ(kit.close(), 1) << "close without a service only clears the flag";
    EXPECT_EQ(kit.setListener(&listener), 1);
    OrvKitDef::CmdData command{kSomeBytes, sizeof(kSomeBytes), 0x71};
    EXPECT_EQ(kit.sendCommand(command), 0) << "no service before open";
    EXPECT_EQ(kit.open(), 1);
    EXPECT_EQ(kit.open(), 0) << "second open while open";
    ASSERT_TRUE(listener.waitForOpen());
    ASSERT_TRUE(waitUntilAccepted(kit));
    OrvKitDef::CmdData nullData{nullptr, 4, 0x11};
    OrvKitDef::CmdData empty{kSomeBytes, 0, 0x11};
    EXPECT_EQ(kit.sendCommand(nullData), 0);
    EXPECT_EQ(kit.sendCommand(empty), 0);
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
        void onOpenEnd() override { note(openThread, &openName); RecordingListener::onOpenEnd(); }
        void onCloseEnd() override { note(closeThread, nullptr); RecordingListener::onCloseEnd(); }
        void onMessage(OrvKitDef::CmdData& message) override
        {
            note(messageThread, nullptr);
            RecordingListener::onMessage(message);
        }
        std::thread::id openThread, closeThread, messageThread;
        std::string openName;

    private:
        void note(std::thread::id& id, std::string* name)
        {
            std::lock_guard<std::mutex> lock(mutex);
            id = std::this_thread::get_id();
            char text[32] = {};
            pthread_getname_np(pthread_self(), text, sizeof(text));
            if (name != nullptr)
                *name = text;
        }
        std::mutex mutex;
    };
    ThreadListener listener;
    {
        OrvKit kit;
        kit.setListener(&listener);
        kit.open();
        ASSERT_TRUE(listener.waitForOpen());
        ASSERT_TRUE(waitUntilAccepted(kit));
        unsigned char none = 0;
        OrvKitDef::CmdData destinations{&none, 1, OrvKitDef::CMD_GET_DESTINATIONS};
        ASSERT_EQ(kit.sendCommand(destinations), 1);
        ASSERT_TRUE(listener.waitForId(OrvKitDef::MSG_ACCEPTED | OrvKitDef::CMD_GET_DESTINATIONS));
        kit.close();
        ASSERT_TRUE(listener.waitForClose());
    }
    EXPECT_EQ(listener.openName, "OrvKitImpl");
    EXPECT_EQ(listener.openThread, listener.closeThread);
    EXPECT_NE(listener.messageThread, listener.openThread);
    EXPECT_NE(listener.messageThread, std::this_thread::get_id());
}

TEST(KitLifecycle, RemoveListenerWithAnyPointerSilences)
{
    RecordingListener listener;
    RecordingListener stranger;
    {
        OrvKit kit;
        kit.setListener(&listener);
        kit.open();
        ASSERT_TRUE(listener.waitForOpen());
        ASSERT_TRUE(waitUntilAccepted(kit));
        EXPECT_EQ(kit.removeListener(&stranger), 1);
        kit.close();
    } // the worker has ended: no callback can follow
    EXPECT_EQ(listener.closeCount(), 0);
    EXPECT_EQ(stranger.closeCount(), 0);
}

TEST(KitLifecycle, DestroyingTheKitClosesWhatWasOpenedAndIsQuick)
{
    // Destruction right after open() races the worker's creation of the
    // service; the delays spread it across the worker's 100 ms poll.
    const int kNeverOpened = -1;
    const int kOnceOpen = -2;
    for (int delayMs : {kNeverOpened, 0, 97, 103, kOnceOpen}) {
        SCOPED_TRACE(delayMs);
        RecordingListener listener;
        auto destroyed = std::chrono::steady_clock::now();
        {
            OrvKit kit;
            kit.setListener(&listener);
            if (delayMs != kNeverOpened)
                kit.open();
            if (delayMs == kOnceOpen) {
                ASSERT_TRUE(listener.waitForOpen());
            } else if (delayMs > 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            }
            destroyed = std::chrono::steady_clock::now();
        }
        const auto elapsed = std::chrono::steady_clock::now() - destroyed;
        // Short of the destructor's 1000 ms watchdog.
        EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 900);
        EXPECT_EQ(listener.closeCount(), listener.openCount());
        if (delayMs == kOnceOpen) {
            EXPECT_EQ(listener.closeCount(), 1);
        }
    }
}
