#include "sysdata/OrvLockGuard.h"

#include <VxSharedSyncObject.h>
#include <VxSync.h>

#include <gtest/gtest.h>

#include <thread>

namespace {

// What another thread gets from Lock(10): 0 when the lock was free.
template <class Lockable>
int tryFromAnotherThread(Lockable& lock)
{
    int result = -1;
    std::thread([&] {
        result = lock.Lock(10);
        if (result == 0)
            lock.Unlock();
    }).join();
    return result;
}

template <class Lockable>
void holdsForItsScopeAndReleasesOnlyWhatItTook(Lockable& lock)
{
    {
        OrvLockGuard<Lockable> guard(lock);
        EXPECT_TRUE(guard.isLocked());
        EXPECT_EQ(tryFromAnotherThread(lock), -2);
    }
    EXPECT_EQ(tryFromAnotherThread(lock), 0);

    // Held already (neither lock is recursive): the inner guard fails and leaves the hold alone.
    ASSERT_EQ(lock.Lock(), 0);
    {
        OrvLockGuard<Lockable> inner(lock);
        EXPECT_FALSE(inner.isLocked());
    }
    EXPECT_EQ(tryFromAnotherThread(lock), -2);
    EXPECT_EQ(lock.Unlock(), 0);
}

TEST(OrvLockGuardTest, HoldsForItsScopeAndReleasesOnlyWhatItTook)
{
    VxSync sync;
    holdsForItsScopeAndReleasesOnlyWhatItTook(sync);
    VxSharedSyncObject named("guard-test");
    holdsForItsScopeAndReleasesOnlyWhatItTook(named);
}

} // namespace
