#include "sysdata/OrvLockGuard.h"

#include <VxSharedSyncObject.h>
#include <VxSync.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

template <class Lockable>
std::unique_ptr<Lockable> makeLock();
template <>
std::unique_ptr<VxSync> makeLock<VxSync>() { return std::unique_ptr<VxSync>(new VxSync()); }
template <>
std::unique_ptr<VxSharedSyncObject> makeLock<VxSharedSyncObject>()
{
    return std::unique_ptr<VxSharedSyncObject>(new VxSharedSyncObject("guard-test"));
}

// What another thread gets from Lock(10): 0 when the lock was free.
template <class Lockable>
int tryFromAnotherThread(Lockable& lock)
{
    int result = -1;
    std::thread other([&] {
        result = lock.Lock(10);
        if (result == 0)
            lock.Unlock();
    });
    other.join();
    return result;
}

template <class Lockable>
class OrvLockGuardTest : public ::testing::Test
{
};
using Lockables = ::testing::Types<VxSync, VxSharedSyncObject>;
TYPED_TEST_SUITE(OrvLockGuardTest, Lockables);

TYPED_TEST(OrvLockGuardTest, HoldsForItsScopeAndReleasesOnlyWhatItTook)
{
    auto lock = makeLock<TypeParam>();
    {
        OrvLockGuard<TypeParam> guard(*lock);
        EXPECT_TRUE(guard.isLocked());
        EXPECT_EQ(tryFromAnotherThread(*lock), -2);
    }
    EXPECT_EQ(tryFromAnotherThread(*lock), 0);

    // Neither lock may be taken twice by its holder: the inner guard fails
    // and must leave the outer hold alone.
    ASSERT_EQ(lock->Lock(), 0);
    {
        OrvLockGuard<TypeParam> inner(*lock);
        EXPECT_FALSE(inner.isLocked());
    }
    EXPECT_EQ(tryFromAnotherThread(*lock), -2);
    EXPECT_EQ(lock->Unlock(), 0);
}

} // namespace
