#include "TestHttpsServer.h"

#include "TestPki.h"

#include <httplib.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <regex>
#include <thread>

namespace {

bool equalsIgnoreCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

struct X509Free { void operator()(X509* p) const { X509_free(p); } };
struct BioFree { void operator()(BIO* p) const { BIO_free(p); } };
struct PkeyFree { void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); } };
using X509Ptr = std::unique_ptr<X509, X509Free>;

std::vector<X509Ptr> readCertificates(const std::string& pem)
{
    std::vector<X509Ptr> out;
    std::unique_ptr<BIO, BioFree> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    while (bio) {
        X509* cert = PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr);
        if (cert == nullptr) {
            break;
        }
        out.emplace_back(cert);
    }
    return out;
}

std::string commonNameOf(X509* cert)
{
    X509_NAME* name = X509_get_subject_name(cert);
    const int index = name != nullptr ? X509_NAME_get_index_by_NID(name, NID_commonName, -1) : -1;
    if (index < 0) {
        return std::string();
    }
    unsigned char* utf8 = nullptr;
    const int length = ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
    if (length < 0) {
        return std::string();
    }
    std::string text(reinterpret_cast<char*>(utf8), static_cast<size_t>(length));
    OPENSSL_free(utf8);
    return text;
}

std::string peerCommonName(const SSL* ssl)
{
    if (ssl == nullptr) {
        return std::string();
    }
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
    X509Ptr cert(SSL_get1_peer_certificate(ssl));
#else
    X509Ptr cert(SSL_get_peer_certificate(ssl));
#endif
    return cert ? commonNameOf(cert.get()) : std::string();
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

    bool setupContext(SSL_CTX& ctx);
    void serve(const httplib::Request& req, httplib::Response& res);
    Handler findHandler(const std::string& method, const std::string& path) const;
    void closeOpenConnections();
    // False when stop() ended the wait.
    bool waitUnlessStopping(int milliseconds);
    static void cutConnection(const httplib::Request& req);

    static int sslIndex();
    static int ctxIndex();
    static void onInfo(const SSL* ssl, int where, int ret);
    static void onSslFree(void* parent, void* ptr, CRYPTO_EX_DATA* data, int index, long argl, void* argp);

    const Config config;
    std::unique_ptr<httplib::SSLServer> server;
    std::thread thread;
    std::atomic<int> boundPort{0};

    mutable std::mutex stateMutex;
    mutable std::condition_variable stateChanged;
    bool stopping = false;
    bool threadDone = false;
    std::vector<Route> routes;
    std::vector<Request> records;

    // Live TLS connections, so that stop() can cut idle keep-alive ones.
    // An entry leaves when its SSL object is freed, which happens before
    // the socket is closed; holding the lock therefore keeps the fd valid.
    std::mutex connectionMutex;
    std::map<SSL*, int> connections;
};

int TestHttpsServer::Impl::sslIndex()
{
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, &Impl::onSslFree);
    return index;
}

int TestHttpsServer::Impl::ctxIndex()
{
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

void TestHttpsServer::Impl::onInfo(const SSL* ssl, int where, int ret)
{
    (void)ret;
    if ((where & SSL_CB_HANDSHAKE_START) == 0) {
        return;
    }
    Impl* self = static_cast<Impl*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), ctxIndex()));
    if (self == nullptr) {
        return;
    }
    SSL* mutableSsl = const_cast<SSL*>(ssl);
    std::lock_guard<std::mutex> lock(self->connectionMutex);
    self->connections[mutableSsl] = SSL_get_fd(ssl);
    SSL_set_ex_data(mutableSsl, sslIndex(), self);
}

void TestHttpsServer::Impl::onSslFree(void* parent, void* ptr, CRYPTO_EX_DATA* data, int index, long argl,
                                      void* argp)
{
    (void)data;
    (void)index;
    (void)argl;
    (void)argp;
    Impl* self = static_cast<Impl*>(ptr);
    if (self == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(self->connectionMutex);
    self->connections.erase(static_cast<SSL*>(parent));
}

void TestHttpsServer::Impl::closeOpenConnections()
{
    std::lock_guard<std::mutex> lock(connectionMutex);
    for (const auto& connection : connections) {
        if (connection.second >= 0) {
            ::shutdown(connection.second, SHUT_RDWR);
        }
    }
}

bool TestHttpsServer::Impl::waitUnlessStopping(int milliseconds)
{
    std::unique_lock<std::mutex> lock(stateMutex);
    return !stateChanged.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return stopping; });
}

void TestHttpsServer::Impl::cutConnection(const httplib::Request& req)
{
    // Runs on the connection's own thread, so the descriptor is still open.
    const int fd = req.ssl != nullptr ? SSL_get_fd(req.ssl) : -1;
    if (fd >= 0) {
        ::shutdown(fd, SHUT_RDWR);
    }
}

