#include "OrvCliSession.h"

#include <chrono>

OrvCliSession::OrvCliSession(const OrvKitPreferences& preferences)
    : kit(new OrvKit(preferences)), opened(false), closed(false)
{
    kit->setListener(this);
}

OrvCliSession::~OrvCliSession()
{
    close(2000);
    kit->removeListener(this);
    kit.reset();
}

bool OrvCliSession::open(int timeoutMs)
{
    if (kit->open() != 1) {
        return false;
    }
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return opened; });
}

void OrvCliSession::close(int timeoutMs)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!opened || closed) {
            return;
        }
    }
    kit->close();
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return closed; });
}

bool OrvCliSession::reopen(int timeoutMs)
{
    close(timeoutMs);
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!closed) {
            return false;
        }
        // The event thread has ended: nothing more can arrive from that period.
        messages.clear();
        opened = false;
        closed = false;
    }
    return open(timeoutMs);
}

bool OrvCliSession::send(unsigned long code, const std::vector<uint8_t>& bytes)
{
    std::vector<uint8_t> copy = bytes;
    OrvKitDef::CmdData command{copy.data(), static_cast<uint32_t>(copy.size()), code};
    return kit->sendCommand(command) == 1;
}

bool OrvCliSession::next(Message& message, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !messages.empty(); })) {
        return false;
    }
    message = std::move(messages.front());
    messages.pop_front();
    return true;
}

void OrvCliSession::onOpenEnd()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        opened = true;
    }
    changed.notify_all();
}

void OrvCliSession::onCloseEnd()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        closed = true;
    }
    changed.notify_all();
}

void OrvCliSession::onMessage(OrvKitDef::CmdData& message)
{
    Message copy{message.uniqueID, std::vector<uint8_t>()};
    if (message.data != nullptr) {
        copy.payload.assign(message.data, message.data + message.size);
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        messages.push_back(std::move(copy));
    }
    changed.notify_all();
}
