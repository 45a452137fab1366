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

class VxSyncGuard : private VxUncopyable
{
public:
    explicit VxSyncGuard(VxSync& sync) : sync(sync) { sync.Lock(); }
    ~VxSyncGuard() { sync.Unlock(); }
private:
    VxSync& sync;
};
#endif
