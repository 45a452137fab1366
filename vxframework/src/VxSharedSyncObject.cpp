// The host backs the named lock with an advisory file lock, which the kernel
// releases when a holder dies. The lock files live in VX_LOCK_DIR, else /tmp,
// as "vx-<name>.lock". An object also excludes the threads of its own
// process, which share its file descriptor.
#include "VxSharedSyncObject.h"

#include "VxFileSystem.h"

#include <cerrno>
#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <time.h>
#include <unistd.h>

namespace {

const unsigned int kForever = static_cast<unsigned int>(-1);

std::string lockPath(const std::string& name)
{
    std::string directory = VxFileSystem::environment("VX_LOCK_DIR");
    if (directory.empty())
        directory = "/tmp";
    std::string fileName = name;
    for (char& c : fileName) {
        if (c == '/')
            c = '_';
    }
    return directory + "/vx-" + fileName + ".lock";
}

unsigned long self()
{
    return static_cast<unsigned long>(pthread_self());
}

} // namespace

VxSharedSyncObject::VxSharedSyncObject(const char* name)
    : lockName(name != nullptr ? name : ""), fd(-1), holder(0)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&localMutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    fd = openLockFile();
}

VxSharedSyncObject::~VxSharedSyncObject()
{
    // Closing the descriptor drops a lock still held.
    if (fd >= 0)
        close(fd);
    pthread_mutex_destroy(&localMutex);
}

int VxSharedSyncObject::openLockFile()
{
    const std::string path = lockPath(lockName);
    const std::string directory = path.substr(0, path.rfind('/'));
    if (!VxFileSystem::makeDirectories(directory))
        return -1;
    int descriptor;
    do {
        descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

int VxSharedSyncObject::Lock(unsigned int timeoutMs)
{
    const auto start = std::chrono::steady_clock::now();
    int result;
    if (timeoutMs == kForever) {
        result = pthread_mutex_lock(&localMutex);
    } else {
        timespec deadline;
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += static_cast<time_t>(timeoutMs / 1000);
        deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
        if (deadline.tv_nsec >= 1000000000L) {
            deadline.tv_sec += 1;
            deadline.tv_nsec -= 1000000000L;
        }
        do {
            result = pthread_mutex_timedlock(&localMutex, &deadline);
        } while (result == EINTR);
    }
    if (result != 0)
        return result == ETIMEDOUT ? -2 : -1;

    unsigned int remaining = timeoutMs;
    if (timeoutMs != kForever) {
        const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start).count();
        remaining = spent >= timeoutMs ? 0 : timeoutMs - static_cast<unsigned int>(spent);
    }
    if (fd < 0)
        fd = openLockFile();
    const int locked = fd < 0 ? -1 : lockFile(remaining);
    if (locked != 0) {
        pthread_mutex_unlock(&localMutex);
        return locked;
    }
    __atomic_store_n(&holder, self(), __ATOMIC_RELAXED);
    return 0;
}

int VxSharedSyncObject::lockFile(unsigned int timeoutMs)
{
    if (timeoutMs == kForever) {
        for (;;) {
            if (flock(fd, LOCK_EX) == 0)
                return 0;
            if (errno != EINTR)
                return -1;
        }
    }
    // flock has no time-out of its own: poll.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0)
            return 0;
        if (errno != EWOULDBLOCK && errno != EINTR)
            return -1;
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline)
            return -2;
        const auto pause = std::min<std::chrono::steady_clock::duration>(std::chrono::milliseconds(2), deadline - now);
        std::this_thread::sleep_for(pause);
    }
}

int VxSharedSyncObject::Unlock()
{
    // Only the holding thread may release; another thread releasing the file
    // lock would free it under the holder's feet.
    if (__atomic_load_n(&holder, __ATOMIC_RELAXED) != self())
        return -1;
    __atomic_store_n(&holder, 0UL, __ATOMIC_RELAXED);
    const int released = flock(fd, LOCK_UN) == 0 ? 0 : -1;
    pthread_mutex_unlock(&localMutex);
    return released;
}
