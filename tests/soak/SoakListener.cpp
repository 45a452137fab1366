#include "SoakListener.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

void SoakListener::onOpenEnd()
{
    { std::lock_guard<std::mutex> lock(mutex); ++opens; }
    changed.notify_all();
}

void SoakListener::onCloseEnd()
{
    { std::lock_guard<std::mutex> lock(mutex); ++closes; }
    changed.notify_all();
}

void SoakListener::onMessage(OrvKitDef::CmdData& message)
{
    Message copy{message.uniqueID, std::vector<uint8_t>(message.data, message.data + message.size)};
    { std::lock_guard<std::mutex> lock(mutex); messages.push_back(std::move(copy)); }
    changed.notify_all();
}

std::vector<SoakListener::Message> SoakListener::snapshot()
{
    std::lock_guard<std::mutex> lock(mutex);
    return messages;
}

void SoakListener::drop(size_t count)
{
    std::lock_guard<std::mutex> lock(mutex);
    messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(std::min(count, messages.size())));
}

bool SoakListener::waitForMore(size_t count, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return messages.size() > count; });
}

bool SoakListener::waitForOpens(int count, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return opens >= count; });
}

bool SoakListener::waitForCloses(int count, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return closes >= count; });
}
