#ifndef ORV_SIM_ENDPOINT_H
#define ORV_SIM_ENDPOINT_H

#include <httplib.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

// One HTTPS listener on 127.0.0.1 with its own accept thread.
class OrvSimEndpoint
{
public:
    explicit OrvSimEndpoint(const std::function<bool(SSL_CTX&)>& setupTls);
    ~OrvSimEndpoint();
    OrvSimEndpoint(const OrvSimEndpoint&) = delete;
    OrvSimEndpoint& operator=(const OrvSimEndpoint&) = delete;

    // Register routes before start().
    httplib::Server& server() { return *svr; }

    // port 0: any free port.
    bool start(int port, std::string& error);
    void stop();
    int port() const { return boundPort; }
    std::string origin() const;

private:
    std::unique_ptr<httplib::SSLServer> svr;
    std::thread thread;
    int boundPort;
    std::atomic<bool> listening{false};
};

#endif
