#include <VxHostThreadMng.h>
#include <VxThreadMng.h>

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

TEST(VxThreadMngTest, RegisterFindUnregister)
{
    VxThreadMng* registry = VxThreadMng::GetInstance();
    ASSERT_EQ(registry, VxThreadMng::GetInstance());
    const unsigned long id = 0x5eed;
    EXPECT_EQ(registry->registerThreadInfo(id, "worker", 3, 4000), 0);

    VxHostThreadMng::ThreadInfo info;
    ASSERT_TRUE(VxHostThreadMng::find(id, info));
    EXPECT_EQ(info.name, "worker");
    EXPECT_EQ(info.priority, 3);
    EXPECT_EQ(info.value, 4000u);
    ASSERT_TRUE(VxHostThreadMng::findByName("worker", info));
    EXPECT_EQ(info.threadId, id);

    // Registering again replaces the entry.
    registry->registerThreadInfo(id, nullptr, -1, 1);
    ASSERT_TRUE(VxHostThreadMng::find(id, info));
    EXPECT_EQ(info.name, "");
    EXPECT_EQ(VxHostThreadMng::threads().size(), 1u);

    EXPECT_EQ(registry->unregisterThreadInfo(id), 0);
    EXPECT_FALSE(VxHostThreadMng::find(id, info));
    EXPECT_FALSE(VxHostThreadMng::findByName("worker", info));
    EXPECT_EQ(registry->unregisterThreadInfo(id), -1);
}

TEST(VxThreadMngTest, PriorityOfRunningThread)
{
    VxThreadMng* registry = VxThreadMng::GetInstance();
    const unsigned long self = static_cast<unsigned long>(pthread_self());
    const unsigned int tid = static_cast<unsigned int>(syscall(SYS_gettid));
    const int priority = registry->GetPriority(self, tid);
    EXPECT_GE(priority, 0);
    EXPECT_EQ(registry->GetPriority(static_cast<unsigned long>(-1), tid), priority);
    EXPECT_EQ(registry->GetPriority(static_cast<unsigned long>(-1), static_cast<unsigned int>(-1)), -1);
    // The current priority can always be set again.
    EXPECT_EQ(registry->SetPriority(self, priority, tid), 0);
    EXPECT_EQ(registry->SetPriority(static_cast<unsigned long>(-1), priority, static_cast<unsigned int>(-1)), -1);
}

} // namespace
