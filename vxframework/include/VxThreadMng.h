#ifndef VX_THREAD_MNG_H
#define VX_THREAD_MNG_H
#include <map>
#include <mutex>
#include <string>
#include <vector>

// Registry of the framework's threads and their priorities.
class VxThreadMng
{
public:
    struct ThreadInfo {
        unsigned long threadId;
        std::string name;
        int priority;
        unsigned int value;
    };

    static VxThreadMng* GetInstance();

    // Returns the thread's scheduling priority, or -1 when it cannot be read.
    int GetPriority(unsigned long threadId, unsigned int tid);
    // Returns 0 on success; the host may refuse real-time priorities.
    int SetPriority(unsigned long threadId, int priority, unsigned int tid);
    int registerThreadInfo(unsigned long threadId, const char* name, int priority, unsigned int value);
    int unregisterThreadInfo(unsigned long threadId);

    // Host additions for tests and diagnostics.
    bool findThreadInfo(unsigned long threadId, ThreadInfo& out) const;
    bool findThreadInfoByName(const std::string& name, ThreadInfo& out) const;
    std::vector<ThreadInfo> threads() const;

private:
    VxThreadMng() = default;
    mutable std::mutex mutex;
    std::map<unsigned long, ThreadInfo> registry;
};
#endif
