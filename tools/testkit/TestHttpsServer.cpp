#include "TestHttpsServer.h"

#include "OrvHttpsEndpoint.h"
#include "OrvPki.h"
#include "TestPki.h"
#include "TestTime.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <map>
#include <set>

class TestHttpsServer::Impl
{
public:
    struct Route
    {
        std::string method;
        std::string pattern;
        Match match;
        Handler handler;
    };

    explicit Impl(const Config& cfg) : config(cfg) {}

    void serve(const httplib::Request& req, httplib::Response& res);
    // False when stop() ended the wait.
    bool waitUnlessStopping(int milliseconds)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return !changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return stopping; });
    }

    const Config config;
    std::unique_ptr<OrvHttpsEndpoint> endpoint;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    bool stopping = false;
    std::map<std::string, int> holding; // answers waiting per gate
    std::set<std::string> opened;       // released gates
    std::vector<Route> routes;
    std::vector<Request> records;
};

void TestHttpsServer::Impl::serve(const httplib::Request& req, httplib::Response& res)
{
    const size_t mark = req.target.find('?');
    Request record{req.method, req.path, req.target, mark != std::string::npos ? req.target.substr(mark + 1) : "",
                   {}, req.body, OrvPki::peerCommonName(req.ssl)};
    for (const auto& header : req.headers) // less the socket addresses that the HTTP library adds
        if (header.first != "REMOTE_ADDR" && header.first != "REMOTE_PORT" && header.first != "LOCAL_ADDR" &&
            header.first != "LOCAL_PORT")
            record.headers.insert(header);
    Handler handler;
    {
        std::lock_guard<std::mutex> lock(mutex);
        records.push_back(record);
        for (auto it = routes.rbegin(); it != routes.rend() && !handler; ++it)
            if ((it->method == "*" || it->method == record.method) &&
                (it->match == Match::Exact ? record.path == it->pattern
                                           : record.path.compare(0, it->pattern.size(), it->pattern) == 0))
                handler = it->handler;
    }
    changed.notify_all();

    const Reply reply = handler ? handler(record) : Reply::withStatus(404);
    if (reply.delayMs > 0 && !waitUnlessStopping(reply.delayMs))
        return OrvHttpsEndpoint::cut(req); // rather than answer early: the client must not see a success
    if (!reply.gate.empty()) {
        std::unique_lock<std::mutex> lock(mutex);
        ++holding[reply.gate];
        changed.notify_all();
        changed.wait(lock, [&] { return stopping || opened.count(reply.gate) != 0; });
        --holding[reply.gate];
        changed.notify_all();
        if (stopping)
            return OrvHttpsEndpoint::cut(req);
    }
    res.status = reply.status;
    if (!reply.location.empty())
        res.set_header("Location", reply.location);
    if (reply.sendOnly >= 0) {
        const size_t limit = std::min(static_cast<size_t>(reply.sendOnly), reply.body.size());
        res.set_content_provider(reply.body.size(), reply.contentType,
                                 [this, reply, limit](size_t offset, size_t length, httplib::DataSink& sink) {
                                     if (offset < limit)
                                         return sink.write(reply.body.data() + offset, std::min(length, limit - offset));
                                     if (reply.stallMs > 0)
                                         waitUnlessStopping(reply.stallMs);
                                     return false; // cuts the connection
                                 });
    } else if (!reply.body.empty()) {
        res.set_content(reply.body, reply.contentType);
    }
}

TestHttpsServer::Config TestHttpsServer::tls(const TestPki& pki)
{
    return Config{pki.server().certificatePem, pki.server().privateKeyPem, "", false};
}

TestHttpsServer::Config TestHttpsServer::mutualTls(const TestPki& pki)
{
    return Config{pki.server().certificatePem, pki.server().privateKeyPem, pki.ca().certificatePem, false};
}

TestHttpsServer::Config TestHttpsServer::otherCa(const TestPki& pki)
{
    return Config{pki.otherServer().certificatePem, pki.otherServer().privateKeyPem, "", false};
}

std::string TestHttpsServer::Request::header(const std::string& name) const
{
    for (const auto& entry : headers)
        if (entry.first.size() == name.size() &&
            std::equal(name.begin(), name.end(), entry.first.begin(), [](char a, char b) {
                return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
            }))
            return entry.second;
    return std::string();
}

