#ifndef ORV_CLOUD_SIMULATOR_H
#define ORV_CLOUD_SIMULATOR_H

#include "OrvPki.h"
#include "OrvSimFault.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace httplib {
struct Request;
struct Response;
class Server;
} // namespace httplib

typedef struct ssl_st SSL;
class OrvSimAccounts;
class OrvSimDataSet;
class OrvHttpsEndpoint;
class OrvSimShadowStore;

// The cloud service on loopback, in-process: a production and a test
// environment, each with an HTTPS server for sign-in, the navigation API and
// the certificate endpoint, and a mutual-TLS server for device shadows. The
// two environments share the accounts and the CA but keep their own tokens,
// data and shadows.
class OrvCloudSimulator
{
public:
    enum Environment { Production = 0, Test = 1 };

    // Field names match OrvKitPreferences.
    struct Origins
    {
        std::string authServerOrigin;
        std::string authServerTestOrigin;
        std::string apiServerOrigin;
        std::string apiServerTestOrigin;
        std::string certificateOrigin;
        std::string certificateTestOrigin;
        std::string deviceShadowOrigin;
        std::string deviceShadowTestOrigin;
    };

    struct RequestRecord
    {
        Environment environment = Production;
        std::string route;  // one of OrvSimFault::routes(), or empty for an unknown path
        std::string method;
        std::string path;
        std::string query;  // decoded, "key=value&..." in key order
        int status = 0;     // 0: the connection was dropped
        std::string requester;  // the account (login id) or, on the shadow routes, the thing
        std::string serverCode; // the "code" of an error body
        std::string fault;      // the fault rule that fired, as OrvSimFault::text()
        double elapsedMs = 0.0; // from the parsed request to the answer ready
        uint64_t serial = 0;    // counts from 1 in the order recorded
        int64_t receivedAtUs = 0; // wall clock, microseconds since the epoch
    };

    struct Options
    {
        std::string seedText; // empty: the built-in seed
        int apiPort = 0;      // 0: any free port
        int apiTestPort = 0;
        int shadowPort = 0;
        int shadowTestPort = 0;
        int64_t tokenLifetime = 0; // seconds; 0: the seed's "tokenLifetime", else 3600
        // The file that keeps the key signing the tokens, created when missing:
        // a simulator started again with it accepts the tokens issued before.
        // Empty: a fresh key, tokens end with the simulator.
        std::string tokenKeyFile;
        // Called on a server thread after each request.
        std::function<void(const RequestRecord&)> onRequest;
    };

    static const char* builtInSeed();

    OrvCloudSimulator();
    ~OrvCloudSimulator();
    OrvCloudSimulator(const OrvCloudSimulator&) = delete;
    OrvCloudSimulator& operator=(const OrvCloudSimulator&) = delete;

    bool start(const Options& options, std::string* error = nullptr);
    void stop();
    bool isRunning() const { return running; }

    Origins origins() const;
    std::string caCertificatePem() const;

    // rule as for OrvSimFault::parse; replaces the route's previous fault.
    bool addFault(const std::string& rule, std::string* error = nullptr);
    void setFault(const std::string& route, const OrvSimFault& fault);
    bool removeFault(const std::string& route);
    void clearFaults();
    // By route; "times" counts down as the fault fires.
    std::map<std::string, OrvSimFault> faultRules() const;

    void expireTokens();
    void setTokenLifetime(int64_t seconds);

    // The stored shadow as JSON text, or empty when the thing has none.
    std::string shadowDocument(const std::string& thingName, Environment environment = Production) const;
    // {thing name: shadow version}.
    std::map<std::string, int> shadowVersions(Environment environment) const;
    // The summary body the API would send now.
    std::string summaryJson(Environment environment = Production) const;
    // The accounts with their newest tokens, shortened (OrvSimAccounts::overview).
    std::string accountsJson() const;
    int64_t tokenLifetime() const;

    std::vector<RequestRecord> requests() const;
    // The first limit records with a serial above serial, oldest first.
    std::vector<RequestRecord> requestsAfter(uint64_t serial, size_t limit) const;
    // The newest limit records, oldest first.
    std::vector<RequestRecord> latestRequests(size_t limit) const;
    void clearRequests();

private:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    void installApi(httplib::Server& server, Environment environment);
    void installShadow(httplib::Server& server, Environment environment);
    void addRoute(httplib::Server& server, Environment environment, const char* route, const char* method,
                  const char* pattern, Handler handler);
    enum class FaultOutcome { None, Answered, Dropped };
    // Argument of the TLS callback that swallows handshakes while a link is dead.
    struct ServerKind
    {
        OrvCloudSimulator* simulator;
        bool shadow;
    };
    static int onClientHello(SSL* ssl, int* alert, void* arg);
    bool linkDead(bool shadowServer) const;
    // Reads and drops what the client sends until it closes or the simulator stops.
    void swallowUntilClosed(int socket) const;
    FaultOutcome applyFault(const std::string& route, const httplib::Request& request, httplib::Response& response,
                            std::string& fired);
    std::string requester(Environment environment, const std::string& route, const httplib::Request& request) const;
    void record(RequestRecord entry);
    void installRecorder(httplib::Server& server, Environment environment);

    void signIn(Environment environment, const httplib::Request& request, httplib::Response& response);
    bool authorised(Environment environment, const httplib::Request& request, httplib::Response& response);
    void issueCertificate(Environment environment, const httplib::Request& request, httplib::Response& response);
    bool thingMayAct(const httplib::Request& request, const std::string& thing, const char* verb,
                     httplib::Response& response);
    void updateShadow(Environment environment, const httplib::Request& request, httplib::Response& response);
    void readShadow(Environment environment, const httplib::Request& request, httplib::Response& response);

    OrvPki::Identity authority; // the device CA, made at start-up
    OrvPki::Identity host;
    std::unique_ptr<OrvSimAccounts> accounts;
    std::unique_ptr<OrvSimDataSet> data[2];
    std::unique_ptr<OrvSimShadowStore> shadows[2];
    std::unique_ptr<OrvHttpsEndpoint> apiEndpoints[2];
    std::unique_ptr<OrvHttpsEndpoint> shadowEndpoints[2];
    ServerKind serverKinds[2] = {{this, false}, {this, true}};
    std::function<void(const RequestRecord&)> onRequest;
    bool running;

    mutable std::mutex stateMutex;
    std::condition_variable stopping;
    bool stopRequested;
    std::map<std::string, OrvSimFault> faults;
    std::deque<RequestRecord> log;
    uint64_t lastSerial;
};

#endif
