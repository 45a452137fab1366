#ifndef ORVKIT_BENCH_POST_SERVER_H
#define ORVKIT_BENCH_POST_SERVER_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class OrvHttpsEndpoint;
class TestPki;

// The server of the POST benchmarks: the shared HTTPS endpoint (127.0.0.1,
// TLS 1.2 only, TCP_NODELAY), keeping connections open for the whole run.
// Like the cloud's front ends it reads a request's whole body before it
// answers.
class BenchPostServer
{
public:
    struct Request
    {
        std::string target;
        std::vector<std::pair<std::string, std::string>> headers;
        std::string body;
    };

    // mutualTls: clients must present a certificate issued by pki.ca().
    BenchPostServer(const TestPki& pki, bool mutualTls);
    ~BenchPostServer();

    // POSTs whose path starts with prefix get status 200 and this JSON answer.
    void route(const std::string& prefix, const std::string& answer);
    bool start();
    std::string origin() const;

    Request lastRequest() const;
    size_t requestCount() const;
    void clearRequests();

private:
    std::unique_ptr<OrvHttpsEndpoint> endpoint;
    std::map<std::string, std::string> routes;
    mutable std::mutex mutex;
    std::vector<Request> requests;
};

#endif
