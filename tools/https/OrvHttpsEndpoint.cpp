#include "OrvHttpsEndpoint.h"

#include <sys/socket.h>

#include <chrono>
#include <csignal>

namespace {
const char* const kHost = "127.0.0.1";
// A kept-alive connection holds its worker while idle: room for a few clients
// with six connections each.
const size_t kWorkers = 16;

int sslIndex(CRYPTO_EX_free* onFree)
{
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, onFree);
    return index;
}

int ctxIndex()
{
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}
} // namespace

OrvHttpsEndpoint::OrvHttpsEndpoint(const std::function<bool(SSL_CTX&)>& setupTls)
{
    sslIndex(&OrvHttpsEndpoint::onSslFree);
    svr.reset(new httplib::SSLServer([this, setupTls](SSL_CTX& ctx) {
        SSL_CTX_set_ex_data(&ctx, ctxIndex(), this);
        SSL_CTX_set_info_callback(&ctx, &OrvHttpsEndpoint::onInfo);
        return setupTls(ctx);
    }));
    // Each answer goes out in two writes; without TCP_NODELAY the second waits
    // for the client's delayed acknowledgement of the first (about 40 ms).
    svr->set_tcp_nodelay(true);
    // Kept-alive connections as a real server keeps them, not closed after five requests.
    svr->set_keep_alive_max_count(100);
    svr->set_keep_alive_timeout(5);
    svr->set_read_timeout(5);
    svr->set_write_timeout(5);
    svr->new_task_queue = [] { return new httplib::ThreadPool(kWorkers); };
}

OrvHttpsEndpoint::~OrvHttpsEndpoint() { stop(); }

void OrvHttpsEndpoint::onInfo(const SSL* ssl, int where, int)
{
    auto* self = static_cast<OrvHttpsEndpoint*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), ctxIndex()));
    if ((where & SSL_CB_HANDSHAKE_START) == 0 || self == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(self->connectionMutex);
    self->connections[const_cast<SSL*>(ssl)] = SSL_get_fd(ssl);
    SSL_set_ex_data(const_cast<SSL*>(ssl), sslIndex(nullptr), self);
}

void OrvHttpsEndpoint::onSslFree(void* parent, void* ptr, CRYPTO_EX_DATA*, int, long, void*)
{
    if (auto* self = static_cast<OrvHttpsEndpoint*>(ptr)) {
        std::lock_guard<std::mutex> lock(self->connectionMutex);
        self->connections.erase(static_cast<SSL*>(parent));
    }
}

void OrvHttpsEndpoint::cut(const httplib::Request& request)
{
    const int fd = request.ssl != nullptr ? SSL_get_fd(request.ssl) : -1;
    if (fd >= 0) {
        ::shutdown(fd, SHUT_RDWR);
    }
}

bool OrvHttpsEndpoint::start(int port, std::string& error)
{
    if (thread.joinable()) {
        return true;
    }
    // A client that went away must not kill the process on the next write.
    struct sigaction current;
    if (sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
        std::signal(SIGPIPE, SIG_IGN);
    }
    if (!svr->is_valid()) {
        error = "the TLS context could not be set up";
        return false;
    }
    boundPort = port == 0 ? svr->bind_to_any_port(kHost) : (svr->bind_to_port(kHost, port) ? port : 0);
    if (boundPort <= 0) {
        error = "cannot bind 127.0.0.1:" + std::to_string(port);
        return false;
    }
    if (!listenInBackground(*svr, thread, listening)) {
        error = "cannot listen on 127.0.0.1:" + std::to_string(boundPort);
        return false;
    }
    return true;
}

bool OrvHttpsEndpoint::listenInBackground(httplib::Server& server, std::thread& thread, std::atomic<bool>& listening)
{
    listening = true;
    thread = std::thread([&server, &listening] {
        server.listen_after_bind();
        listening = false;
    });
    // stop() only reaches a server that has begun to listen.
    while (listening && !server.is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (listening) {
        return true;
    }
    thread.join();
    return false;
}

void OrvHttpsEndpoint::stop()
{
    if (!thread.joinable()) {
        return;
    }
    svr->stop();
    // The accept loop ends at once; its workers end when their connections do.
    while (listening) {
        {
            std::lock_guard<std::mutex> lock(connectionMutex);
            for (const auto& connection : connections) {
                ::shutdown(connection.second, SHUT_RDWR);
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    thread.join();
}

std::string OrvHttpsEndpoint::origin() const { return "https://" + std::string(kHost) + ":" + std::to_string(boundPort); }
