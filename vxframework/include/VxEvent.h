#ifndef VX_EVENT_H
#define VX_EVENT_H
#include "VxUncopyable.h"
#include <condition_variable>
#include <mutex>

// A manual-reset event: once set it stays set. WaitEvent returns 0 once the
// event is set, -2 when timeoutMs passed first; (unsigned)-1 waits for ever.
class VxEvent : private VxUncopyable
{
public:
    VxEvent();
    ~VxEvent();
    int SetEvent();
    int WaitEvent(unsigned int timeoutMs = static_cast<unsigned int>(-1));
private:
    std::mutex mutex;
    std::condition_variable condition;
    bool signaled;
};
#endif
