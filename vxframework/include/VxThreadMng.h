#ifndef VX_THREAD_MNG_H
#define VX_THREAD_MNG_H

// Registry of the framework's threads and their priorities.
class VxThreadMng
{
public:
    static VxThreadMng* GetInstance();

    // Returns the thread's scheduling priority, or -1 when it cannot be read.
    int GetPriority(unsigned long threadId, unsigned int tid);
    // Returns 0 on success; the host may refuse real-time priorities.
    int SetPriority(unsigned long threadId, int priority, unsigned int tid);
    int registerThreadInfo(unsigned long threadId, const char* name, int priority, unsigned int value);
    int unregisterThreadInfo(unsigned long threadId);

private:
    VxThreadMng() = default;
};
#endif
