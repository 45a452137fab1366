#ifndef ORVKIT_CLOSING_TCP_LISTENER_H
#define ORVKIT_CLOSING_TCP_LISTENER_H

#include <atomic>
#include <string>
#include <thread>

// A plain TCP listener on 127.0.0.1 that never speaks TLS: each connection
// is closed at once, or after a line of plain HTTP, or after reading what
// the client sent. A TLS client pointed at it fails its handshake.
class ClosingTcpListener
{
public:
    ClosingTcpListener();
    ~ClosingTcpListener();
    ClosingTcpListener(const ClosingTcpListener&) = delete;
    ClosingTcpListener& operator=(const ClosingTcpListener&) = delete;

    bool start();
    void stop();
    std::string origin() const; // "https://127.0.0.1:<port>"
    int connections() const { return accepted.load(); }

private:
    void serve();

    int listenFd;
    int port;
    std::atomic<bool> stopping;
    std::atomic<int> accepted;
    std::thread thread;
};

#endif
