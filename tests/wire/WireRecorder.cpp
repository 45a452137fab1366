#include "WireRecorder.h"
#include "Loopback.h"
#include "TestTime.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace {

// The server's choice: "h2" whenever the client lists it, else "http/1.1".
int selectProtocol(SSL*, const unsigned char** out, unsigned char* outLength, const unsigned char* in,
                   unsigned int inLength, void*)
{
    static const unsigned char offered[] = "\x02h2\x08http/1.1";
    unsigned char* chosen = nullptr;
    if (SSL_select_next_proto(&chosen, outLength, offered, sizeof(offered) - 1, in, inLength) !=
        OPENSSL_NPN_NEGOTIATED)
        return SSL_TLSEXT_ERR_NOACK;
    *out = chosen;
    return SSL_TLSEXT_ERR_OK;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// Content-Length of a header block; 0 when absent or unreadable.
size_t contentLength(const std::string& head)
{
    const std::string lowered = lower(head);
    const size_t at = lowered.find("\r\ncontent-length:");
    if (at == std::string::npos)
        return 0;
    return static_cast<size_t>(std::strtoull(head.c_str() + at + 17, nullptr, 10));
}

} // namespace

class WireRecorder::Impl
{
public:
    std::string name;
    Handler handler;
    SSL_CTX* ctx = nullptr;
    int listenFd = -1;
    int port = 0;
    std::thread acceptThread;
    std::atomic<bool> stopping{false};
    mutable std::mutex mutex;
    std::string log;
    int recorded = 0;
    mutable std::condition_variable changed;
    std::set<int> openFds;
    std::vector<std::thread> workers;

    bool setUp(const std::string& certificatePem, const std::string& keyPem, const std::string& clientCaPem)
    {
        ctx = SSL_CTX_new(TLS_server_method());
        if (ctx == nullptr)
            return false;
        SSL_CTX_set_min_proto_version(ctx, TLS1_2_VERSION);
        SSL_CTX_set_alpn_select_cb(ctx, selectProtocol, nullptr);
        BIO* certificates = BIO_new_mem_buf(certificatePem.data(), static_cast<int>(certificatePem.size()));
        X509* leaf = PEM_read_bio_X509(certificates, nullptr, nullptr, nullptr);
        bool ok = leaf != nullptr && SSL_CTX_use_certificate(ctx, leaf) == 1;
        X509_free(leaf);
        BIO_free(certificates);
        BIO* keyBio = BIO_new_mem_buf(keyPem.data(), static_cast<int>(keyPem.size()));
        EVP_PKEY* key = PEM_read_bio_PrivateKey(keyBio, nullptr, nullptr, nullptr);
        ok = ok && key != nullptr && SSL_CTX_use_PrivateKey(ctx, key) == 1;
        EVP_PKEY_free(key);
        BIO_free(keyBio);
        if (ok && !clientCaPem.empty()) {
            BIO* caBio = BIO_new_mem_buf(clientCaPem.data(), static_cast<int>(clientCaPem.size()));
            X509* ca = PEM_read_bio_X509(caBio, nullptr, nullptr, nullptr);
            ok = ca != nullptr && X509_STORE_add_cert(SSL_CTX_get_cert_store(ctx), ca) == 1;
            X509_free(ca);
            BIO_free(caBio);
            SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        }
        return ok;
    }

    void record(SSL* ssl, const std::string& bytes)
    {
        const unsigned char* alpn = nullptr;
        unsigned int alpnLength = 0;
        SSL_get0_alpn_selected(ssl, &alpn, &alpnLength);
        std::string text = bytes;
        const std::string portText = ":" + std::to_string(port);
        for (size_t at = 0; (at = text.find(portText, at)) != std::string::npos;)
            text.replace(at, portText.size(), ":<port>");
        std::lock_guard<std::mutex> lock(mutex);
        log += "== " + name + ", " + SSL_get_version(ssl) + ", ALPN " +
               (alpnLength == 0 ? std::string("none") : std::string(reinterpret_cast<const char*>(alpn), alpnLength)) +
               "\n" + text + "\n";
        ++recorded;
        changed.notify_all();
    }