TestHttpsServer::TestHttpsServer(const Config& config) : impl(new Impl(config)) {}
TestHttpsServer::~TestHttpsServer() { stop(); }

bool TestHttpsServer::start()
{
    if (impl->endpoint)
        return impl->endpoint->server().is_running();
    const Config& c = impl->config;
    const OrvPki::ServerTls tls{c.certificatePem, c.privateKeyPem, c.clientCaPem, true, c.tls13Only};
    impl->endpoint.reset(new OrvHttpsEndpoint([tls](SSL_CTX& ctx) { return OrvPki::configureServer(ctx, tls); }));
    httplib::Server& server = impl->endpoint->server();
    server.set_keep_alive_timeout(1); // a connection left open must not hold up the end
    Impl* self = impl.get();
    const httplib::Server::Handler handler = [self](const httplib::Request& req, httplib::Response& res) {
        self->serve(req, res);
    };
    server.Get(".*", handler);
    server.Post(".*", handler);
    server.Delete(".*", handler);
    impl->stopping = false; // no server thread runs yet
    std::string error;
    return impl->endpoint->start(0, error);
}

void TestHttpsServer::stop()
{
    if (!impl->endpoint)
        return;
    // Answers waiting out a delay give up; then every connection is cut.
    {
        std::lock_guard<std::mutex> lock(impl->mutex);
        impl->stopping = true;
    }
    impl->changed.notify_all();
    impl->endpoint->stop();
    impl->endpoint.reset();
}

int TestHttpsServer::port() const { return impl->endpoint ? impl->endpoint->port() : 0; }
std::string TestHttpsServer::origin() const { return "https://127.0.0.1:" + std::to_string(port()); }
std::string TestHttpsServer::url(const std::string& pathAndQuery) const { return origin() + pathAndQuery; }

void TestHttpsServer::route(const std::string& method, const std::string& pattern, const Reply& reply, Match match)
{
    route(method, pattern, Handler([reply](const Request&) { return reply; }), match);
}

void TestHttpsServer::route(const std::string& method, const std::string& pattern, const std::vector<Reply>& sequence,
                            Match match)
{
    auto next = std::make_shared<std::atomic<size_t>>(0);
    route(method, pattern, Handler([sequence, next](const Request&) {
              return sequence.empty() ? Reply::withStatus(404) : sequence[std::min(next->fetch_add(1), sequence.size() - 1)];
          }), match);
}

void TestHttpsServer::route(const std::string& method, const std::string& pattern, Handler handler, Match match)
{
    std::lock_guard<std::mutex> lock(impl->mutex);
    impl->routes.push_back(Impl::Route{method, pattern, match, std::move(handler)});
}

std::vector<TestHttpsServer::Request> TestHttpsServer::requests() const
{
    std::lock_guard<std::mutex> lock(impl->mutex);
    return impl->records;
}

std::size_t TestHttpsServer::requestCount() const
{
    std::lock_guard<std::mutex> lock(impl->mutex);
    return impl->records.size();
}

TestHttpsServer::Request TestHttpsServer::lastRequest() const
{
    std::lock_guard<std::mutex> lock(impl->mutex);
    return impl->records.empty() ? Request() : impl->records.back();
}

void TestHttpsServer::clearRequests()
{
    std::lock_guard<std::mutex> lock(impl->mutex);
    impl->records.clear();
}

void TestHttpsServer::release(const std::string& gate)
{
    std::unique_lock<std::mutex> lock(impl->mutex);
    impl->opened.insert(gate);
    impl->changed.notify_all();
    impl->changed.wait(lock, [&] { return impl->stopping || impl->holding[gate] == 0; });
}

bool TestHttpsServer::waitForRequests(std::size_t count, int timeoutMs, const std::function<void()>& whileWaiting) const
{
    const auto deadline = std::chrono::steady_clock::now() + scaled(std::chrono::milliseconds(timeoutMs));
    for (;;) {
        // With a pump to run, wake up often; otherwise wait out the deadline.
        const auto until =
            whileWaiting ? std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(2)) : deadline;
        {
            std::unique_lock<std::mutex> lock(impl->mutex);
            if (impl->changed.wait_until(lock, until, [&] { return impl->records.size() >= count; }))
                return true;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        whileWaiting();
    }
}
