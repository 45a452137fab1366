#ifndef ORVKIT_TEST_HTTPS_SERVER_H
#define ORVKIT_TEST_HTTPS_SERVER_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

class TestPki;

// In-process HTTPS server for network tests, on 127.0.0.1 at an ephemeral
// port, serving on threads of its own; TLS 1.2 only (or 1.3 only, when
// asked); in mutual-TLS mode it refuses clients without a certificate from
// the configured CA. Every request is recorded before its route runs; routes
// are tried newest first; no match gets 404. Safe to call from any thread.
// stop() (also run by the destructor) cuts every open connection at once,
// answers still waiting out a delay included: stop the Qt client first.
// Qt reuses an open connection to the same origin whatever TLS settings the
// next request carries: use a fresh manager to see a new handshake. A cut
// after the header (Reply::truncated) gives error 2 with status 200; a
// refused mutual-TLS handshake 6 with status 0. The HTTP library answers 413
// to a form body or 414 to a request line over 8 KiB (not recorded).
class TestHttpsServer
{
public:
    struct Config
    {
        std::string certificatePem; // leaf first, may hold its chain
        std::string privateKeyPem;
        std::string clientCaPem;    // not empty: clients need a certificate from this CA
        bool tls13Only = false;     // a TLS 1.2 client then fails its handshake
    };
    static Config tls(const TestPki& pki);       // server certificate of pki.ca()
    static Config mutualTls(const TestPki& pki); // as tls(), clients need a certificate of pki.ca()
    static Config otherCa(const TestPki& pki);   // server certificate of pki.otherCa()

    struct Request
    {
        std::string method;
        std::string path;   // percent-decoded, without the query
        std::string target; // as on the request line
        std::string query;  // raw text after '?', empty when none
        std::multimap<std::string, std::string> headers;
        std::string body;
        std::string clientCommonName; // of the client certificate, mutual TLS only

        std::string header(const std::string& name) const; // case-insensitive; empty when absent
    };

    struct Reply
    {
        int status = 200;
        std::string body;
        std::string contentType = "application/json";
        int delayMs = 0;         // wait before answering; a stop() cuts the connection instead
        std::string location;    // sent as "Location" when not empty
        long long sendOnly = -1; // >= 0: announce body.size() bytes, send this many, then cut
        int stallMs = 0;         // with sendOnly: wait this long before the cut
        std::string gate;        // not empty: held until release(gate); a stop() cuts the connection instead

        static Reply ok(const std::string& body, const std::string& contentType = "application/json")
        {
            return Reply{200, body, contentType, 0, "", -1, 0, ""};
        }
        static Reply withStatus(int status, const std::string& body = std::string())
        {
            return Reply{status, body, "application/json", 0, "", -1, 0, ""};
        }
        static Reply redirect(const std::string& location, int status = 302)
        {
            return Reply{status, "", "application/json", 0, location, -1, 0, ""};
        }
        // Status 200 and the full length in the header, then a cut after bytesSent bytes.
        static Reply truncated(const std::string& body, long long bytesSent)
        {
            return Reply{200, body, "application/json", 0, "", bytesSent < 0 ? 0 : bytesSent, 0, ""};
        }
        static Reply delayed(int delayMs, Reply reply)
        {
            reply.delayMs = delayMs;
            return reply;
        }
        static Reply held(const std::string& gate, Reply reply)
        {
            reply.gate = gate;
            return reply;
        }
    };

    typedef std::function<Reply(const Request&)> Handler;
    enum class Match { Exact, Prefix };

    explicit TestHttpsServer(const Config& config);
    ~TestHttpsServer();
    TestHttpsServer(const TestHttpsServer&) = delete;
    TestHttpsServer& operator=(const TestHttpsServer&) = delete;

    bool start(); // false when TLS setup or binding failed; routes may come before or after
    void stop();

    int port() const;
    std::string origin() const;                             // "https://127.0.0.1:<port>"
    std::string url(const std::string& pathAndQuery) const; // origin() + pathAndQuery

    // method "*" matches every method; pattern is matched against the decoded path.
    void route(const std::string& method, const std::string& pattern, const Reply& reply, Match match = Match::Exact);
    // One reply per matching request, in order; the last one repeats.
    void route(const std::string& method, const std::string& pattern, const std::vector<Reply>& sequence,
               Match match = Match::Exact);
    void route(const std::string& method, const std::string& pattern, Handler handler, Match match = Match::Exact);

    std::vector<Request> requests() const;
    std::size_t requestCount() const;
    Request lastRequest() const; // empty Request when none
    void clearRequests();
    // Opens the gate for every answer held on it, now and later, and returns
    // once those held so far have gone on to answer.
    void release(const std::string& gate);
    // Waits until at least count requests were recorded, at most timeoutMs;
    // whileWaiting (e.g. a Qt event pump) runs between short waits.
    bool waitForRequests(std::size_t count, int timeoutMs,
                         const std::function<void()>& whileWaiting = std::function<void()>()) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

#endif
