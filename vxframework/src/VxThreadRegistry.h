#ifndef VX_THREAD_REGISTRY_H
#define VX_THREAD_REGISTRY_H
#include "VxHostThreadMng.h"

#include <map>
#include <mutex>

// What VxThreadMng records, shared with its host inspection.
struct VxThreadRegistry {
    std::mutex mutex;
    std::map<unsigned long, VxHostThreadMng::ThreadInfo> threads;

    // Never destroyed: threads may unregister while the process exits.
    static VxThreadRegistry& instance()
    {
        static VxThreadRegistry* const registry = new VxThreadRegistry();
        return *registry;
    }
};
#endif
