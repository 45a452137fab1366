#include "VxThreadMng.h"

#include "VxThreadRegistry.h"

#include <pthread.h>
#include <sched.h>
#include <sys/types.h>

namespace {

const unsigned long kNoThread = static_cast<unsigned long>(-1);
const unsigned int kNoTid = static_cast<unsigned int>(-1);

bool usableThread(unsigned long threadId)
{
    return threadId != 0 && threadId != kNoThread;
}

bool usableTid(unsigned int tid)
{
    return tid != 0 && tid != kNoTid;
}

} // namespace

VxThreadMng* VxThreadMng::GetInstance()
{
    // Never destroyed, as the registry.
    static VxThreadMng* const instance = new VxThreadMng();
    return instance;
}

int VxThreadMng::GetPriority(unsigned long threadId, unsigned int tid)
{
    sched_param parameters{};
    if (usableThread(threadId)) {
        int policy = 0;
        if (pthread_getschedparam(static_cast<pthread_t>(threadId), &policy, &parameters) == 0)
            return parameters.sched_priority;
        return -1;
    }
    // Without a handle the kernel id is the only safe way to ask.
    if (usableTid(tid) && sched_getparam(static_cast<pid_t>(tid), &parameters) == 0)
        return parameters.sched_priority;
    return -1;
}

int VxThreadMng::SetPriority(unsigned long threadId, int priority, unsigned int tid)
{
    sched_param parameters{};
    if (usableThread(threadId)) {
        int policy = 0;
        if (pthread_getschedparam(static_cast<pthread_t>(threadId), &policy, &parameters) != 0)
            return -1;
        parameters.sched_priority = priority;
        if (pthread_setschedparam(static_cast<pthread_t>(threadId), policy, &parameters) != 0)
            return -1;
    } else {
        if (!usableTid(tid))
            return -1;
        parameters.sched_priority = priority;
        if (sched_setparam(static_cast<pid_t>(tid), &parameters) != 0)
            return -1;
    }
    VxThreadRegistry& known = VxThreadRegistry::instance();
    std::lock_guard<std::mutex> lock(known.mutex);
    auto found = known.threads.find(threadId);
    if (found != known.threads.end())
        found->second.priority = priority;
    return 0;
}

int VxThreadMng::registerThreadInfo(unsigned long threadId, const char* name, int priority, unsigned int value)
{
    VxThreadRegistry& known = VxThreadRegistry::instance();
    std::lock_guard<std::mutex> lock(known.mutex);
    VxHostThreadMng::ThreadInfo& info = known.threads[threadId];
    info.threadId = threadId;
    info.name = name != nullptr ? name : "";
    info.priority = priority;
    info.value = value;
    return 0;
}

int VxThreadMng::unregisterThreadInfo(unsigned long threadId)
{
    VxThreadRegistry& known = VxThreadRegistry::instance();
    std::lock_guard<std::mutex> lock(known.mutex);
    return known.threads.erase(threadId) != 0 ? 0 : -1;
}
