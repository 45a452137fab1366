#ifndef ORVKIT_TEST_DEAD_LINK_RELAY_H
#define ORVKIT_TEST_DEAD_LINK_RELAY_H

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

// A TCP relay on 127.0.0.1 in front of one loopback port whose connections
// can die without a reset: a dead connection is kept open, every byte it
// carries either way is swallowed and a close from the server is not passed
// on; only the client's close ends it. A connection dies when it is accepted
// while new connections are swallowed (its TLS handshake never ends), or when
// it has just passed on the first bytes of an answer after dieMidAnswer().
class DeadLinkRelay
{
public:
    explicit DeadLinkRelay(int targetPort);
    ~DeadLinkRelay();
    DeadLinkRelay(const DeadLinkRelay&) = delete;
    DeadLinkRelay& operator=(const DeadLinkRelay&) = delete;

    int port() const { return boundPort; }
    std::string origin() const; // "https://127.0.0.1:<port>"

    void swallowNewConnections(bool on) { swallowNew = on; }
    // The next bytes from the server are passed on, then their connection dies.
    void dieMidAnswer() { dieAfterAnswer = true; }
    std::size_t accepted() const { return acceptedCount; }
    std::size_t dead() const { return deadCount; }

private:
    void run();

    int listening = -1;
    int target = 0;
    int boundPort = 0;
    std::atomic<bool> stopping{false};
    std::atomic<bool> swallowNew{false};
    std::atomic<bool> dieAfterAnswer{false};
    std::atomic<std::size_t> acceptedCount{0};
    std::atomic<std::size_t> deadCount{0};
    std::thread worker;
};

#endif
