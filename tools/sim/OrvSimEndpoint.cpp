#include "OrvSimEndpoint.h"

#include <chrono>

namespace {
const char* const kHost = "127.0.0.1";
// A kept-alive connection holds its worker while idle: room for a few clients
// with six connections each.
const size_t kWorkers = 16;
const size_t kKeepAliveRequests = 100;
const time_t kKeepAliveSeconds = 5;
} // namespace

OrvSimEndpoint::OrvSimEndpoint(const std::function<bool(SSL_CTX&)>& setupTls)
    : svr(new httplib::SSLServer(setupTls)), boundPort(0)
{
    // Each answer goes out in two writes; without TCP_NODELAY the second waits
    // for the client's delayed acknowledgement of the first (about 40 ms).
    svr->set_tcp_nodelay(true);
    // Kept-alive connections as a real server keeps them, not closed after five requests.
    svr->set_keep_alive_max_count(kKeepAliveRequests);
    svr->set_keep_alive_timeout(kKeepAliveSeconds);
    svr->set_read_timeout(5);
    svr->set_write_timeout(5);
    svr->set_payload_max_length(1024 * 1024);
    svr->new_task_queue = [] { return new httplib::ThreadPool(kWorkers); };
}

OrvSimEndpoint::~OrvSimEndpoint() { stop(); }

bool OrvSimEndpoint::start(int port, std::string& error)
{
    if (thread.joinable()) {
        return true;
    }
    if (!svr->is_valid()) {
        error = "the TLS context could not be set up";
        return false;
    }
    if (port == 0) {
        boundPort = svr->bind_to_any_port(kHost);
        if (boundPort <= 0) {
            error = "cannot bind a port on 127.0.0.1";
            return false;
        }
    } else {
        if (!svr->bind_to_port(kHost, port)) {
            error = "cannot bind 127.0.0.1:" + std::to_string(port);
            return false;
        }
        boundPort = port;
    }
    listening = true;
    thread = std::thread([this] {
        svr->listen_after_bind();
        listening = false;
    });
    // stop() only reaches a server that has begun to listen.
    while (listening && !svr->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!listening) {
        thread.join();
        error = "cannot listen on 127.0.0.1:" + std::to_string(boundPort);
        return false;
    }
    return true;
}

void OrvSimEndpoint::stop()
{
    if (thread.joinable()) {
        svr->stop();
        thread.join();
    }
}

std::string OrvSimEndpoint::origin() const { return "https://" + std::string(kHost) + ":" + std::to_string(boundPort); }
