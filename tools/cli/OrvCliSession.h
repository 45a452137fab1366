#ifndef ORV_CLI_SESSION_H
#define ORV_CLI_SESSION_H

#include <OrvKit.h>
#include <OrvKitInbox.h>

#include <cstdint>
#include <memory>
#include <vector>

// One open kit and the messages it sent, for a client that works one
// command at a time from its own thread.
class OrvCliSession
{
public:
    explicit OrvCliSession(const OrvKitPreferences& preferences);
    ~OrvCliSession();

    bool open(int timeoutMs);
    void close(int timeoutMs);
    // Closes the kit, forgets every message not yet taken and opens it again:
    // nothing a request of the old open period sends can reach a later
    // command. The service starts anew, without the identity of a login.
    bool reopen(int timeoutMs);

    OrvKit& kit() { return *owned; }
    OrvKitInbox& inbox() { return messages; }

private:
    OrvKitInbox messages; // declared first: it outlives the kit that calls it
    std::unique_ptr<OrvKit> owned;
};

#endif
