#include "TestHttpsServer.h"

#include "OrvHttpsEndpoint.h"
#include "OrvPki.h"
#include "TestPki.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <regex>

namespace {

bool equalsIgnoreCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

} // namespace

class TestHttpsServer::Impl
{
public:
    struct Route
    {
        std::string method;
        std::string pattern;
        Match match;
        std::regex regex;
        Handler handler;
    };

    explicit Impl(const Config& cfg) : config(cfg) {}

    void serve(const httplib::Request& req, httplib::Response& res);
    Handler findHandler(const std::string& method, const std::string& path) const;
    // False when stop() ended the wait.
    bool waitUnlessStopping(int milliseconds);

    const Config config;
    std::unique_ptr<OrvHttpsEndpoint> endpoint;

    mutable std::mutex stateMutex;
    mutable std::condition_variable stateChanged;
    bool stopping = false;
    std::vector<Route> routes;
    std::vector<Request> records;
};

bool TestHttpsServer::Impl::waitUnlessStopping(int milliseconds)
{
    std::unique_lock<std::mutex> lock(stateMutex);
    return !stateChanged.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return stopping; });
}

TestHttpsServer::Handler TestHttpsServer::Impl::findHandler(const std::string& method, const std::string& path) const
{
    std::lock_guard<std::mutex> lock(stateMutex);
    for (auto it = routes.rbegin(); it != routes.rend(); ++it) {
        const bool matches = it->match == Match::Exact    ? path == it->pattern
                             : it->match == Match::Prefix ? path.compare(0, it->pattern.size(), it->pattern) == 0
                                                          : std::regex_match(path, it->regex);
        if ((it->method == "*" || it->method == method) && matches) {
            return it->handler;
        }
    }
    return Handler();
}

void TestHttpsServer::Impl::serve(const httplib::Request& req, httplib::Response& res)
{
    Request record;
    record.method = req.method;
    record.path = req.path;
    record.target = req.target;
    const size_t mark = req.target.find('?');
    if (mark != std::string::npos) {
        record.query = req.target.substr(mark + 1);
    }
    record.params.insert(req.params.begin(), req.params.end());
    for (const auto& header : req.headers) {
        // The library adds the socket addresses as pseudo headers.
        if (header.first != "REMOTE_ADDR" && header.first != "REMOTE_PORT" && header.first != "LOCAL_ADDR" &&
            header.first != "LOCAL_PORT") {
            record.headers.insert(header);
        }
    }
    record.body = req.body;
    record.clientCommonName = OrvPki::peerCommonName(req.ssl);
    {
        std::lock_guard<std::mutex> lock(stateMutex);
        records.push_back(record);
    }
    stateChanged.notify_all();

    Handler handler = findHandler(record.method, record.path);
    const Reply reply = handler ? handler(record) : Reply::withStatus(404);

    if (reply.delayMs > 0 && !waitUnlessStopping(reply.delayMs)) {
        // Cut rather than answer early: the client must not see a success.
        OrvHttpsEndpoint::cut(req);
        return;
    }

    res.status = reply.status;
    for (const auto& header : reply.headers) {
        res.set_header(header.first, header.second);
    }
    if (!reply.location.empty()) {
        res.set_header("Location", reply.location);
    }
    if (reply.sendOnly >= 0) {
        auto body = std::make_shared<std::string>(reply.body);
        const size_t limit = std::min(static_cast<size_t>(reply.sendOnly), body->size());
        const int stallMs = reply.stallMs;
        res.set_content_provider(
            body->size(), reply.contentType,
            [this, body, limit, stallMs](size_t offset, size_t length, httplib::DataSink& sink) {
                if (offset >= limit) {
                    if (stallMs > 0) {
                        waitUnlessStopping(stallMs);
                    }
                    return false; // cuts the connection
                }
                sink.write(body->data() + offset, std::min(length, limit - offset));
                return true;
            });
    } else if (!reply.body.empty()) {
        res.set_content(reply.body, reply.contentType);
    }
}

TestHttpsServer::Config TestHttpsServer::tls(const TestPki& pki)
{
    Config config;
    config.certificatePem = pki.server().certificatePem;
    config.privateKeyPem = pki.server().privateKeyPem;
    return config;
}

TestHttpsServer::Config TestHttpsServer::mutualTls(const TestPki& pki)
{
    Config config = tls(pki);
    config.clientCaPem = pki.ca().certificatePem;
    return config;
}

TestHttpsServer::Config TestHttpsServer::otherCa(const TestPki& pki)
{
    Config config;
    config.certificatePem = pki.otherServer().certificatePem;
    config.privateKeyPem = pki.otherServer().privateKeyPem;
    return config;
}

std::string TestHttpsServer::Request::header(const std::string& name) const
{
    for (const auto& entry : headers) {
        if (equalsIgnoreCase(entry.first, name)) {
            return entry.second;
        }
    }
    return std::string();
}

bool TestHttpsServer::Request::hasHeader(const std::string& name) const
{
    for (const auto& entry : headers) {
        if (equalsIgnoreCase(entry.first, name)) {
            return true;
        }
    }
    return false;
}

std::string TestHttpsServer::Request::param(const std::string& name) const
{
    auto it = params.find(name);
    return it != params.end() ? it->second : std::string();
}

TestHttpsServer::Reply TestHttpsServer::Reply::ok(const std::string& body, const std::string& contentType)
{
    Reply reply;
    reply.body = body;
    reply.contentType = contentType;
    return reply;
}

TestHttpsServer::Reply TestHttpsServer::Reply::withStatus(int status, const std::string& body)
{
    Reply reply;
    reply.status = status;
    reply.body = body;
    return reply;
}

