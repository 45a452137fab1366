#include <VxEvent.h>
#include <VxHostSingletonFinalizer.h>
#include <VxSingleton.h>
#include <VxSync.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

long long elapsedMs(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST(VxSyncTest, TimedLockFailsWhileHeldElsewhere)
{
    VxSync sync;
    ASSERT_EQ(sync.Lock(), 0);
    int result = 0;
    long long waited = 0;
    std::thread other([&] {
        const auto start = Clock::now();
        result = sync.Lock(30);
        waited = elapsedMs(start);
    });
    other.join();
    EXPECT_EQ(result, -2);
    EXPECT_GE(waited, 25);
    EXPECT_EQ(sync.Unlock(), 0);

    std::thread again([&] {
        result = sync.Lock(30);
        if (result == 0)
            sync.Unlock();
    });
    again.join();
    EXPECT_EQ(result, 0);
}

TEST(VxSyncTest, MisuseIsReportedNotFatal)
{
    VxSync sync;
    EXPECT_EQ(sync.Unlock(), -1);
    ASSERT_EQ(sync.Lock(0), 0);
    EXPECT_EQ(sync.Lock(10), -1);
    int foreignUnlock = 0;
    std::thread other([&] { foreignUnlock = sync.Unlock(); });
    other.join();
    EXPECT_EQ(foreignUnlock, -1);
    EXPECT_EQ(sync.Unlock(), 0);
}

TEST(VxSyncTest, GuardReleasesOnlyWhatItTook)
{
    VxSync sync;
    ASSERT_EQ(sync.Lock(), 0);
    // A relock by the owner fails; the guard must leave the lock held.
    { VxSyncGuard guard(sync); }
    int other = 0;
    std::thread probe([&] { other = sync.Lock(10); });
    probe.join();
    EXPECT_EQ(other, -2);
    EXPECT_EQ(sync.Unlock(), 0);
}

TEST(VxEventTest, WaitTimesOutUntilSet)
{
    VxEvent event;
    const auto start = Clock::now();
    EXPECT_EQ(event.WaitEvent(20), -2);
    EXPECT_GE(elapsedMs(start), 15);
    EXPECT_EQ(event.WaitEvent(0), -2);

    std::thread setter([&] { event.SetEvent(); });
    EXPECT_EQ(event.WaitEvent(), 0);
    setter.join();
    // Manual reset: stays set.
    EXPECT_EQ(event.WaitEvent(0), 0);
    EXPECT_EQ(event.WaitEvent(0), 0);
}

// Outlives the exit hook, which destroys the instance made last below.
std::vector<int>& destroyed()
{
    static std::vector<int>* const order = new std::vector<int>();
    return *order;
}

template <int N>
class Numbered : public VxSingleton<Numbered<N>>
{
public:
    ~Numbered() override { destroyed().push_back(N); }
};

TEST(VxSingletonTest, FinalizeDestroysInReverseOrderOfCreation)
{
    Numbered<1>* first = Numbered<1>::GetInstance();
    EXPECT_EQ(Numbered<1>::GetInstance(), first);
    Numbered<2>::GetInstance();
    Numbered<3>::GetInstance();
    VxHostSingletonFinalizer::finalize();
    EXPECT_EQ(destroyed(), (std::vector<int>{3, 2, 1}));
    // A second run has nothing left to do; a new instance can be made.
    VxHostSingletonFinalizer::finalize();
    EXPECT_EQ(destroyed().size(), 3u);
    EXPECT_NE(Numbered<1>::GetInstance(), nullptr);
}

} // namespace
