#ifndef ORVKIT_TEST_HTTPS_SERVER_H
#define ORVKIT_TEST_HTTPS_SERVER_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class TestPki;

// In-process HTTPS server for network tests. It listens on 127.0.0.1 on an
// ephemeral port, serves on threads of its own, speaks TLS 1.2 only (or TLS
// 1.3 only, when asked) and, in mutual-TLS mode, refuses every client
// without a certificate from the configured CA.
//
//   TestPki pki;
//   TestHttpsServer server(TestHttpsServer::tls(pki));
//   server.route("GET", "/api/items", TestHttpsServer::Reply::ok("{}"));
//   ASSERT_TRUE(server.start());
//   ... send to server.url("/api/items?x=1") ...
//   TestHttpsServer::Request seen = server.lastRequest();
//
// Every request is recorded before its route runs. A request that matches
// no route gets 404 with an empty body. Routes are tried newest first, so a
// test can override a broader route added earlier. All members are safe to
// call from any thread.
//
// stop() (also run by the destructor) is quick: it cuts every open
// connection, including idle keep-alive ones and answers still waiting out
// a delay. Delete or stop the Qt client first anyway, so that it does not
// see those cuts as failures.
//
// Worth knowing when testing a Qt client against it:
// - QNetworkAccessManager reuses an open connection to the same origin
//   whatever TLS settings the next request carries; use a fresh manager
//   when a test must see a new handshake (e.g. "without client certificate").
// - A cut after the header (Reply::truncated) gives RemoteHostClosedError (2)
//   with status 200; a refused mutual-TLS handshake gives 6 with status 0.
// - The HTTP library answers 413 to a form-encoded body over 8 KiB and 414
//   to a request line over 8 KiB, before any route runs (not recorded).
class TestHttpsServer
{
public:
    struct Config
    {
        std::string certificatePem; // server certificate (leaf first, may hold its chain)
        std::string privateKeyPem;
        std::string clientCaPem;    // not empty: mutual TLS, clients need a certificate from this CA
        bool tls13Only = false;     // TLS 1.3 instead of 1.2: a TLS 1.2 client fails its handshake
    };
    // Server certificate of pki.ca(); no client certificate asked for.
    static Config tls(const TestPki& pki);
    // As tls(), and clients must present a certificate issued by pki.ca().
    static Config mutualTls(const TestPki& pki);
    // Server certificate of pki.otherCa(), for clients that trust only pki.ca().
    static Config otherCa(const TestPki& pki);

    struct Request
    {
        std::string method;
        std::string path;             // percent-decoded, without the query
        std::string target;           // as on the request line
        std::string query;            // raw text after '?', empty when none
        std::multimap<std::string, std::string> params; // decoded query fields ('+' reads as a space);
                                                        // form-encoded POST bodies add theirs
        std::multimap<std::string, std::string> headers; // names as sent
        std::string body;
        std::string clientCommonName; // subject CN of the client certificate, mutual TLS only

        // Case-insensitive; empty when absent.
        std::string header(const std::string& name) const;
        bool hasHeader(const std::string& name) const;
        // First value of a decoded query/form field; empty when absent.
        std::string param(const std::string& name) const;
    };

    struct Reply
    {
        int status = 200;
        std::string body;
        std::string contentType = "application/json";
        std::vector<std::pair<std::string, std::string>> headers;
        int delayMs = 0;         // wait before answering; a stop() cuts the connection instead
        std::string location;    // sent as "Location" when not empty
        long long sendOnly = -1; // >= 0: announce body.size() bytes, send only this many, then cut the connection
        int stallMs = 0;         // with sendOnly: wait this long after the partial body before the cut

        static Reply ok(const std::string& body, const std::string& contentType = "application/json");
        static Reply withStatus(int status, const std::string& body = std::string());
        static Reply redirect(const std::string& location, int status = 302);
        // Status 200 and the full length in the header, then a cut after bytesSent bytes.
        static Reply truncated(const std::string& body, long long bytesSent);
        static Reply delayed(int delayMs, Reply reply);
    };

    typedef std::function<Reply(const Request&)> Handler;

    enum class Match { Exact, Prefix, Regex };

    explicit TestHttpsServer(const Config& config);
    ~TestHttpsServer();
    TestHttpsServer(const TestHttpsServer&) = delete;
    TestHttpsServer& operator=(const TestHttpsServer&) = delete;

    // Binds and starts serving; false when TLS setup or binding failed.
    // Routes may be added before or after start().
    bool start();
    void stop();
    bool isRunning() const;

    int port() const;
    std::string origin() const;                        // "https://127.0.0.1:<port>"
    std::string url(const std::string& pathAndQuery) const; // origin() + pathAndQuery

    // method "*" matches every method; pattern is matched against the decoded path.
    void route(const std::string& method, const std::string& pattern, const Reply& reply,
               Match match = Match::Exact);
    // One reply per matching request, in order; the last one repeats.
    void route(const std::string& method, const std::string& pattern, const std::vector<Reply>& sequence,
               Match match = Match::Exact);
    void route(const std::string& method, const std::string& pattern, Handler handler,
               Match match = Match::Exact);
    void clearRoutes();

    std::vector<Request> requests() const;
    std::size_t requestCount() const;
    Request lastRequest() const; // empty Request when none
    void clearRequests();
    // Waits until at least count requests have been recorded, at most
    // timeoutMs. whileWaiting (e.g. a Qt event pump) runs between short waits,
    // so a client on the waiting thread can make progress.
    bool waitForRequests(std::size_t count, int timeoutMs,
                         const std::function<void()>& whileWaiting = std::function<void()>()) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

#endif
