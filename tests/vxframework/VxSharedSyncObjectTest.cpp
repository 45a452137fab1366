#include <VxSharedSyncObject.h>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// A child process takes the lock and holds it until the parent closes its
// pipe, then ends without unlocking: the lock goes with the process.
TEST(VxSharedSyncObjectTest, LockHeldByAnotherProcessTimesOutUntilItDies)
{
    VxSharedSyncObject lock("shared-test");
    int ready[2], release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(release[1]);
        VxSharedSyncObject own("shared-test");
        char status = own.Lock(2000) == 0 ? 'L' : 'F';
        _exit(write(ready[1], &status, 1) == 1 && read(release[0], &status, 1) == 0 ? 0 : 1);
    }
    close(ready[1]);
    close(release[0]);
    char status = 0;
    EXPECT_EQ(read(ready[0], &status, 1), 1);
    EXPECT_EQ(status, 'L');
    EXPECT_EQ(lock.Lock(40), -2);
    close(release[1]);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(lock.Lock(1000), 0);
    EXPECT_EQ(lock.Unlock(), 0);
    close(ready[0]);
}

TEST(VxSharedSyncObjectTest, ExcludesThreadsOfOneProcess)
{
    VxSharedSyncObject shared("shared-threads");
    VxSharedSyncObject sameName("shared-threads");
    ASSERT_EQ(shared.Lock(), 0);
    int sameObject = 0, otherObject = 0, foreignUnlock = 0;
    std::thread([&] {
        sameObject = shared.Lock(20);
        otherObject = sameName.Lock(20);
        foreignUnlock = shared.Unlock();
    }).join();
    EXPECT_EQ(sameObject, -2);
    EXPECT_EQ(otherObject, -2);
    EXPECT_EQ(foreignUnlock, -1) << "only the holder unlocks";
    EXPECT_EQ(shared.Unlock(), 0);
    EXPECT_EQ(shared.Unlock(), -1);

    long counter = 0;
    std::vector<std::thread> threads;
    for (VxSharedSyncObject* lock : {&shared, &sameName, &shared}) {
        threads.emplace_back([&counter, lock] {
            for (int i = 0; i < 300; ++i) {
                ASSERT_EQ(lock->Lock(), 0);
                const long seen = counter;
                std::this_thread::yield();
                counter = seen + 1;
                lock->Unlock();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 900);
}

} // namespace
