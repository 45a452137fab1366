#include "OrvCliSession.h"

#include <chrono>

OrvCliSession::OrvCliSession(const OrvKitPreferences& preferences) : owned(new OrvKit(preferences))
{
    owned->setListener(&messages);
}

OrvCliSession::~OrvCliSession()
{
    close(2000);
    owned->removeListener(&messages);
    owned.reset();
}

bool OrvCliSession::open(int timeoutMs)
{
    return owned->open() == 1 && messages.waitOpened(std::chrono::milliseconds(timeoutMs));
}

void OrvCliSession::close(int timeoutMs)
{
    if (!messages.isOpen()) {
        return;
    }
    owned->close();
    messages.waitClosed(std::chrono::milliseconds(timeoutMs));
}

bool OrvCliSession::reopen(int timeoutMs)
{
    close(timeoutMs);
    if (messages.isOpen()) {
        return false;
    }
    // The event thread has ended: nothing more can arrive from that period.
    messages.clear();
    return open(timeoutMs);
}
