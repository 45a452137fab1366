// Uses only the public header and the shared library, as an application does.
#include <OrvKit.h>

#include "InboxTesting.h"
#include "TestTime.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

using namespace OrvKitDef;

namespace {
const std::chrono::milliseconds kWait = scaled(std::chrono::seconds(5));
}

TEST(KitLifecycle, OpenCommandsCloseAndRemoveListener)
{
    unsigned char byte = 0;
    CmdData unknown{&byte, 1, kUnknownCommand}, nullData{nullptr, 1, kUnknownCommand}, empty{&byte, 0, kUnknownCommand}; // unknown: taken silently
    CountingInbox listener, stranger;
    {
        OrvKit kit;
        EXPECT_EQ(kit.close(), 1) << "close without a service only clears the flag";
        EXPECT_EQ(kit.setListener(&listener), 1);
        EXPECT_EQ(kit.sendCommand(unknown), 0) << "no service before open";
        EXPECT_EQ(kit.open(), 1);
        EXPECT_EQ(kit.open(), 0) << "second open while open";
        ASSERT_TRUE(listener.waitOpened(kWait));
        EXPECT_EQ(kit.sendCommand(unknown), 1) << "a service that told onOpenEnd takes commands";
        EXPECT_EQ(kit.sendCommand(nullData), 0);
        EXPECT_EQ(kit.sendCommand(empty), 0);
        EXPECT_EQ(kit.close(), 1);
        ASSERT_TRUE(listener.waitClosed(kWait));
        EXPECT_EQ(kit.open(), 1);
        ASSERT_TRUE(listener.waitOpened(kWait)) << "a new service after a close";
        EXPECT_EQ(kit.removeListener(&stranger), 1) << "any pointer removes the listener";
        kit.close();
    } // the worker has ended: no callback can follow
    EXPECT_EQ(listener.opens(), 2);
    EXPECT_EQ(listener.closes(), 1);
    EXPECT_EQ(stranger.closes(), 0);
    EXPECT_TRUE(takeQueued(listener).empty()) << "unknown codes are answered with silence";
}

TEST(KitLifecycle, CallbacksRunOnTheLibrarysThreads)
{
    // onOpenEnd and onCloseEnd come from the worker thread, around the event
    // thread's life; messages come from the event thread.
    struct ThreadListener : OrvKitInbox
    {
        void onOpenEnd() override { note(open), OrvKitInbox::onOpenEnd(); }
        void onCloseEnd() override { note(close), OrvKitInbox::onCloseEnd(); }
        void onMessage(CmdData& data) override { note(message), OrvKitInbox::onMessage(data); }
        void note(std::pair<std::thread::id, std::string>& where)
        {
            char name[16] = {};
            pthread_getname_np(pthread_self(), name, sizeof name);
            std::lock_guard<std::mutex> lock(mutex);
            where = std::make_pair(std::this_thread::get_id(), std::string(name));
        }
        std::mutex mutex;
        std::pair<std::thread::id, std::string> open, close, message;
    } listener;
    {
        OrvKit kit;
        kit.setListener(&listener);
        kit.open();
        ASSERT_TRUE(listener.waitOpened(kWait));
        unsigned char byte = 0;
        CmdData destinations{&byte, 1, CMD_GET_DESTINATIONS};
        ASSERT_EQ(kit.sendCommand(destinations), 1);
        ASSERT_FALSE(takeUntilId(listener, MSG_ACCEPTED | CMD_GET_DESTINATIONS, kWait).empty());
        kit.close();
        ASSERT_TRUE(listener.waitClosed(kWait));
    }
    EXPECT_EQ(listener.open.second, "OrvKitImpl");
    EXPECT_EQ(listener.open.first, listener.close.first);
    EXPECT_NE(listener.message.first, listener.open.first);
    EXPECT_NE(listener.message.first, std::this_thread::get_id());
}

TEST(KitLifecycle, DestroyingTheKitClosesWhatWasOpenedAndIsQuick)
{
    // Destruction right after open() races the worker's creation of the
    // service; the delays spread it across the worker's 100 ms poll.
    const int kNeverOpened = -1, kOnceOpen = -2;
    for (int delayMs : {kNeverOpened, 0, 97, 103, kOnceOpen}) {
        SCOPED_TRACE(delayMs);
        CountingInbox listener;
        auto destroyed = std::chrono::steady_clock::now();
        {
            OrvKit kit;
            kit.setListener(&listener);
            if (delayMs != kNeverOpened)
                kit.open();
            ASSERT_TRUE(delayMs != kOnceOpen || listener.waitOpened(kWait));
            std::this_thread::sleep_for(std::chrono::milliseconds(std::max(delayMs, 0)));
            destroyed = std::chrono::steady_clock::now();
        }
        // Short of the destructor's 1000 ms watchdog.
        EXPECT_LT(std::chrono::steady_clock::now() - destroyed, scaled(std::chrono::milliseconds(900)));
        EXPECT_EQ(listener.closes(), listener.opens());
        if (delayMs == kOnceOpen) {
            EXPECT_EQ(listener.closes(), 1);
        }
    }
}
