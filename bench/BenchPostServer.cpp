#include "BenchPostServer.h"

#include <OrvHttpsEndpoint.h>
#include <OrvPki.h>
#include <TestPki.h>

BenchPostServer::BenchPostServer(const TestPki& pki, bool mutualTls)
{
    const OrvPki::ServerTls tls{pki.server().certificatePem, pki.server().privateKeyPem,
                                mutualTls ? pki.ca().certificatePem : std::string(), true, false};
    endpoint.reset(new OrvHttpsEndpoint([tls](SSL_CTX& context) { return OrvPki::configureServer(context, tls); }));
    httplib::Server& server = endpoint->server();
    // Every kept-open connection holds one thread: room for all the clients of a run.
    server.new_task_queue = [] { return new httplib::ThreadPool(32); };
    server.set_keep_alive_timeout(3600);
    server.set_keep_alive_max_count(1000000);
    // The library has read the whole body by the time a handler runs.
    server.Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
        Request seen{request.target, {}, request.body};
        for (const auto& header : request.headers)
            seen.headers.emplace_back(header.first, header.second);
        std::string answer;
        bool found = false;
        {
            std::lock_guard<std::mutex> lock(mutex);
            requests.push_back(seen);
            for (const auto& route : routes) {
                if (request.path.compare(0, route.first.size(), route.first) == 0) {
                    answer = route.second;
                    found = true;
                }
            }
        }
        response.status = found ? 200 : 404;
        response.set_content(answer, "application/json");
    });
}

BenchPostServer::~BenchPostServer()
{
    endpoint->stop(); // before the handlers' state goes
}

void BenchPostServer::route(const std::string& prefix, const std::string& answer)
{
    std::lock_guard<std::mutex> lock(mutex);
    routes[prefix] = answer;
}

bool BenchPostServer::start()
{
    std::string error;
    return endpoint->start(0, error);
}

std::string BenchPostServer::origin() const
{
    return endpoint->origin();
}

BenchPostServer::Request BenchPostServer::lastRequest() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return requests.empty() ? Request() : requests.back();
}

size_t BenchPostServer::requestCount() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return requests.size();
}

void BenchPostServer::clearRequests()
{
    std::lock_guard<std::mutex> lock(mutex);
    requests.clear();
}