bool TestHttpsServer::Impl::setupContext(SSL_CTX& ctx)
{
    std::vector<X509Ptr> chain = readCertificates(config.certificatePem);
    if (chain.empty() || SSL_CTX_use_certificate(&ctx, chain.front().get()) != 1) {
        return false;
    }
    for (size_t i = 1; i < chain.size(); ++i) {
        if (SSL_CTX_add1_chain_cert(&ctx, chain[i].get()) != 1) {
            return false;
        }
    }
    std::unique_ptr<BIO, BioFree> bio(
        BIO_new_mem_buf(config.privateKeyPem.data(), static_cast<int>(config.privateKeyPem.size())));
    std::unique_ptr<EVP_PKEY, PkeyFree> key(
        bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr) : nullptr);
    if (!key || SSL_CTX_use_PrivateKey(&ctx, key.get()) != 1 || SSL_CTX_check_private_key(&ctx) != 1) {
        return false;
    }
    const int version = config.tls13Only ? TLS1_3_VERSION : TLS1_2_VERSION;
    SSL_CTX_set_min_proto_version(&ctx, version);
    SSL_CTX_set_max_proto_version(&ctx, version);

    if (!config.clientCaPem.empty()) {
        std::vector<X509Ptr> cas = readCertificates(config.clientCaPem);
        if (cas.empty()) {
            return false;
        }
        X509_STORE* store = SSL_CTX_get_cert_store(&ctx);
        for (const X509Ptr& ca : cas) {
            if (X509_STORE_add_cert(store, ca.get()) != 1 || SSL_CTX_add_client_CA(&ctx, ca.get()) != 1) {
                return false;
            }
        }
        SSL_CTX_set_verify(&ctx, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    }

    sslIndex();
    SSL_CTX_set_ex_data(&ctx, ctxIndex(), this);
    SSL_CTX_set_info_callback(&ctx, &Impl::onInfo);
    return true;
}

TestHttpsServer::Handler TestHttpsServer::Impl::findHandler(const std::string& method, const std::string& path) const
{
    std::lock_guard<std::mutex> lock(stateMutex);
    for (auto it = routes.rbegin(); it != routes.rend(); ++it) {
        if (it->method != "*" && it->method != method) {
            continue;
        }
        bool matches = false;
        switch (it->match) {
        case Match::Exact:
            matches = path == it->pattern;
            break;
        case Match::Prefix:
            matches = path.compare(0, it->pattern.size(), it->pattern) == 0;
            break;
        case Match::Regex:
            matches = std::regex_match(path, it->regex);
            break;
        }
        if (matches) {
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
        if (header.first == "REMOTE_ADDR" || header.first == "REMOTE_PORT" || header.first == "LOCAL_ADDR" ||
            header.first == "LOCAL_PORT") {
            continue;
        }
        record.headers.insert(header);
    }
    record.body = req.body;
    record.clientCommonName = peerCommonName(req.ssl);

    {
        std::lock_guard<std::mutex> lock(stateMutex);
        records.push_back(record);
    }
    stateChanged.notify_all();

    Handler handler = findHandler(record.method, record.path);
    const Reply reply = handler ? handler(record) : Reply::withStatus(404);

    if (reply.delayMs > 0 && !waitUnlessStopping(reply.delayMs)) {
        // Cut rather than answer early: the client must not see a success.
        cutConnection(req);
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
    if (impl->server) {
        return isRunning();
    }
    // A client that went away must not kill the process on the next write.
    struct sigaction current;
    if (sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
        std::signal(SIGPIPE, SIG_IGN);
    }

    Impl* self = impl.get();
    impl->server.reset(new httplib::SSLServer([self](SSL_CTX& ctx) { return self->setupContext(ctx); }));
    httplib::SSLServer& server = *impl->server;
    if (!server.is_valid()) {
        return false;
    }
    // Short idle time so that a connection left open does not hold up the end.
    server.set_keep_alive_timeout(1);
    server.set_keep_alive_max_count(100);
    // Headers and body go out in separate writes; Nagle would hold the body back.
    server.set_tcp_nodelay(true);
    const httplib::Server::Handler handler = [self](const httplib::Request& req, httplib::Response& res) {
        self->serve(req, res);
    };
    server.Get(".*", handler);
    server.Post(".*", handler);
    server.Put(".*", handler);
    server.Patch(".*", handler);
    server.Delete(".*", handler);
    server.Options(".*", handler);

    const int port = server.bind_to_any_port("127.0.0.1");
    if (port <= 0) {
        return false;
    }
    impl->boundPort = port;
    {
        std::lock_guard<std::mutex> lock(impl->stateMutex);
        impl->stopping = false;
        impl->threadDone = false;
    }
    impl->thread = std::thread([self] {
        self->server->listen_after_bind();
        {
            std::lock_guard<std::mutex> lock(self->stateMutex);
            self->threadDone = true;
        }
        self->stateChanged.notify_all();
    });
    // stop() only works once the accept loop runs.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!server.is_running() && std::chrono::steady_clock::now() < deadline) {
        std::unique_lock<std::mutex> lock(impl->stateMutex);
        if (impl->threadDone) {
            break;
        }
        impl->stateChanged.wait_for(lock, std::chrono::milliseconds(1));
    }
    return server.is_running();
}

void TestHttpsServer::stop()
{
    if (!impl->server) {
        return;
    }
    if (impl->thread.joinable()) {
        // Wait for the accept loop to start (start() timed out otherwise), then end it.
        while (!impl->server->is_running()) {
            std::unique_lock<std::mutex> lock(impl->stateMutex);
            if (impl->threadDone) {
                break;
            }
            impl->stateChanged.wait_for(lock, std::chrono::milliseconds(1));
        }
        impl->server->stop();
    }
    // No new connections from here on; answers waiting out a delay give up.
    {
        std::lock_guard<std::mutex> lock(impl->stateMutex);
        impl->stopping = true;
    }
    impl->stateChanged.notify_all();
    if (impl->thread.joinable()) {
        // Connections may still start after a sweep; sweep until the server's thread is done.
        for (;;) {
            impl->closeOpenConnections();
            std::unique_lock<std::mutex> lock(impl->stateMutex);
            if (impl->stateChanged.wait_for(lock, std::chrono::milliseconds(20), [this] { return impl->threadDone; })) {
                break;
            }
        }
        impl->thread.join();
    }
    impl->server.reset();
    impl->boundPort = 0;
}

bool TestHttpsServer::isRunning() const
{
    return impl->server && impl->server->is_running();
}

int TestHttpsServer::port() const
{
    return impl->boundPort;
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
