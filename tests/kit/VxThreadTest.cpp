#include "kit/VxThread.h"

#include <VxDbgOutput.h>
#include <VxThreadMng.h>

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
        VxDbgOutput::setQuiet(true);
        VxDbgOutput::setSink([this](const std::string& text) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(text);
        });
    }
    ~DbgCapture()
    {
        VxDbgOutput::setSink(VxDbgOutput::Sink());
        VxDbgOutput::setQuiet(false);
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

TEST(VxThread, HooksRunInOrderAndFailuresSkipTheRest)
{
    struct Case
    {
        Owner::Behaviour behaviour;
        bool mainRan;
        bool finalized;
        const char* report;  // null: nothing reported
        const char* banner;
    };
    const Case cases[] = {
        {Owner::Behaviour::Return, true, true, nullptr, nullptr},
        {Owner::Behaviour::FailInit, false, false, nullptr, nullptr},
        {Owner::Behaviour::ThrowStd, true, false, "what [boom]", "VxThread.h(426)"},
        {Owner::Behaviour::ThrowOther, true, false, "catch exception. thread name [worker]", "VxThread.h(431)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.behaviour));
        DbgCapture capture;
        Owner owner(c.behaviour);
        VxThread<Owner> thread(&owner);
        EXPECT_EQ(thread.WaitExit(1000), 1) << "nothing to join yet";
        thread.Start("worker");
        const unsigned long id = thread.getThreadId();
        ASSERT_NE(id, VxThread<Owner>::kNoThread);
        EXPECT_EQ(thread.WaitExit(1000), 1);
        EXPECT_TRUE(owner.initialized);
        EXPECT_EQ(owner.mainRan, c.mainRan);
        EXPECT_EQ(owner.finalized, c.finalized);
        VxThreadMng::ThreadInfo info;
        EXPECT_FALSE(VxThreadMng::GetInstance()->findThreadInfo(id, info)) << "unregistered on join";
        EXPECT_EQ(thread.getThreadId(), VxThread<Owner>::kNoThread);
        if (c.report != nullptr) {
            EXPECT_EQ(capture.count(c.report), 1);
            EXPECT_EQ(capture.count(c.banner), 1);
        } else {
            EXPECT_EQ(capture.count("VxThread.h("), 0);
        }
        EXPECT_EQ(capture.count("timed out"), 0);
    }
}

TEST(VxThread, WatchdogReportsOnceAndJoinStillCompletes)
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

TEST(VxThread, LongNameIsCutForTheKernelOnly)
{
    const std::string longName = "AVeryLongWorkerThreadName";
    Owner owner(Owner::Behaviour::Sleep, 200);
    VxThread<Owner> thread(&owner);
    thread.Start(longName.c_str());
    const unsigned long id = thread.getThreadId();
    VxThreadMng::ThreadInfo info;
    bool registered = false;
    for (int i = 0; i < 100 && !(registered = VxThreadMng::GetInstance()->findThreadInfo(id, info)); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(registered);
    EXPECT_EQ(info.name, longName);
    EXPECT_EQ(info.value, 4000u);
    EXPECT_STREQ(thread.getName(), longName.c_str());
    for (int i = 0; i < 100 && owner.tid == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    std::ifstream comm("/proc/self/task/" + std::to_string(owner.tid.load()) + "/comm");
    std::string kernelName;
    std::getline(comm, kernelName);
    EXPECT_EQ(kernelName, longName.substr(0, 15));
    EXPECT_EQ(thread.WaitExit(1000), 1);
}
