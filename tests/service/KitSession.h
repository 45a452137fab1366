#ifndef ORVKIT_TESTS_KIT_SESSION_H
#define ORVKIT_TESTS_KIT_SESSION_H

#include "RecordingListener.h"

#include <OrvKit.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

// One open OrvKit with a recording listener, driven as an application
// drives it. The destructor closes the kit and waits for the close, so a
// session must end before the servers it talks to are stopped.
class KitSession
{
public:
    using Message = RecordingListener::Message;

    explicit KitSession(const OrvKitPreferences& preferences);
    ~KitSession();
    KitSession(const KitSession&) = delete;
    KitSession& operator=(const KitSession&) = delete;

    // True once the service is up and takes commands.
    bool isReady() const { return ready; }

    // Hands one command to the kit; false when the kit refused it.
    bool send(unsigned long code, const std::vector<uint8_t>& bytes);

    // Clears the record, sends the command and waits for the first message
    // whose id is one of finals. Returns everything heard since the send,
    // that message last; empty when the kit refused the command or no such
    // message came in time.
    std::vector<Message> run(unsigned long code, const std::vector<uint8_t>& bytes,
                             std::initializer_list<unsigned long> finals, int timeoutMs = 5000);
    // Waits for a message with one of these ids among those already heard.
    std::vector<Message> waitFor(std::initializer_list<unsigned long> finals, int timeoutMs = 5000);

    // Closes the kit and waits for the close; the record stays readable.
    void close();

    RecordingListener& listener() { return recorder; }

private:
    RecordingListener recorder;
    std::unique_ptr<OrvKit> kit;
    bool ready;
    bool closed;
};

#endif
