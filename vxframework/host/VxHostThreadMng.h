#ifndef VX_HOST_THREAD_MNG_H
#define VX_HOST_THREAD_MNG_H
#include "VxHostGuard.h"

#include <string>
#include <vector>

// Looks into the host's thread registry (VxThreadMng).
class VxHostThreadMng
{
public:
    struct ThreadInfo {
        unsigned long threadId;
        std::string name;
        int priority;
        unsigned int value;
    };

    static bool find(unsigned long threadId, ThreadInfo& out);
    static bool findByName(const std::string& name, ThreadInfo& out);
    static std::vector<ThreadInfo> threads();
};
#endif
