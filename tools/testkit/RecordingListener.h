#ifndef ORVKIT_TESTS_RECORDING_LISTENER_H
#define ORVKIT_TESTS_RECORDING_LISTENER_H

#include "TestTime.h"

#include <OrvKit.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

// Records what the library tells the application, for tests that wait on
// the event thread's callbacks from the test thread.
class RecordingListener : public OrvKitListener
{
public:
    struct Message {
        unsigned long id;
        std::vector<uint8_t> payload;
    };

    void onOpenEnd() override { bump([this] { ++openEnds; }); }
    void onCloseEnd() override { bump([this] { ++closeEnds; }); }
    void onMessage(OrvKitDef::CmdData& message) override
    {
        Message copy{message.uniqueID, std::vector<uint8_t>(message.data, message.data + message.size)};
        bump([&] { messages.push_back(std::move(copy)); });
    }

    int openCount() { std::lock_guard<std::mutex> lock(mutex); return openEnds; }
    int closeCount() { std::lock_guard<std::mutex> lock(mutex); return closeEnds; }
    std::vector<Message> received() { std::lock_guard<std::mutex> lock(mutex); return messages; }
    void clear() { std::lock_guard<std::mutex> lock(mutex); messages.clear(); }
    // Forgets the first count messages only: a late one stays for the next look.
    void drop(size_t count)
    {
        std::lock_guard<std::mutex> lock(mutex);
        messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(std::min(count, messages.size())));
    }

    bool waitForOpen(int count = 1, int timeoutMs = 5000) { return waitUntil([&] { return openEnds >= count; }, timeoutMs); }
    bool waitForClose(int count = 1, int timeoutMs = 5000) { return waitUntil([&] { return closeEnds >= count; }, timeoutMs); }
    bool waitForMessages(size_t count, int timeoutMs = 5000)
    {
        return waitUntil([&] { return messages.size() >= count; }, timeoutMs);
    }
    // Waits until a message with this id arrived; the first one goes to out.
    bool waitForId(unsigned long id, Message* out = nullptr, int timeoutMs = 5000)
    {
        const auto first = [&] {
            return std::find_if(messages.begin(), messages.end(), [&](const Message& m) { return m.id == id; });
        };
        std::unique_lock<std::mutex> lock(mutex);
        if (!changed.wait_for(lock, scaled(std::chrono::milliseconds(timeoutMs)), [&] { return first() != messages.end(); }))
            return false;
        if (out != nullptr)
            *out = *first();
        return true;
    }

private:
    template <class F>
    void bump(F change)
    {
        { std::lock_guard<std::mutex> lock(mutex); change(); }
        changed.notify_all();
    }
    bool waitUntil(const std::function<bool()>& done, int timeoutMs)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, scaled(std::chrono::milliseconds(timeoutMs)), done);
    }

    std::mutex mutex;
    std::condition_variable changed;
    int openEnds = 0;
    int closeEnds = 0;
    std::vector<Message> messages;
};

#endif
