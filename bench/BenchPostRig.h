#ifndef ORVKIT_BENCH_POST_RIG_H
#define ORVKIT_BENCH_POST_RIG_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class BenchKitClient;
class BenchPostServer;
class TestPki;

// The loopback set-up of the POST benchmarks, made on first use and kept
// until shutdown(): a sign-in and certificate server and a mutual-TLS
// device-shadow server (BenchPostServer), and one open kit that has signed
// in and holds a certificate.
class BenchPostRig
{
public:
    // One POST command of the kit and the request it turns into on the wire.
    struct Target
    {
        unsigned long command;
        unsigned long resultId;
        std::vector<uint8_t> data;
        std::string url;
        std::vector<std::pair<std::string, std::string>> headers; // those the kit chose, as sent
        std::string body;
    };

    // Null when a server or the kit could not be started.
    static BenchPostRig* instance();
    static void shutdown();

    ~BenchPostRig();

    BenchKitClient& kit() { return *kitClient; }
    const Target& login() const { return loginTarget; }
    const Target& position() const { return positionTarget; }
    const TestPki& pki() const { return *testPki; }
    // Fetches the certificate again when a login through the network dropped it.
    bool holdCertificate();

private:
    BenchPostRig();
    bool start();
    bool capture(BenchPostServer& server, unsigned long command, unsigned long resultId,
                 const std::vector<uint8_t>& data, Target& target);

    std::unique_ptr<TestPki> testPki;
    std::unique_ptr<BenchPostServer> signIn;
    std::unique_ptr<BenchPostServer> shadow;
    std::unique_ptr<BenchKitClient> kitClient;
    Target loginTarget;
    Target positionTarget;
};

#endif
