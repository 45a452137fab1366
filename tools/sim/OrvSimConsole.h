#ifndef ORV_SIM_CONSOLE_H
#define ORV_SIM_CONSOLE_H

#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
} // namespace httplib

class OrvCloudSimulator;

// A running simulator seen from a browser: a page (embedded, no outside
// assets) and the JSON API under /console/api/ that it polls, over plain
// HTTP on a listener and thread of its own. Start it after the simulator
// and stop it before the simulator starts again.
class OrvSimConsole
{
public:
    static const size_t kMaxBody = 16 * 1024;

    explicit OrvSimConsole(OrvCloudSimulator& simulator);
    ~OrvSimConsole();
    OrvSimConsole(const OrvSimConsole&) = delete;
    OrvSimConsole& operator=(const OrvSimConsole&) = delete;

    // port 0: any free port.
    bool start(const std::string& address, int port, std::string& error);
    void stop();
    std::string origin() const;

private:
    void install();

    OrvCloudSimulator& simulator;
    std::unique_ptr<httplib::Server> svr;
    std::thread thread;
    std::string host;
    int boundPort;
    std::atomic<bool> listening{false};
};

#endif
