#include "VxThreadMng.h"

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
    // Never destroyed: threads may unregister while the process exits.
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
    std::lock_guard<std::mutex> lock(mutex);
    auto found = registry.find(threadId);
    if (found != registry.end())
        found->second.priority = priority;
    return 0;
}

int VxThreadMng::registerThreadInfo(unsigned long threadId, const char* name, int priority, unsigned int value)
{
    std::lock_guard<std::mutex> lock(mutex);
    ThreadInfo& info = registry[threadId];
    info.threadId = threadId;
    info.name = name != nullptr ? name : "";
    info.priority = priority;
    info.value = value;
    return 0;
}

int VxThreadMng::unregisterThreadInfo(unsigned long threadId)
{
    std::lock_guard<std::mutex> lock(mutex);
    return registry.erase(threadId) != 0 ? 0 : -1;
}

bool VxThreadMng::findThreadInfo(unsigned long threadId, ThreadInfo& out) const
{
    std::lock_guard<std::mutex> lock(mutex);
    auto found = registry.find(threadId);
    if (found == registry.end())
        return false;
    out = found->second;
    return true;
}

bool VxThreadMng::findThreadInfoByName(const std::string& name, ThreadInfo& out) const
{
    std::lock_guard<std::mutex> lock(mutex);
    for (const auto& entry : registry) {
        if (entry.second.name == name) {
            out = entry.second;
            return true;
        }
    }
    return false;
}

std::vector<VxThreadMng::ThreadInfo> VxThreadMng::threads() const
{
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<ThreadInfo> result;
    result.reserve(registry.size());
    for (const auto& entry : registry)
        result.push_back(entry.second);
    return result;
}
