// Races between the application's threads, the worker thread and the event
// thread, through the public API only, with requests really in flight at an
// in-process HTTPS server. Built under ThreadSanitizer by the tsan preset.
//
// The application's side of the threading contract is kept throughout:
// close() and sendCommand() never run at once on different threads, and a
// listener outlives every callback that may reach it.
#include <OrvKit.h>

#include "RecordingListener.h"
#include "TestHttpsServer.h"
#include "TestPki.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <shared_mutex>
#include <thread>
#include <vector>

using namespace OrvKitDef;

namespace {

unsigned char kNoParameters[] = {0x00};

const unsigned long kGetCommands[] = {CMD_GET_INFO_SUMMARY, CMD_GET_DESTINATIONS, CMD_GET_PLANS_SUMMARY,
                                      CMD_GET_GENRES};

bool sendPlain(OrvKit& kit, unsigned long code)
{
    CmdData command{kNoParameters, sizeof(kNoParameters), code};
    return kit.sendCommand(command) == 1;
}

template <class Condition>
bool waitFor(Condition done, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Application threads that run until stopped; joined even when an
// assertion leaves the test early.
struct ApplicationThreads
{
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;

    ~ApplicationThreads() { stop(); }
    void stop()
    {
        done = true;
        for (std::thread& thread : threads)
            if (thread.joinable())
                thread.join();
    }
};

class KitConcurrencyTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { pki.reset(new TestPki()); }
    static void TearDownTestSuite() { pki.reset(); }

    void SetUp() override
    {
        ASSERT_TRUE(pki->isValid());
        server.reset(new TestHttpsServer(TestHttpsServer::tls(*pki)));
        // Answers late enough that closing and destroying meet requests in flight.
        server->route("*", "/", TestHttpsServer::Reply::delayed(40, TestHttpsServer::Reply::ok("{}")),
                      TestHttpsServer::Match::Prefix);
        ASSERT_TRUE(server->start());
        const std::string origin = server->origin();
        preferences.authServerOrigin = preferences.authServerTestOrigin = origin;
        preferences.apiServerOrigin = preferences.apiServerTestOrigin = origin;
        preferences.certificateOrigin = preferences.certificateTestOrigin = origin;
        preferences.deviceShadowOrigin = preferences.deviceShadowTestOrigin = origin;
    }

    // Sends one command until the worker has published the service.
    static bool sendOnceOpen(OrvKit& kit, unsigned long code) { return waitFor([&] { return sendPlain(kit, code); }, 5000); }

    static std::unique_ptr<TestPki> pki;
    std::unique_ptr<TestHttpsServer> server;
    OrvKitPreferences preferences;
};

std::unique_ptr<TestPki> KitConcurrencyTest::pki;

TEST_F(KitConcurrencyTest, SendersOnSeveralThreadsAcrossOpenCloseCycles)
{
    const int kCycles = 4;
    const int kSenders = 3;
    // Two requests per cycle that nothing cancels and that the server holds
    // past the close; the senders churn the other two GET kinds, each command
    // cancelling the previous request of its kind. The delay is short enough
    // that the server's eight threads are never all held.
    const TestHttpsServer::Reply slow = TestHttpsServer::Reply::delayed(600, TestHttpsServer::Reply::ok("{}"));
    server->route("GET", "/api/navi/info/v1/summary", slow);
    server->route("GET", "/api/navi/bookmarks/v1/destinations", slow);
    const unsigned long churned[] = {CMD_GET_GENRES, CMD_GET_PLANS_SUMMARY};

    RecordingListener listener;
    OrvKit kit(preferences);
    kit.setListener(&listener);

    // The application keeps close() apart from sendCommand() and sends only
    // between onOpenEnd() and close().
    std::shared_mutex gate;
    bool accepting = false;
    std::atomic<int> sent(0);
    ApplicationThreads senders;
    for (int s = 0; s < kSenders; ++s) {
        senders.threads.emplace_back([&, s] {
            for (unsigned int i = 0; !senders.done; ++i) {
                {
                    std::shared_lock<std::shared_mutex> lock(gate);
                    if (accepting && sendPlain(kit, churned[(i + static_cast<unsigned int>(s)) % 2]))
                        ++sent;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    }
    for (int cycle = 1; cycle <= kCycles; ++cycle) {
        ASSERT_EQ(kit.open(), 1) << "cycle " << cycle;
        ASSERT_TRUE(listener.waitForOpen(cycle)) << "cycle " << cycle;
        const size_t before = server->requestCount();
        ASSERT_TRUE(sendOnceOpen(kit, CMD_GET_INFO_SUMMARY));
        ASSERT_TRUE(sendPlain(kit, CMD_GET_DESTINATIONS));
        ASSERT_TRUE(server->waitForRequests(before + 2, 10000)) << "cycle " << cycle;
        const int sentBefore = sent;
        {
            std::unique_lock<std::shared_mutex> lock(gate);
            accepting = true;
        }
        ASSERT_TRUE(waitFor([&] { return sent >= sentBefore + 2 * kSenders; }, 5000)) << "cycle " << cycle;
        {
            std::unique_lock<std::shared_mutex> lock(gate);
            accepting = false;
            EXPECT_EQ(kit.close(), 1);
        }
        ASSERT_TRUE(listener.waitForClose(cycle)) << "cycle " << cycle;
    }
    senders.stop();

    EXPECT_EQ(listener.openCount(), kCycles);
    EXPECT_EQ(listener.closeCount(), kCycles);
    // A command taken before close() is queued ahead of the close request,
    // so each is accepted exactly once.
    int accepted = 0;
    for (const RecordingListener::Message& message : listener.received())
        for (unsigned long code : kGetCommands)
            accepted += message.id == (MSG_ACCEPTED | code) ? 1 : 0;
    EXPECT_EQ(accepted, sent.load() + 2 * kCycles);
}

TEST_F(KitConcurrencyTest, CommandsRightAfterCloseMeetTheServiceBeingDeleted)
{
    // One application thread: close(), then commands straight away while the
    // worker ends the loop and deletes the service. Each either reaches the
    // closing service or is refused; none reaches a deleted one.
    RecordingListener listener;
    OrvKit kit(preferences);
    kit.setListener(&listener);
    for (int cycle = 1; cycle <= 4; ++cycle) {
        ASSERT_EQ(kit.open(), 1);
        ASSERT_TRUE(listener.waitForOpen(cycle));
        ASSERT_TRUE(sendOnceOpen(kit, CMD_GET_DESTINATIONS));
        for (unsigned long code : kGetCommands)
            EXPECT_TRUE(sendPlain(kit, code));
        kit.close();
        EXPECT_TRUE(waitFor([&] { return !sendPlain(kit, CMD_GET_INFO_SUMMARY); }, 5000))
            << "commands are refused once the service is gone";
        ASSERT_TRUE(listener.waitForClose(cycle));
    }
}

TEST_F(KitConcurrencyTest, DestroyingTheKitWithRequestsInFlight)
{
    // Replies that would take seconds: only the kit's teardown ends them.
    server->route("*", "/", TestHttpsServer::Reply::delayed(3000, TestHttpsServer::Reply::ok("{}")),
                  TestHttpsServer::Match::Prefix);
    struct Case {
        const char* name;
        bool closeFirst;
        bool waitForServer;
    };
    const Case cases[] = {
        {"destroy while requests wait at the server", false, true},
        {"close, then destroy at once", true, true},
        {"destroy while commands are still queued", false, false},
    };
    for (const Case& c : cases) {
        RecordingListener listener;
        const size_t before = server->requestCount();
        std::unique_ptr<OrvKit> kit(new OrvKit(preferences));
        kit->setListener(&listener);
        kit->open();
        ASSERT_TRUE(listener.waitForOpen()) << c.name;
        ASSERT_TRUE(sendOnceOpen(*kit, CMD_GET_INFO_SUMMARY)) << c.name;
        // Two application threads, each command a GET context of its own: four requests stay alive.
        std::thread first([&kit] { sendPlain(*kit, kGetCommands[0]), sendPlain(*kit, kGetCommands[1]); });
        std::thread second([&kit] { sendPlain(*kit, kGetCommands[2]), sendPlain(*kit, kGetCommands[3]); });
        first.join();
        second.join();
        if (c.waitForServer) {
            ASSERT_TRUE(server->waitForRequests(before + 4, 10000)) << c.name;
        }
        if (c.closeFirst)
            kit->close();
        const auto start = std::chrono::steady_clock::now();
        kit.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2))
            << c.name << ": teardown does not wait for the answers";
        EXPECT_EQ(listener.closeCount(), 1) << c.name;
        for (const RecordingListener::Message& message : listener.received()) {
            EXPECT_NE(message.id, MSG_INFO_SUMMARY_RESULT) << c.name;
            EXPECT_NE(message.id, MSG_DESTINATIONS_RESULT) << c.name;
        }
    }
}

TEST_F(KitConcurrencyTest, ListenerChangesDuringTraffic)
{
    // Both listeners outlive the kit. Swapping one for another while a
    // callback may run is allowed; removing one then is not, so it is left out.
    RecordingListener first;
    RecordingListener second;
    OrvKit kit(preferences);
    kit.setListener(&first);
    kit.open();
    ASSERT_TRUE(first.waitForOpen());
    ASSERT_TRUE(sendOnceOpen(kit, CMD_GET_GENRES));

    ApplicationThreads sender;
    sender.threads.emplace_back([&] {
        for (unsigned int i = 0; !sender.done; ++i) {
            sendPlain(kit, i % 2 == 0 ? CMD_GET_GENRES : CMD_GET_DESTINATIONS);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    for (int i = 0; i < 200; ++i) {
        kit.setListener(i % 2 == 0 ? &second : &first);
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    // From here on only the second listener may hear about new commands.
    kit.setListener(&second);
    sender.stop();

    second.clear();
    ASSERT_TRUE(sendPlain(kit, CMD_GET_INFO_SUMMARY));
    ASSERT_TRUE(second.waitForId(MSG_ACCEPTED | CMD_GET_INFO_SUMMARY));
    ASSERT_TRUE(second.waitForId(MSG_INFO_SUMMARY_RESULT));
    for (const RecordingListener::Message& message : first.received()) {
        EXPECT_NE(message.id, MSG_ACCEPTED | CMD_GET_INFO_SUMMARY);
        EXPECT_NE(message.id, MSG_INFO_SUMMARY_RESULT);
    }

    kit.close();
    ASSERT_TRUE(second.waitForClose());
    EXPECT_EQ(first.closeCount(), 0);
}

TEST_F(KitConcurrencyTest, ListenerSetWhileTheWorkerCreatesTheService)
{
    // setListener() right after open() meets the worker as it creates and
    // publishes the service; the service must end up with the new listener.
    OrvKit kit(preferences);
    std::vector<std::unique_ptr<RecordingListener>> listeners;
    for (int cycle = 0; cycle < 6; ++cycle) {
        listeners.emplace_back(new RecordingListener());
        RecordingListener& listener = *listeners.back();
        ASSERT_EQ(kit.open(), 1);
        // Spread the call across the worker's 100 ms poll.
        std::this_thread::sleep_for(std::chrono::milliseconds(cycle * 19));
        kit.setListener(&listener);
        ASSERT_TRUE(sendOnceOpen(kit, CMD_GET_GENRES)) << "cycle " << cycle;
        ASSERT_TRUE(listener.waitForId(MSG_ACCEPTED | CMD_GET_GENRES)) << "cycle " << cycle;
        kit.close();
        ASSERT_TRUE(listener.waitForClose()) << "cycle " << cycle;
    }
    for (size_t i = 0; i + 1 < listeners.size(); ++i)
        EXPECT_EQ(listeners[i]->closeCount(), 1) << "an earlier listener hears nothing of later services";
}

} // namespace
