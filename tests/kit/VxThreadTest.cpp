#include "kit/VxThread.h"

#include <VxHostDbgOutput.h>
#include <VxHostThreadMng.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

class DbgCapture
{
public:
    DbgCapture()
    {
        VxHostDbgOutput::setQuiet(true);
        VxHostDbgOutput::setSink([this](const std::string& text) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(text);
        });
    }
    ~DbgCapture()
    {
        VxHostDbgOutput::setSink(VxHostDbgOutput::Sink());
        VxHostDbgOutput::setQuiet(false);
    }
    int count(const std::string& needle)
    {
        std::lock_guard<std::mutex> lock(mutex);
        int n = 0;
        for (const std::string& line : lines)
            if (line.find(needle) != std::string::npos) ++n;
        return n;
    }

private:
    std::mutex mutex;
    std::vector<std::string> lines;
};

struct Owner
{
    enum class Behaviour { Return, Sleep, ThrowStd, ThrowOther, FailInit };

    explicit Owner(Behaviour b, int sleepMs = 0) : behaviour(b), sleepMs(sleepMs) {}

    unsigned int Initialize() { initialized = true; return behaviour == Behaviour::FailInit ? 1 : 0; }
    unsigned int MainProc()
    {
        mainRan = true;
        tid = static_cast<unsigned int>(syscall(SYS_gettid));
        switch (behaviour) {
        case Behaviour::Sleep: std::this_thread::sleep_for(std::chrono::milliseconds(sleepMs)); break;
        case Behaviour::ThrowStd: throw std::runtime_error("boom");
        case Behaviour::ThrowOther: throw 42;
        default: break;
        }
        return 7;
    }
    void Finalize() { finalized = true; }

    Behaviour behaviour;
    int sleepMs;
    std::atomic<bool> initialized{false};
    std::atomic<bool> mainRan{false};
    std::atomic<bool> finalized{false};
    std::atomic<unsigned int> tid{0};
};

} // namespace

// Reaches the thread object's state, which only the template itself reads.
class VxThreadTest : public ::testing::Test
{
protected:
    static unsigned long threadId(const VxThread<Owner>& thread) { return thread.loadThreadId(); }
    static const char* threadName(const VxThread<Owner>& thread) { return thread.name; }
};

TEST_F(VxThreadTest, WaitExitWithoutThreadReturnsAtOnce)
{
    Owner owner(Owner::Behaviour::Return);
    VxThread<Owner> thread(&owner);
    EXPECT_EQ(threadId(thread), VxThread<Owner>::kNoThread);
    EXPECT_EQ(thread.WaitExit(1000), 1);
}

TEST_F(VxThreadTest, RunsHooksInOrderAndUnregistersOnJoin)
{
    Owner owner(Owner::Behaviour::Return);
    VxThread<Owner> thread(&owner);
    thread.Start("short");
    const unsigned long id = threadId(thread);
    ASSERT_NE(id, VxThread<Owner>::kNoThread);
    EXPECT_EQ(thread.WaitExit(1000), 1);
    EXPECT_TRUE(owner.initialized && owner.mainRan && owner.finalized);
    VxHostThreadMng::ThreadInfo info;
    EXPECT_FALSE(VxHostThreadMng::find(id, info));
    EXPECT_EQ(threadId(thread), VxThread<Owner>::kNoThread);
}

TEST_F(VxThreadTest, FailedInitializeSkipsTheRest)
{
    Owner owner(Owner::Behaviour::FailInit);
    VxThread<Owner> thread(&owner);
    thread.Start("init-fails");
    EXPECT_EQ(thread.WaitExit(1000), 1);
    EXPECT_TRUE(owner.initialized);
    EXPECT_FALSE(owner.mainRan);
    EXPECT_FALSE(owner.finalized);
}

TEST_F(VxThreadTest, ExceptionsAreReportedAndSkipFinalize)
{
    struct Case { Owner::Behaviour behaviour; const char* report; const char* banner; };
    const Case cases[] = {
        {Owner::Behaviour::ThrowStd, "what [boom]", "VxThread.h(426)"},
        {Owner::Behaviour::ThrowOther, "catch exception. thread name [thrower]", "VxThread.h(431)"},
    };
    for (const Case& c : cases) {
        DbgCapture capture;
        Owner owner(c.behaviour);
        VxThread<Owner> thread(&owner);
        thread.Start("thrower");
        EXPECT_EQ(thread.WaitExit(1000), 1);
        EXPECT_TRUE(owner.mainRan);
        EXPECT_FALSE(owner.finalized);
        EXPECT_EQ(capture.count(c.report), 1);
        EXPECT_EQ(capture.count(c.banner), 1);
    }
}

TEST_F(VxThreadTest, WatchdogReportsOnceAndJoinStillCompletes)
{
    DbgCapture capture;
    Owner owner(Owner::Behaviour::Sleep, 250);
    VxThread<Owner> thread(&owner);
    thread.Start("sleeper");
    EXPECT_EQ(thread.WaitExit(50), 1);
    EXPECT_TRUE(owner.finalized) << "the watchdog must not cut the join short";
    EXPECT_EQ(capture.count("WaitExit() timed out[50ms]. thread name[sleeper]"), 1);
    EXPECT_EQ(capture.count("VxThread.h(298)"), 1);
}

TEST_F(VxThreadTest, RestartedThreadGetsAWatchdogOfItsOwn)
{
    DbgCapture capture;
    Owner owner(Owner::Behaviour::Sleep, 100);
    VxThread<Owner> thread(&owner);
    thread.Start("again");
    EXPECT_EQ(thread.WaitExit(1000), 1);
    thread.Start("again");
    EXPECT_EQ(thread.WaitExit(20), 1);
    EXPECT_EQ(capture.count("timed out[20ms]"), 1);
    EXPECT_EQ(capture.count("timed out"), 1);
}

TEST_F(VxThreadTest, NoWatchdogReportForAPromptExit)
{
    DbgCapture capture;
    Owner owner(Owner::Behaviour::Return);
    VxThread<Owner> thread(&owner);
    thread.Start("prompt");
    EXPECT_EQ(thread.WaitExit(1000), 1);
    EXPECT_EQ(capture.count("timed out"), 0);
}

TEST_F(VxThreadTest, LongNameIsCutForTheKernelOnly)
{
    const std::string longName = "AVeryLongWorkerThreadName";
    Owner owner(Owner::Behaviour::Sleep, 200);
    VxThread<Owner> thread(&owner);
    thread.Start(longName.c_str());
    const unsigned long id = threadId(thread);
    VxHostThreadMng::ThreadInfo info;
    bool registered = false;
    for (int i = 0; i < 100 && !(registered = VxHostThreadMng::find(id, info)); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(registered);
    EXPECT_EQ(info.name, longName);
    EXPECT_EQ(info.value, 4000u);
    EXPECT_STREQ(threadName(thread), longName.c_str());
    for (int i = 0; i < 100 && owner.tid == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    std::ifstream comm("/proc/self/task/" + std::to_string(owner.tid.load()) + "/comm");
    std::string kernelName;
    std::getline(comm, kernelName);
    EXPECT_EQ(kernelName, longName.substr(0, 15));
    EXPECT_EQ(thread.WaitExit(1000), 1);
}
