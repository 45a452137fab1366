#include "ClosingTcpListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

ClosingTcpListener::ClosingTcpListener() : listenFd(-1), port(0), stopping(false), accepted(0) {}

ClosingTcpListener::~ClosingTcpListener()
{
    stop();
}

bool ClosingTcpListener::start()
{
    listenFd = socket(AF_INET, SOCK_STREAM, 0);
    if (listenFd < 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listenFd, 64) != 0 ||
        getsockname(listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close(listenFd);
        listenFd = -1;
        return false;
    }
    port = ntohs(address.sin_port);
    thread = std::thread([this] { serve(); });
    return true;
}

void ClosingTcpListener::stop()
{
    stopping = true;
    if (thread.joinable())
        thread.join();
    if (listenFd >= 0)
        close(listenFd);
    listenFd = -1;
}

std::string ClosingTcpListener::origin() const
{
    return "https://127.0.0.1:" + std::to_string(port);
}

void ClosingTcpListener::serve()
{
    static const char kPlainAnswer[] = "HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n";
    while (!stopping) {
        pollfd waiting{listenFd, POLLIN, 0};
        // Short waits keep stop() quick.
        if (poll(&waiting, 1, 20) <= 0)
            continue;
        const int fd = accept(listenFd, nullptr, nullptr);
        if (fd < 0)
            continue;
        const int turn = accepted++ % 3;
        if (turn == 1) {
            (void)!write(fd, kPlainAnswer, sizeof kPlainAnswer - 1);
        } else if (turn == 2) {
            pollfd reading{fd, POLLIN, 0};
            char hello[512];
            if (poll(&reading, 1, 200) > 0)
                (void)!read(fd, hello, sizeof hello);
        }
        close(fd);
    }
}
