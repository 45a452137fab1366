#ifndef ORVKIT_TEST_INBOX_TESTING_H
#define ORVKIT_TEST_INBOX_TESTING_H

#include <OrvKitInbox.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

// What tests need of OrvKitInbox beyond one command's outcome: several
// messages taken in order, and how often the open and close callbacks came.

// A code that no command has: the kit takes it and answers nothing.
constexpr unsigned long kUnknownCommand = 0x71;

using Heard = std::vector<OrvKitInbox::Message>;

// Takes messages until one for which isLast holds: all taken, that one last;
// empty when none came within timeout (pass a scaled() limit).
inline Heard takeUntil(OrvKitInbox& inbox, const std::function<bool(const OrvKitInbox::Message&)>& isLast,
                       std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    Heard heard;
    for (OrvKitInbox::Message message; inbox.next(message, std::chrono::duration_cast<std::chrono::milliseconds>(
                                                               deadline - std::chrono::steady_clock::now()));) {
        heard.push_back(message);
        if (isLast(message))
            return heard;
    }
    return Heard();
}

// Takes messages until one with this id came; empty when none did in time.
inline Heard takeUntilId(OrvKitInbox& inbox, unsigned long id, std::chrono::milliseconds timeout)
{
    return takeUntil(inbox, [id](const OrvKitInbox::Message& m) { return m.id == id; }, timeout);
}

// Takes what has arrived by now, waiting for nothing.
inline Heard takeQueued(OrvKitInbox& inbox)
{
    Heard heard;
    for (OrvKitInbox::Message message; inbox.next(message, std::chrono::milliseconds(0));)
        heard.push_back(message);
    return heard;
}

// The ids of messages, in order.
inline std::vector<unsigned long> idsOf(const Heard& heard)
{
    std::vector<unsigned long> ids;
    for (const OrvKitInbox::Message& message : heard)
        ids.push_back(message.id);
    return ids;
}

// An inbox that also counts the open and close callbacks: each open must be
// answered by exactly one close, and a listener replaced must hear no more.
// waitForCloses() suits a listener set after open(), whose opens may have
// gone to another.
class CountingInbox : public OrvKitInbox
{
public:
    // Counted last: a thread that waited for the count may end the listener's life.
    void onOpenEnd() override { OrvKitInbox::onOpenEnd(), count(openEnds); }
    void onCloseEnd() override { OrvKitInbox::onCloseEnd(), count(closeEnds); }
    int opens() { std::lock_guard<std::mutex> lock(mutex); return openEnds; }
    int closes() { std::lock_guard<std::mutex> lock(mutex); return closeEnds; }
    bool waitForCloses(int count, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return counted.wait_for(lock, timeout, [&] { return closeEnds >= count; });
    }

private:
    void count(int& counter)
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++counter;
        counted.notify_all();
    }

    std::mutex mutex;
    std::condition_variable counted;
    int openEnds = 0;
    int closeEnds = 0;
};

#endif
