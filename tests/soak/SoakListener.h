#ifndef ORVKIT_SOAK_LISTENER_H
#define ORVKIT_SOAK_LISTENER_H

#include "RecordingListener.h"

#include <OrvKit.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

// Records what the library says, like RecordingListener, but lets the soak
// drop exactly the messages it has accounted for: a late or extra message
// stays behind and fails the next check instead of being cleared away.
class SoakListener : public OrvKitListener
{
public:
    using Message = RecordingListener::Message;

    void onOpenEnd() override;
    void onCloseEnd() override;
    void onMessage(OrvKitDef::CmdData& message) override;

    std::vector<Message> snapshot();
    void drop(size_t count);
    // Waits until more than count messages are held; false on time-out.
    bool waitForMore(size_t count, int timeoutMs);
    bool waitForOpens(int count, int timeoutMs);
    bool waitForCloses(int count, int timeoutMs);

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Message> messages;
    int opens = 0;
    int closes = 0;
};

#endif
