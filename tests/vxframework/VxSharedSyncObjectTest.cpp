#include <VxSharedSyncObject.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// Forks a child that takes the named lock, reports through a pipe and holds
// the lock until the parent closes its end of a second pipe.
class LockHolder
{
public:
    explicit LockHolder(const char* name)
    {
        int ready[2];
        int release[2];
        if (pipe(ready) != 0 || pipe(release) != 0)
            return;
        child = fork();
        if (child == 0) {
            close(ready[0]);
            close(release[1]);
            VxSharedSyncObject lock(name);
            const char status = lock.Lock(2000) == 0 ? 'L' : 'F';
            if (write(ready[1], &status, 1) != 1)
                _exit(2);
            char ignored;
            while (read(release[0], &ignored, 1) > 0) {
            }
            _exit(0);
        }
        close(ready[1]);
        close(release[0]);
        releaseFd = release[1];
        char status = 0;
        if (child > 0 && read(ready[0], &status, 1) == 1)
            locked = status == 'L';
        close(ready[0]);
    }
    ~LockHolder() { finish(); }

    void finish()
    {
        if (releaseFd >= 0) {
            close(releaseFd);
            releaseFd = -1;
        }
        if (child > 0) {
            int status = 0;
            waitpid(child, &status, 0);
            child = -1;
        }
    }

    bool locked = false;

private:
    pid_t child = -1;
    int releaseFd = -1;
};

TEST(VxSharedSyncObjectTest, LockHeldByAnotherProcessTimesOut)
{
    VxSharedSyncObject lock("shared-test");
    LockHolder holder("shared-test");
    ASSERT_TRUE(holder.locked);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(lock.Lock(40), -2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(35));

    holder.finish();
    EXPECT_EQ(lock.Lock(1000), 0);
    EXPECT_EQ(lock.Unlock(), 0);
}

TEST(VxSharedSyncObjectTest, DeadHolderReleasesLock)
{
    VxSharedSyncObject lock("shared-dead");
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        VxSharedSyncObject own("shared-dead");
        own.Lock();
        _exit(0); // no Unlock: the kernel drops the lock with the process
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(lock.Lock(500), 0);
    lock.Unlock();
}

TEST(VxSharedSyncObjectTest, ExcludesThreadsOfOneProcess)
{
    VxSharedSyncObject shared("shared-threads");
    VxSharedSyncObject sameName("shared-threads");
    ASSERT_EQ(shared.Lock(), 0);
    int sameObject = 0;
    int otherObject = 0;
    int foreignUnlock = 0;
    std::thread other([&] {
        sameObject = shared.Lock(20);
        otherObject = sameName.Lock(20);
        foreignUnlock = shared.Unlock();
    });
    other.join();
    EXPECT_EQ(sameObject, -2);
    EXPECT_EQ(otherObject, -2);
    EXPECT_EQ(foreignUnlock, -1);
    EXPECT_EQ(shared.Unlock(), 0);
    EXPECT_EQ(shared.Unlock(), -1);

    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            VxSharedSyncObject& lock = t % 2 == 0 ? shared : sameName;
            for (int i = 0; i < 300; ++i) {
                ASSERT_EQ(lock.Lock(), 0);
                const long seen = counter;
                std::this_thread::yield();
                counter = seen + 1;
                lock.Unlock();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 900);
}

} // namespace
