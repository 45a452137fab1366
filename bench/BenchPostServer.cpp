#include "BenchPostServer.h"

#include <TestPki.h>

#include <httplib.h>
#include <openssl/ssl.h>

BenchPostServer::BenchPostServer(const TestPki& pki, bool mutualTls)
{
    const std::string certificate = pki.server().certificatePath;
    const std::string key = pki.server().privateKeyPath;
    const std::string ca = mutualTls ? pki.ca().certificatePath : std::string();
    server.reset(new httplib::SSLServer([certificate, key, ca](SSL_CTX& context) {
        SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION);
        SSL_CTX_set_max_proto_version(&context, TLS1_2_VERSION);
        if (SSL_CTX_use_certificate_chain_file(&context, certificate.c_str()) != 1 ||
            SSL_CTX_use_PrivateKey_file(&context, key.c_str(), SSL_FILETYPE_PEM) != 1)
            return false;
        if (!ca.empty()) {
            if (SSL_CTX_load_verify_locations(&context, ca.c_str(), nullptr) != 1)
                return false;
            SSL_CTX_set_verify(&context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        }
        return true;
    }));
    // Every kept-open connection holds one thread: room for all the clients of a run.
    server->new_task_queue = [] { return new httplib::ThreadPool(32); };
    server->set_tcp_nodelay(true);
    server->set_keep_alive_timeout(3600);
    server->set_keep_alive_max_count(1000000);
    // The library has read the whole body by the time a handler runs.
    server->Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
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
    server->stop();
    if (thread.joinable())
        thread.join();
}

void BenchPostServer::route(const std::string& prefix, const std::string& answer)
{
    std::lock_guard<std::mutex> lock(mutex);
    routes[prefix] = answer;
}

bool BenchPostServer::start()
{
    if (!server->is_valid())
        return false;
    port = server->bind_to_any_port("127.0.0.1");
    if (port <= 0)
        return false;
    thread = std::thread([this] { server->listen_after_bind(); });
    return true;
}

std::string BenchPostServer::origin() const
{
    return "https://127.0.0.1:" + std::to_string(port);
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
