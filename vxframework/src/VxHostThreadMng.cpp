#include "VxHostThreadMng.h"

#include "VxThreadRegistry.h"

bool VxHostThreadMng::find(unsigned long threadId, ThreadInfo& out)
{
    VxThreadRegistry& known = VxThreadRegistry::instance();
    std::lock_guard<std::mutex> lock(known.mutex);
    auto found = known.threads.find(threadId);
    if (found == known.threads.end())
        return false;
    out = found->second;
    return true;
}

bool VxHostThreadMng::findByName(const std::string& name, ThreadInfo& out)
{
    VxThreadRegistry& known = VxThreadRegistry::instance();
    std::lock_guard<std::mutex> lock(known.mutex);
    for (const auto& entry : known.threads) {
        if (entry.second.name == name) {
            out = entry.second;
            return true;
        }
    }
    return false;
}

std::vector<VxHostThreadMng::ThreadInfo> VxHostThreadMng::threads()
{
    VxThreadRegistry& known = VxThreadRegistry::instance();
    std::lock_guard<std::mutex> lock(known.mutex);
    std::vector<ThreadInfo> result;
    result.reserve(known.threads.size());
    for (const auto& entry : known.threads)
        result.push_back(entry.second);
    return result;
}
