#ifndef ORVKIT_TEST_LOOPBACK_H
#define ORVKIT_TEST_LOOPBACK_H

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdint>

// The IPv4 loopback address at port (0: any free port when bound).
inline sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

#endif
