#ifndef ORV_CLI_SESSION_H
#define ORV_CLI_SESSION_H

#include <OrvKit.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// One open kit and the messages it sent, for a client that works one
// command at a time from its own thread.
class OrvCliSession : public OrvKitListener
{
public:
    struct Message
    {
        unsigned long id;
        std::vector<uint8_t> payload;
    };

    explicit OrvCliSession(const OrvKitPreferences& preferences);
    ~OrvCliSession() override;

    bool open(int timeoutMs);
    void close(int timeoutMs);
    // Closes the kit, forgets every message not yet taken and opens it again:
    // nothing a request of the old open period sends can reach a later
    // command. The service starts anew, without the identity of a login.
    bool reopen(int timeoutMs);

    // False when the kit did not take the command.
    bool send(unsigned long code, const std::vector<uint8_t>& bytes);
    // The next message, or false after timeoutMs.
    bool next(Message& message, int timeoutMs);

    void onOpenEnd() override;
    void onCloseEnd() override;
    void onMessage(OrvKitDef::CmdData& message) override;

private:
    std::unique_ptr<OrvKit> kit;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Message> messages;
    bool opened;
    bool closed;
};

#endif