    void serve(int fd)
    {
        SSL* ssl = SSL_new(ctx);
        SSL_set_fd(ssl, fd);
        if (SSL_accept(ssl) == 1) {
            const unsigned char* alpn = nullptr;
            unsigned int alpnLength = 0;
            SSL_get0_alpn_selected(ssl, &alpn, &alpnLength);
            if (alpnLength == 2 && std::memcmp(alpn, "h2", 2) == 0)
                record(ssl, "");
            else
                exchange(ssl);
        }
        SSL_shutdown(ssl);
        SSL_free(ssl);
        {
            std::lock_guard<std::mutex> lock(mutex);
            openFds.erase(fd);
        }
        ::close(fd);
    }

    void exchange(SSL* ssl)
    {
        std::string pending;
        char buffer[16384];
        for (;;) {
            size_t headEnd;
            while ((headEnd = pending.find("\r\n\r\n")) == std::string::npos) {
                const int got = SSL_read(ssl, buffer, sizeof buffer);
                if (got <= 0)
                    return;
                pending.append(buffer, static_cast<size_t>(got));
            }
            const size_t total = headEnd + 4 + contentLength(pending.substr(0, headEnd + 2));
            while (pending.size() < total) {
                const int got = SSL_read(ssl, buffer, sizeof buffer);
                if (got <= 0)
                    return;
                pending.append(buffer, static_cast<size_t>(got));
            }
            const std::string request = pending.substr(0, total);
            pending.erase(0, total);
            record(ssl, request);
            const size_t methodEnd = request.find(' ');
            const size_t targetEnd = request.find(' ', methodEnd + 1);
            const Answer answer = handler(request.substr(0, methodEnd),
                                          request.substr(methodEnd + 1, targetEnd - methodEnd - 1));
            const std::string response = "HTTP/1.1 " + std::to_string(answer.status) +
                                         " Answer\r\nContent-Type: application/json\r\n" +
                                         (answer.contentEncoding.empty()
                                              ? std::string()
                                              : "Content-Encoding: " + answer.contentEncoding + "\r\n") +
                                         "Content-Length: " +
                                         std::to_string(answer.body.size()) + "\r\n\r\n" + answer.body;
            if (SSL_write(ssl, response.data(), static_cast<int>(response.size())) <= 0)
                return;
        }
    }

    void acceptLoop()
    {
        while (!stopping) {
            pollfd waiting{listenFd, POLLIN, 0};
            if (poll(&waiting, 1, 50) <= 0)
                continue;
            const int fd = ::accept(listenFd, nullptr, nullptr);
            if (fd < 0)
                continue;
            const int one = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            std::lock_guard<std::mutex> lock(mutex);
            openFds.insert(fd);
            workers.emplace_back(&Impl::serve, this, fd);
        }
    }
};

WireRecorder::WireRecorder(const std::string& name, const std::string& certificatePem, const std::string& keyPem,
                           const std::string& clientCaPem, Handler handler)
    : impl(new Impl)
{
    impl->name = name;
    impl->handler = std::move(handler);
    if (!impl->setUp(certificatePem, keyPem, clientCaPem)) {
        SSL_CTX_free(impl->ctx);
        impl->ctx = nullptr;
    }
}

WireRecorder::~WireRecorder()
{
    stop();
    SSL_CTX_free(impl->ctx);
}

bool WireRecorder::start()
{
    if (impl->ctx == nullptr)
        return false;
    impl->listenFd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (impl->listenFd < 0 || ::bind(impl->listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(impl->listenFd, 16) != 0 ||
        ::getsockname(impl->listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return false;
    impl->port = ntohs(address.sin_port);
    impl->acceptThread = std::thread(&Impl::acceptLoop, impl.get());
    return true;
}

void WireRecorder::stop()
{
    if (!impl->acceptThread.joinable())
        return;
    impl->stopping = true;
    impl->acceptThread.join();
    ::close(impl->listenFd);
    std::vector<std::thread> workers;
    {
        std::lock_guard<std::mutex> lock(impl->mutex);
        for (int fd : impl->openFds)
            ::shutdown(fd, SHUT_RDWR);
        workers.swap(impl->workers);
    }
    for (std::thread& worker : workers)
        worker.join();
}

std::string WireRecorder::origin() const
{
    return "https://127.0.0.1:" + std::to_string(impl->port);
}

std::string WireRecorder::transcript() const
{
    std::lock_guard<std::mutex> lock(impl->mutex);
    return impl->log;
}

bool WireRecorder::waitForRequests(int count, int timeoutMs) const
{
    std::unique_lock<std::mutex> lock(impl->mutex);
    return impl->changed.wait_for(lock, scaled(std::chrono::milliseconds(timeoutMs)),
                                  [&] { return impl->recorded >= count; });
}
