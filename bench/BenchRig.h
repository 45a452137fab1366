#ifndef ORVKIT_BENCH_RIG_H
#define ORVKIT_BENCH_RIG_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class BenchKitClient;
class TestHttpsServer;
class TestPki;

// The loopback set-up that the network benchmarks share, made on first use
// and kept until shutdown(): the in-process HTTPS server answering five GET
// commands with realistic bodies, and one open kit pointed at it.
class BenchRig
{
public:
    // One command of the kit and the request it turns into on the wire.
    struct Target
    {
        unsigned long command;
        unsigned long resultId;
        std::vector<uint8_t> data;
        std::string url;           // as the server saw it, query included
        std::string authorization; // the header the kit sent
        size_t bodyBytes;
    };

    // Null when the server or the kit could not be started.
    static BenchRig* instance();
    // Closes the kit before the server, so that no keep-alive connection holds up the end.
    static void shutdown();

    ~BenchRig();

    std::string origin() const;
    BenchKitClient& kit() { return *kitClient; }
    // The folders command first, then spots, destinations, plans and the info summary.
    const std::vector<Target>& targets() const { return commands; }

private:
    BenchRig();
    bool start();
    // A kit, open and pointed at the server; null when it did not open.
    std::unique_ptr<BenchKitClient> openKit() const;

    std::unique_ptr<TestPki> pki;
    std::unique_ptr<TestHttpsServer> server;
    std::unique_ptr<BenchKitClient> kitClient;
    std::vector<Target> commands;
};

#endif
