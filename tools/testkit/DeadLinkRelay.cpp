#include "DeadLinkRelay.h"
#include "Loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

namespace {

bool sendAll(int fd, const char* data, ssize_t size)
{
    while (size > 0) {
        const ssize_t sent = ::send(fd, data, static_cast<size_t>(size), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        data += sent;
        size -= sent;
    }
    return true;
}

struct Link
{
    int client;
    int server; // -1 once the server closed a dead link
    bool dead;
};

} // namespace

DeadLinkRelay::DeadLinkRelay(int targetPort) : target(targetPort)
{
    listening = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof(address);
    if (::bind(listening, reinterpret_cast<sockaddr*>(&address), length) == 0 && ::listen(listening, 16) == 0 &&
        ::getsockname(listening, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        boundPort = ntohs(address.sin_port);
    worker = std::thread([this] { run(); });
}

DeadLinkRelay::~DeadLinkRelay()
{
    stopping = true;
    worker.join();
    ::close(listening);
}

std::string DeadLinkRelay::origin() const { return "https://127.0.0.1:" + std::to_string(boundPort); }

void DeadLinkRelay::run()
{
    std::vector<Link> links;
    char buffer[16384];
    const auto close = [](int& fd) { if (fd >= 0) ::close(fd); fd = -1; };
    while (!stopping) {
        std::vector<pollfd> watched{{listening, POLLIN, 0}};
        for (const Link& link : links) {
            watched.push_back({link.client, POLLIN, 0});
            watched.push_back({link.server, POLLIN, 0}); // a negative descriptor is skipped
        }
        if (::poll(watched.data(), watched.size(), 20) <= 0)
            continue;
        for (size_t i = 0; i < links.size(); ++i) {
            Link& link = links[i];
            for (int side = 0; side < 2; ++side) {
                if ((watched[1 + 2 * i + side].revents & (POLLIN | POLLHUP | POLLERR)) == 0 || link.client < 0)
                    continue;
                int& from = side == 0 ? link.client : link.server;
                int& to = side == 0 ? link.server : link.client;
                const ssize_t got = ::recv(from, buffer, sizeof(buffer), 0);
                if (got <= 0) {
                    // A dead link hides the server's close from the client.
                    close(from);
                    if (!link.dead || side == 0)
                        close(to);
                    continue;
                }
                if (link.dead)
                    continue;
                if (!sendAll(to, buffer, got)) {
                    close(link.client);
                    close(link.server);
                } else if (side == 1 && dieAfterAnswer.exchange(false)) {
                    link.dead = true;
                    ++deadCount;
                }
            }
        }
        for (size_t i = links.size(); i-- > 0;) {
            if (links[i].client < 0) {
                close(links[i].server);
                links.erase(links.begin() + static_cast<long>(i));
            }
        }
        if ((watched[0].revents & POLLIN) == 0)
            continue;
        const int client = ::accept(listening, nullptr, nullptr);
        if (client < 0)
            continue;
        ++acceptedCount;
        const int server = ::socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = loopback(target);
        if (::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            ::close(server);
            ::close(client);
            continue;
        }
        const bool dead = swallowNew;
        deadCount += dead ? 1 : 0;
        links.push_back(Link{client, server, dead});
    }
    for (Link& link : links) {
        close(link.client);
        close(link.server);
    }
}
