#ifndef VX_SHARED_SYNC_OBJECT_H
#define VX_SHARED_SYNC_OBJECT_H
#include "VxUncopyable.h"
#include <pthread.h>
#include <string>

// A lock named across processes; it also excludes the threads of its own
// process. Lock returns 0 when locked, -2 on time-out, -1 on failure.
class VxSharedSyncObject : private VxUncopyable
{
public:
    explicit VxSharedSyncObject(const char* name);
    virtual ~VxSharedSyncObject();
    int Lock(unsigned int timeoutMs = static_cast<unsigned int>(-1));
    int Unlock();
private:
    int openLockFile();
    int lockFile(unsigned int timeoutMs);

    std::string lockName;
    int fd;
    pthread_mutex_t localMutex;
    unsigned long holder;
};
#endif
