// Races between application threads, the worker and the event thread through
// the public API, with requests in flight (the tsan preset runs these). The
// application keeps its side: close() and sendCommand() never run at once on
// different threads, and a listener outlives its callbacks.
#include <OrvKit.h>

#include "InboxTesting.h"
#include "TestHttpsServer.h"
#include "TestPki.h"
#include "TestTime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <shared_mutex>
#include <thread>
#include <vector>

using namespace OrvKitDef;
using Reply = TestHttpsServer::Reply;

namespace {

const std::chrono::milliseconds kWait = scaled(std::chrono::seconds(5));
const unsigned long kGets[] = {CMD_GET_INFO_SUMMARY, CMD_GET_DESTINATIONS, CMD_GET_PLANS_SUMMARY, CMD_GET_GENRES};

bool send(OrvKit& kit, unsigned long code)
{
    unsigned char none = 0;
    CmdData command{&none, 1, code};
    return kit.sendCommand(command) == 1;
}

template <class Condition>
bool waitFor(Condition done) // for at most 5 s
{
    for (int i = 0; i < 2500 && !done(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return done();
}

// Application threads, joined even when an assertion leaves the test early.
struct Threads : std::vector<std::thread>
{
    std::atomic<bool> done{false};
    ~Threads() { stop(); }
    void stop() { done = true; for (std::thread& thread : *this) if (thread.joinable()) thread.join(); }
};

class KitConcurrencyTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        static TestPki pki;
        ASSERT_TRUE(pki.isValid());
        server.reset(new TestHttpsServer(TestHttpsServer::tls(pki)));
        // Answers late enough that closing and destroying meet requests in flight.
        server->route("*", "/", Reply::delayed(40, Reply::ok("{}")), TestHttpsServer::Match::Prefix);
        ASSERT_TRUE(server->start());
        preferences.authServerOrigin = preferences.apiServerOrigin = preferences.certificateOrigin = server->origin();
        preferences.deviceShadowOrigin = preferences.authServerTestOrigin = preferences.apiServerTestOrigin = server->origin();
        preferences.certificateTestOrigin = preferences.deviceShadowTestOrigin = server->origin();
    }

    std::unique_ptr<TestHttpsServer> server;
    OrvKitPreferences preferences;
};

TEST_F(KitConcurrencyTest, SendersOnSeveralThreadsAcrossOpenCloseCycles)
{
    // Per cycle two requests that nothing cancels and that the server holds past
    // the close; three senders churn the other two kinds, each command cancelling
    // the previous request of its kind, and never send while close() runs.
    const Reply slow = Reply::delayed(600, Reply::ok("{}"));
    server->route("GET", "/api/navi/info/v1/summary", slow);
    server->route("GET", "/api/navi/bookmarks/v1/destinations", slow);
    CountingInbox listener;
    OrvKit kit(preferences);
    kit.setListener(&listener);
    std::shared_mutex gate;
    std::atomic<bool> open(false);
    std::atomic<int> sent(0);
    Threads senders;
    for (unsigned int s = 0; s < 3; ++s)
        senders.emplace_back([&, s] {
            for (unsigned int i = s; !senders.done; ++i) {
                {
                    std::shared_lock<std::shared_mutex> lock(gate);
                    sent += open && send(kit, kGets[2 + i % 2]) ? 1 : 0;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    const int kCycles = 4;
    for (int cycle = 1; cycle <= kCycles; ++cycle) {
        SCOPED_TRACE(cycle);
        ASSERT_EQ(kit.open(), 1);
        ASSERT_TRUE(listener.waitOpened(kWait));
        const size_t before = server->requestCount();
        ASSERT_TRUE(send(kit, CMD_GET_INFO_SUMMARY) && send(kit, CMD_GET_DESTINATIONS));
        ASSERT_TRUE(server->waitForRequests(before + 2, 10000));
        const int sentBefore = sent;
        open = true;
        ASSERT_TRUE(waitFor([&] { return sent >= sentBefore + 6; }));
        {
            std::unique_lock<std::shared_mutex> lock(gate);
            open = false;
            EXPECT_EQ(kit.close(), 1);
            // Right after close() a command reaches the closing service or is
            // refused, never a deleted one; unknown codes are taken silently.
            EXPECT_TRUE(waitFor([&] { return !send(kit, kUnknownCommand); })) << "refused once the service is gone";
        }
        ASSERT_TRUE(listener.waitClosed(kWait));
    }
    senders.stop();
    EXPECT_EQ(listener.opens(), kCycles);
    // A command taken before close() is queued ahead of the close request,
    // so each is accepted exactly once.
    int accepted = 0;
    for (const OrvKitInbox::Message& message : takeQueued(listener))
        for (unsigned long code : kGets)
            accepted += message.id == (MSG_ACCEPTED | code) ? 1 : 0;
    EXPECT_EQ(accepted, sent + 2 * kCycles);
}

TEST_F(KitConcurrencyTest, DestroyingTheKitWithRequestsInFlight)
{
    // Replies held until the server stops: only the kit's teardown ends them.
    server->route("*", "/", Reply::held("never", Reply::ok("{}")), TestHttpsServer::Match::Prefix);
    struct Case { const char* name; bool closeFirst, waitForServer; };
    for (const Case& c : {Case{"requests wait at the server", false, true}, Case{"close, then destroy at once", true, true},
                          Case{"commands still queued", false, false}}) {
        SCOPED_TRACE(c.name);
        CountingInbox listener;
        const size_t before = server->requestCount();
        std::unique_ptr<OrvKit> kit(new OrvKit(preferences));
        kit->setListener(&listener);
        kit->open();
        ASSERT_TRUE(listener.waitOpened(kWait));
        // Two application threads, each command a GET of its own kind: four requests stay alive.
        std::thread first([&kit] { send(*kit, kGets[0]), send(*kit, kGets[1]); }),
            second([&kit] { send(*kit, kGets[2]), send(*kit, kGets[3]); });
        first.join(), second.join();
        ASSERT_TRUE(!c.waitForServer || server->waitForRequests(before + 4, 10000));
        if (c.closeFirst)
            kit->close();
        const auto start = std::chrono::steady_clock::now();
        kit.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - start, scaled(std::chrono::seconds(2))) << "teardown waits for no answer";
        EXPECT_EQ(listener.closes(), 1);
        for (const OrvKitInbox::Message& message : takeQueued(listener)) {
            EXPECT_NE(message.id, MSG_INFO_SUMMARY_RESULT);
            EXPECT_NE(message.id, MSG_DESTINATIONS_RESULT);
        }
    }
}

TEST_F(KitConcurrencyTest, ListenerChangesRaceTheWorkerAndTheCallbacks)
{
    // setListener() right after open() meets the worker as it creates and
    // publishes the service, which must end up with the new listener; then
    // listeners are swapped while callbacks run, which is allowed (removing
    // one then is not). All outlive the kit.
    CountingInbox other;
    std::vector<std::unique_ptr<CountingInbox>> listeners;
    OrvKit kit(preferences);
    for (int cycle = 0; cycle < 5; ++cycle) {
        SCOPED_TRACE(cycle);
        listeners.emplace_back(new CountingInbox());
        CountingInbox& listener = *listeners.back();
        ASSERT_EQ(kit.open(), 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(cycle * 23)); // across the worker's 100 ms poll
        kit.setListener(&listener);
        ASSERT_TRUE(waitFor([&] { return send(kit, CMD_GET_GENRES); }));
        ASSERT_FALSE(takeUntilId(listener, MSG_ACCEPTED | CMD_GET_GENRES, kWait).empty());
        Threads sender;
        sender.emplace_back([&] {
            for (unsigned int i = 0; !sender.done; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(2)))
                send(kit, kGets[1 + 2 * (i % 2)]);
        });
        for (int i = 0; i < 60; ++i, std::this_thread::sleep_for(std::chrono::microseconds(300)))
            kit.setListener(i % 2 == 0 ? &other : &listener);
        kit.setListener(&listener);
        sender.stop();
        // From here on only this cycle's listener hears of new commands.
        other.clear();
        ASSERT_TRUE(send(kit, CMD_GET_INFO_SUMMARY));
        ASSERT_FALSE(takeUntilId(listener, MSG_INFO_SUMMARY_RESULT, kWait).empty());
        for (const OrvKitInbox::Message& message : takeQueued(other)) {
            EXPECT_NE(message.id, MSG_ACCEPTED | CMD_GET_INFO_SUMMARY);
            EXPECT_NE(message.id, MSG_INFO_SUMMARY_RESULT);
        }
        kit.close();
        ASSERT_TRUE(listener.waitForCloses(1, kWait));
    }
    EXPECT_EQ(other.closes(), 0);
    for (const std::unique_ptr<CountingInbox>& listener : listeners)
        EXPECT_EQ(listener->closes(), 1) << "a listener hears nothing of later services";
}

} // namespace
