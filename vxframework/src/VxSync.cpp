#include "VxSync.h"

#include <cerrno>
#include <ctime>

namespace {

timespec deadlineAfter(unsigned int timeoutMs)
{
    // pthread_mutex_timedlock measures against CLOCK_REALTIME.
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += static_cast<time_t>(timeoutMs / 1000);
    deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    return deadline;
}

} // namespace

VxSync::VxSync()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    // Error-checking, so that a stray Unlock or a relock by the owner fails
    // instead of corrupting the mutex or hanging.
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

VxSync::~VxSync()
{
    pthread_mutex_destroy(&mutex);
}

int VxSync::Lock(unsigned int timeoutMs)
{
    int result;
    if (timeoutMs == static_cast<unsigned int>(-1)) {
        result = pthread_mutex_lock(&mutex);
    } else {
        const timespec deadline = deadlineAfter(timeoutMs);
        do {
            result = pthread_mutex_timedlock(&mutex, &deadline);
        } while (result == EINTR);
    }
    if (result == 0)
        return 0;
    return result == ETIMEDOUT ? -2 : -1;
}

int VxSync::Unlock()
{
    return pthread_mutex_unlock(&mutex) == 0 ? 0 : -1;
}
