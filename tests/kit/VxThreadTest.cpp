#include "kit/VxThread.h"

#include <VxHostDbgOutput.h>
#include <VxHostThreadMng.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// Opens once; waiters go on from then on.
struct Latch
{
    void open()
    {
        std::lock_guard<std::mutex> lock(mutex);
        opened = true;
        changed.notify_all();
    }
    bool wait()
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30), [this] { return opened; });
    }
    std::mutex mutex;
    std::condition_variable changed;
    bool opened = false;
};

// Keeps the debug output; count() tells how many lines hold a text.
struct DbgCapture
{
    DbgCapture()
    {
        VxHostDbgOutput::setQuiet(true);
        VxHostDbgOutput::setSink([this](const std::string& text) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(text);
            if (onTimeOut != nullptr && text.find("timed out") != std::string::npos)
                onTimeOut->open();
        });
    }
    ~DbgCapture()
    {
        VxHostDbgOutput::setSink(VxHostDbgOutput::Sink());
        VxHostDbgOutput::setQuiet(false);
    }
    int count(const std::string& text)
    {
        std::lock_guard<std::mutex> lock(mutex);
        return static_cast<int>(
            std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
    }
    std::mutex mutex;
    std::vector<std::string> lines;
    Latch* onTimeOut = nullptr; // opened by a "timed out" line
};

struct Owner
{
    enum Behaviour { Return, ThrowStd, ThrowOther, FailInit };
    unsigned int Initialize() { return behaviour == FailInit ? 1 : 0; }
    unsigned int MainProc()
    {
        tid = static_cast<unsigned int>(syscall(SYS_gettid));
        if (running != nullptr) {
            running->open();
            release->wait();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(sleepMs));
        if (behaviour == ThrowStd)
            throw std::runtime_error("boom");
        if (behaviour == ThrowOther)
            throw 42;
        return 7;
    }
    void Finalize() { finalized = true; }
    Behaviour behaviour;
    int sleepMs;
    std::atomic<bool> finalized{false};
    std::atomic<unsigned int> tid{0};
    // Both set: MainProc opens running, then waits until release opens.
    Latch* running = nullptr;
    Latch* release = nullptr;
};

} // namespace

// Reaches the thread object's state, which only the template itself reads.
class VxThreadTest : public ::testing::Test
{
protected:
    static unsigned long threadId(const VxThread<Owner>& thread) { return thread.loadThreadId(); }
    static const char* threadName(const VxThread<Owner>& thread) { return thread.name; }
};

TEST_F(VxThreadTest, HooksExceptionReportsAndJoin)
{
    struct Case { Owner::Behaviour behaviour; bool mainRuns, finalizes; const char* report; const char* banner; };
    for (const Case& c : {Case{Owner::Return, true, true, nullptr, nullptr}, Case{Owner::FailInit, false, false, nullptr, nullptr},
                          Case{Owner::ThrowStd, true, false, "catch exception. thread name [hooks], what [boom]", "VxThread.h(426)"},
                          Case{Owner::ThrowOther, true, false, "catch exception. thread name [hooks]", "VxThread.h(431)"}}) {
        SCOPED_TRACE(c.behaviour);
        DbgCapture capture;
        Owner owner{c.behaviour, 0};
        VxThread<Owner> thread(&owner);
        EXPECT_EQ(thread.WaitExit(1000), 1) << "nothing to wait for before Start";
        thread.Start("hooks");
        const unsigned long id = threadId(thread);
        ASSERT_NE(id, VxThread<Owner>::kNoThread);
        EXPECT_EQ(thread.WaitExit(1000), 1);
        EXPECT_EQ(owner.tid != 0, c.mainRuns);
        EXPECT_EQ(owner.finalized, c.finalizes);
        VxHostThreadMng::ThreadInfo info;
        EXPECT_FALSE(VxHostThreadMng::find(id, info)) << "unregistered by the join";
        EXPECT_EQ(threadId(thread), VxThread<Owner>::kNoThread);
        EXPECT_EQ(capture.count(c.report != nullptr ? c.report : "catch exception"), c.report != nullptr ? 1 : 0);
        EXPECT_EQ(capture.count(c.banner != nullptr ? c.banner : "ASSERT Failed"), c.banner != nullptr ? 1 : 0);
        EXPECT_EQ(capture.count("timed out"), 0);
    }
}

TEST_F(VxThreadTest, WatchdogReportsOnceAndTheJoinGoesOn)
{
    DbgCapture capture;
    Owner owner{Owner::Return, 0};
    VxThread<Owner> thread(&owner);
    thread.Start("sleeper");
    EXPECT_EQ(thread.WaitExit(1000), 1);
    EXPECT_EQ(capture.count("timed out"), 0) << "an exit within the time-out";
    // The restarted thread runs until the watchdog has reported.
    Latch running, reported;
    capture.onTimeOut = &reported;
    owner.running = &running;
    owner.release = &reported;
    owner.finalized = false;
    thread.Start("sleeper"); // a restarted thread gets a watchdog of its own
    EXPECT_EQ(thread.WaitExit(20), 1);
    EXPECT_TRUE(owner.finalized) << "the watchdog must not cut the join short";
    EXPECT_EQ(capture.count("timed out"), 1);
    EXPECT_EQ(capture.count("Error, VxThread::WaitExit() timed out[20ms]. thread name[sleeper]"), 1);
    EXPECT_EQ(capture.count("VxThread.h(298)"), 1);
}

TEST_F(VxThreadTest, LongNameIsCutForTheKernelOnly)
{
    const std::string longName = "AVeryLongWorkerThreadName";
    Latch running, release;
    Owner owner{Owner::Return, 0};
    owner.running = &running;
    owner.release = &release;
    VxThread<Owner> thread(&owner);
    thread.Start(longName.c_str());
    ASSERT_TRUE(running.wait());
    VxHostThreadMng::ThreadInfo info;
    EXPECT_TRUE(VxHostThreadMng::find(threadId(thread), info));
    EXPECT_EQ(info.name, longName);
    EXPECT_EQ(info.value, 4000u);
    EXPECT_STREQ(threadName(thread), longName.c_str());
    std::ifstream comm("/proc/self/task/" + std::to_string(owner.tid.load()) + "/comm");
    std::string kernelName;
    std::getline(comm, kernelName);
    EXPECT_EQ(kernelName, longName.substr(0, 15));
    release.open();
    EXPECT_EQ(thread.WaitExit(1000), 1);
}
