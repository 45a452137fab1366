#ifndef ORV_HTTPS_ENDPOINT_H
#define ORV_HTTPS_ENDPOINT_H

#include <httplib.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

// One HTTPS listener on 127.0.0.1 with its own accept thread: TCP_NODELAY,
// up to 100 requests per kept-alive connection, idle for at most 5 s.
// stop() cuts every open connection, idle kept-alive ones included.
class OrvHttpsEndpoint
{
public:
    explicit OrvHttpsEndpoint(const std::function<bool(SSL_CTX&)>& setupTls);
    ~OrvHttpsEndpoint();
    OrvHttpsEndpoint(const OrvHttpsEndpoint&) = delete;
    OrvHttpsEndpoint& operator=(const OrvHttpsEndpoint&) = delete;

    // Register routes and change settings before start().
    httplib::Server& server() { return *svr; }

    // port 0: any free port.
    bool start(int port, std::string& error);
    void stop();
    int port() const { return boundPort; }
    std::string origin() const; // "https://127.0.0.1:<port>"

    // Cuts the connection a request came on; call on that request's thread.
    static void cut(const httplib::Request& request);
    // Runs a bound server's accept loop on `thread`; false when it never
    // began to listen (the thread is then joined).
    static bool listenInBackground(httplib::Server& server, std::thread& thread, std::atomic<bool>& listening);

private:
    static void onInfo(const SSL* ssl, int where, int ret);
    static void onSslFree(void* parent, void* ptr, CRYPTO_EX_DATA* data, int index, long argl, void* argp);

    std::unique_ptr<httplib::SSLServer> svr;
    std::thread thread;
    int boundPort = 0;
    std::atomic<bool> listening{false};
    // Live TLS connections. An entry leaves when its SSL object is freed, before
    // the socket is closed, so holding the lock keeps the descriptor valid.
    std::mutex connectionMutex;
    std::map<SSL*, int> connections;
};

#endif
