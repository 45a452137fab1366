#ifndef VX_SYNC_H
#define VX_SYNC_H
#include "VxUncopyable.h"
#include <pthread.h>

// A non-recursive mutex. Lock(timeoutMs) waits at most timeoutMs
// milliseconds; (unsigned)-1 waits for ever. Returns 0 when locked,
// -2 on time-out, -1 on any other failure.
class VxSync : private VxUncopyable
{
public:
    VxSync();
    ~VxSync();
    int Lock(unsigned int timeoutMs = static_cast<unsigned int>(-1));
    int Unlock();
private:
    pthread_mutex_t mutex;
};

// Holds a VxSync for its scope; releases it only if it took it.
class VxSyncGuard : private VxUncopyable
{
public:
    explicit VxSyncGuard(VxSync& sync) : sync(sync), locked(sync.Lock() == 0) {}
    ~VxSyncGuard()
    {
        if (locked)
            sync.Unlock();
    }
private:
    VxSync& sync;
    const bool locked;
};
#endif
