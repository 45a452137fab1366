#ifndef ORVKIT_TESTS_WIRE_RECORDER_H
#define ORVKIT_TESTS_WIRE_RECORDER_H

#include <functional>
#include <memory>
#include <string>

// A TLS server on 127.0.0.1 that keeps the bytes of every HTTP/1.1 request
// exactly as they arrived (request line, headers in their order, body) and
// answers each from a handler. It accepts TLS 1.2 and 1.3 and offers the
// application protocols "h2" and "http/1.1" by ALPN, preferring "h2": a
// client that offers HTTP/2 gets it, which the transcript then shows (and
// the connection is closed, since nothing here speaks HTTP/2). With a client
// CA it takes only clients with a certificate from that CA.
class WireRecorder
{
public:
    struct Answer
    {
        int status;
        std::string body;
        std::string contentEncoding; // sent as "Content-Encoding" when not empty
    };
    // Method and request target as on the request line.
    typedef std::function<Answer(const std::string& method, const std::string& target)> Handler;

    WireRecorder(const std::string& name, const std::string& certificatePem, const std::string& keyPem,
                 const std::string& clientCaPem, Handler handler);
    ~WireRecorder();
    WireRecorder(const WireRecorder&) = delete;
    WireRecorder& operator=(const WireRecorder&) = delete;

    bool start();
    void stop();
    std::string origin() const; // "https://127.0.0.1:<port>"

    // One block per request in arrival order: a line "== <name>, <TLS
    // version>, ALPN <protocol or none>" and the request's bytes. The
    // listening port, which differs from run to run, is written "<port>".
    std::string transcript() const;
    // Waits until count requests (or HTTP/2 connections) were recorded.
    bool waitForRequests(int count, int timeoutMs) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

#endif
