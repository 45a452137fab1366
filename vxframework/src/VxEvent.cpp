#include "VxEvent.h"

#include <chrono>

VxEvent::VxEvent() : signaled(false)
{
}

VxEvent::~VxEvent() = default;

int VxEvent::SetEvent()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        signaled = true;
    }
    condition.notify_all();
    return 0;
}

int VxEvent::WaitEvent(unsigned int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    if (timeoutMs == static_cast<unsigned int>(-1)) {
        condition.wait(lock, [this] { return signaled; });
        return 0;
    }
    const bool set = condition.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return signaled; });
    return set ? 0 : -2;
}
