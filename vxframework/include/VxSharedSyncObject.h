#ifndef VX_SHARED_SYNC_OBJECT_H
#define VX_SHARED_SYNC_OBJECT_H
#include "VxUncopyable.h"
#include <pthread.h>
#include <string>

// A lock named across processes. The host backs it with an advisory file
// lock, which the kernel releases when a holder dies. The lock files live in
// VX_LOCK_DIR, else /tmp, as "vx-<name>.lock". An object also excludes the
// threads of its own process, which share its file descriptor.
class VxSharedSyncObject : private VxUncopyable
{
public:
    explicit VxSharedSyncObject(const char* name);
    virtual ~VxSharedSyncObject();
    // Returns 0 when locked, -2 on time-out, -1 on failure.
    int Lock(unsigned int timeoutMs = static_cast<unsigned int>(-1));
    int Unlock();
    const std::string& name() const { return lockName; }
private:
    int openLockFile();
    int lockFile(unsigned int timeoutMs);

    std::string lockName;
    int fd;
    pthread_mutex_t localMutex;
    unsigned long holder;
};

class VxSharedSyncGuard : private VxUncopyable
{
public:
    explicit VxSharedSyncGuard(VxSharedSyncObject& object) : object(object) { locked = object.Lock() == 0; }
    ~VxSharedSyncGuard() { if (locked) object.Unlock(); }
private:
    VxSharedSyncObject& object;
    bool locked;
};
#endif