TestHttpsServer::Reply TestHttpsServer::Reply::redirect(const std::string& location, int status)
{
    Reply reply;
    reply.status = status;
    reply.location = location;
    return reply;
}

TestHttpsServer::Reply TestHttpsServer::Reply::truncated(const std::string& body, long long bytesSent)
{
    Reply reply;
    reply.body = body;
    reply.sendOnly = std::max(0LL, bytesSent);
    return reply;
}

TestHttpsServer::Reply TestHttpsServer::Reply::delayed(int delayMs, Reply reply)
{
    reply.delayMs = delayMs;
    return reply;
}

TestHttpsServer::TestHttpsServer(const Config& config) : impl(new Impl(config))
{
}

TestHttpsServer::~TestHttpsServer()
{
    stop();
}

bool TestHttpsServer::start()
{
    if (impl->endpoint) {
        return isRunning();
    }
    OrvPki::ServerTls tls;
    tls.certificatePem = impl->config.certificatePem;
    tls.privateKeyPem = impl->config.privateKeyPem;
    tls.clientCaPem = impl->config.clientCaPem;
    tls.tls13Only = impl->config.tls13Only;
    impl->endpoint.reset(new OrvHttpsEndpoint([tls](SSL_CTX& ctx) { return OrvPki::configureServer(ctx, tls); }));
    httplib::Server& server = impl->endpoint->server();
    // Short idle time so that a connection left open does not hold up the end.
    server.set_keep_alive_timeout(1);
    Impl* self = impl.get();
    const httplib::Server::Handler handler = [self](const httplib::Request& req, httplib::Response& res) {
        self->serve(req, res);
    };
    server.Get(".*", handler);
    server.Post(".*", handler);
    server.Put(".*", handler);
    server.Patch(".*", handler);
    server.Delete(".*", handler);
    server.Options(".*", handler);
    {
        std::lock_guard<std::mutex> lock(impl->stateMutex);
        impl->stopping = false;
    }
    std::string error;
    return impl->endpoint->start(0, error);
}

void TestHttpsServer::stop()
{
    if (!impl->endpoint) {
        return;
    }
    // Answers waiting out a delay give up; then every connection is cut.
    {
        std::lock_guard<std::mutex> lock(impl->stateMutex);
        impl->stopping = true;
    }
    impl->stateChanged.notify_all();
    impl->endpoint->stop();
    impl->endpoint.reset();
}

bool TestHttpsServer::isRunning() const
{
    return impl->endpoint && impl->endpoint->server().is_running();
}

int TestHttpsServer::port() const
{
    return impl->endpoint ? impl->endpoint->port() : 0;
}

std::string TestHttpsServer::origin() const
{
    return "https://127.0.0.1:" + std::to_string(port());
}

std::string TestHttpsServer::url(const std::string& pathAndQuery) const
{
    return origin() + pathAndQuery;
}

void TestHttpsServer::route(const std::string& method, const std::string& pattern, const Reply& reply, Match match)
{
    route(method, pattern, Handler([reply](const Request&) { return reply; }), match);
}

void TestHttpsServer::route(const std::string& method, const std::string& pattern, const std::vector<Reply>& sequence,
                            Match match)
{
    if (sequence.empty()) {
        route(method, pattern, Reply::withStatus(404), match);
        return;
    }
    auto next = std::make_shared<std::atomic<size_t>>(0);
    route(method, pattern,
          Handler([sequence, next](const Request&) {
              const size_t index = next->fetch_add(1);
              return sequence[std::min(index, sequence.size() - 1)];
          }),
          match);
}

void TestHttpsServer::route(const std::string& method, const std::string& pattern, Handler handler, Match match)
{
    Impl::Route entry;
    entry.method = method;
    entry.pattern = pattern;
    entry.match = match;
    if (match == Match::Regex) {
        entry.regex = std::regex(pattern); // a bad pattern throws std::regex_error here, in the test
    }
    entry.handler = std::move(handler);
    std::lock_guard<std::mutex> lock(impl->stateMutex);
    impl->routes.push_back(std::move(entry));
}

void TestHttpsServer::clearRoutes()
{
    std::lock_guard<std::mutex> lock(impl->stateMutex);
    impl->routes.clear();
}

std::vector<TestHttpsServer::Request> TestHttpsServer::requests() const
{
    std::lock_guard<std::mutex> lock(impl->stateMutex);
    return impl->records;
}

std::size_t TestHttpsServer::requestCount() const
{
    std::lock_guard<std::mutex> lock(impl->stateMutex);
    return impl->records.size();
}

TestHttpsServer::Request TestHttpsServer::lastRequest() const
{
    std::lock_guard<std::mutex> lock(impl->stateMutex);
    return impl->records.empty() ? Request() : impl->records.back();
}

void TestHttpsServer::clearRequests()
{
    std::lock_guard<std::mutex> lock(impl->stateMutex);
    impl->records.clear();
}

bool TestHttpsServer::waitForRequests(std::size_t count, int timeoutMs, const std::function<void()>& whileWaiting) const
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(impl->stateMutex);
            if (impl->records.size() >= count) {
                return true;
            }
            const auto now = std::chrono::steady_clock::now();
            if (now >= deadline) {
                return false;
            }
            const auto slice = whileWaiting ? std::chrono::milliseconds(2)
                                            : std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
            impl->stateChanged.wait_for(lock, slice, [&] { return impl->records.size() >= count; });
            if (impl->records.size() >= count) {
                return true;
            }
        }
        if (whileWaiting) {
            whileWaiting();
        }
    }
}
