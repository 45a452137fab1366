// A link that dies without a reset, through a relay in front of the real
// servers: the command caught in it fails once with its usual result, the
// next one after the link is back succeeds in the same service, and requests
// still running when the connections are dropped finish undisturbed.
#include "DeadLinkRelay.h"
#include "ServiceFixture.h"
#include "service/OrvServerService.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace {

// The transport tests' short time-out; longer under an emulator.
const int kTimeoutMs = std::getenv("ORVKIT_TEST_EMULATOR") != nullptr ? 1000 : 300;
// How long the test waits for an answer: as long as the patient requests.
const std::chrono::milliseconds kPatient = scaled(std::chrono::milliseconds(20 * kTimeoutMs));

// The service with that time-out on every request but those of the patient
// contexts, and every request once the link is back (allPatient), which may
// wait twenty times as long: a loaded machine must not pass for a dead link.
class ShortTimeoutService : public OrvServerService
{
public:
    ShortTimeoutService(OrvKitPreferences* prefs, std::set<unsigned int> patientContexts,
                        const std::atomic<bool>& allPatient)
        : OrvServerService(prefs, nullptr), patient(std::move(patientContexts)), allPatient(allPatient)
    {
    }

protected:
    void prepareRequest(OrvQtHttpRequest* request) override
    {
        OrvServerService::prepareRequest(request);
        const bool waits = allPatient.load() || patient.count(request->getContext()) != 0;
        request->setTimeout(waits ? 20 * kTimeoutMs : kTimeoutMs);
    }

private:
    std::set<unsigned int> patient;
    const std::atomic<bool>& allPatient;
};

// Holds the answers of a route until released.
struct Gate
{
    std::mutex mutex;
    std::condition_variable opened;
    bool open = false;
    TestHttpsServer::Handler hold(const Reply& reply)
    {
        return [this, reply](const TestHttpsServer::Request&) {
            std::unique_lock<std::mutex> lock(mutex);
            opened.wait(lock, [this] { return open; });
            return reply;
        };
    }
    void release()
    {
        { std::lock_guard<std::mutex> lock(mutex); open = true; }
        opened.notify_all();
    }
};

class DeadLinkTest : public ServiceFixture
{
protected:
    enum Endpoint { Auth, Api, Certificate, Shadow };

    void SetUp() override
    {
        ServiceFixture::SetUp();
        shadow.route("POST", "/things/", Reply::ok("{\"state\":{}}"), TestHttpsServer::Match::Prefix);
        ASSERT_TRUE(shadow.start());
    }
    void TearDown() override
    {
        stopService();
        ServiceFixture::TearDown();
    }

    void startService(const OrvKitPreferences& preferences, std::set<unsigned int> patient = {})
    {
        prefs = preferences;
        linkBack = false;
        inbox.reset(new OrvKitInbox);
        worker = std::thread([this, patient] {
            ShortTimeoutService service(&prefs, patient, linkBack);
            service.setListener(inbox.get());
            running = &service;
            service.eventLoop();
        });
        ASSERT_TRUE(inbox->waitOpened(scaled(std::chrono::seconds(5))));
    }
    void stopService()
    {
        if (!worker.joinable())
            return;
        running.load()->close();
        worker.join();
    }

    // Sends and waits for the command's outcome; returns its final message
    // (id 0: none came) and counts in heardCount what was taken up to it.
    Message answer(unsigned long code, const Bytes& data)
    {
        if (code == CMD_LOGIN)
            storeToken(kStoredToken, 0); // the login goes to the server
        inbox->clear();
        running.load()->sendCommand(data, code);
        Message final;
        heardCount = 0;
        inbox->waitForOutcome(*OrvKitCommands::findCommand(code), final, kPatient,
                              [this](const Message&) { ++heardCount; });
        return final;
    }

    TestHttpsServer shadow{TestHttpsServer::mutualTls(pki())};
    OrvKitPreferences prefs;
    std::thread worker;
    std::atomic<OrvServerService*> running{nullptr};
    std::atomic<bool> linkBack{false};
    size_t heardCount = 0;
};

TEST_F(DeadLinkTest, CommandCaughtFailsOnceAndTheNextSucceeds)
{
    const struct { const char* name; unsigned long code; Bytes data; Endpoint endpoint; const char* method;
                   const char* path; unsigned long success, failure; uint8_t result; } commands[] = {
        {"GET", CMD_GET_INFO_SUMMARY, {0}, Api, "GET", "/api/navi/info/v1/summary",
         MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR, RESULT_NETWORK_FAILURE},
        {"DELETE", CMD_DELETE_PLANS, {0}, Api, "DELETE", "/api/navi/driveplans/v1/plans",
         MSG_DELETE_PLANS_RESULT, MSG_RESULT_ERROR, RESULT_NETWORK_FAILURE},
        {"login", CMD_LOGIN, login7(), Auth, "POST", "/api/navi/authorization/v1/local",
         MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, RESULT_LOGIN_NETWORK_FAILURE},
        {"certificate", CMD_GET_CERTIFICATE, {0}, Certificate, "POST", "/prod/cert",
         MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, DEVICE_RESULT_TIMEOUT},
        {"position", CMD_UPDATE_SHADOW, positionsCommand(), Shadow, "POST", "/things/",
         MSG_SHADOW_RESULT, MSG_RESULT_ERROR, DEVICE_RESULT_TIMEOUT},
    };
    for (const bool midAnswer : {false, true}) {
        for (const auto& c : commands) {
            SCOPED_TRACE(std::string(c.name) + (midAnswer ? ", dead in the middle of an answer" : ", dead handshake"));
            TestHttpsServer& server = c.endpoint == Shadow ? shadow : *production;
            DeadLinkRelay relay(server.port());
            OrvKitPreferences prefs = preferences();
            std::string* origins[] = {&prefs.authServerOrigin, &prefs.apiServerOrigin, &prefs.certificateOrigin,
                                      &prefs.deviceShadowOrigin};
            *origins[c.endpoint] = relay.origin();
            // A fetched certificate is kept until the next sign-in: on its origin, a sign-in makes the connection.
            const bool certificate = c.code == CMD_GET_CERTIFICATE;
            if (certificate)
                prefs.authServerOrigin = relay.origin();
            Reply stalled = Reply::truncated("{\"late\":\"answer\"}", 4);
            stalled.stallMs = 60000;
            const Reply ok = c.code == CMD_DELETE_PLANS ? Reply::withStatus(204)
                             : Reply::ok(c.code == CMD_GET_CERTIFICATE ? ourCertificate()
                                         : c.code == CMD_LOGIN     ? authBody("t", now() + 60)
                                                                   : "{\"ok\":1}");
            const auto match = c.endpoint == Shadow ? TestHttpsServer::Match::Prefix : TestHttpsServer::Match::Exact;
            server.route(c.method, c.path, certificate ? std::vector<Reply>{stalled, ok} : std::vector<Reply>{ok, stalled, ok},
                         match);
            startService(prefs);
            if (c.endpoint == Shadow) {
                ASSERT_EQ(answer(CMD_GET_CERTIFICATE, {0}).id, MSG_CERTIFICATE_RESULT);
            }
            if (midAnswer) {
                const Message made = certificate ? answer(CMD_LOGIN, login7()) : answer(c.code, c.data);
                ASSERT_EQ(made.id, certificate ? MSG_LOGIN_RESULT : c.success) << "connection established";
                relay.dieMidAnswer();
            } else {
                server.route(c.method, c.path, ok, match);
                relay.swallowNewConnections(true);
            }
            const Message failed = answer(c.code, c.data);
            EXPECT_EQ(failed.id, c.failure);
            EXPECT_EQ(failed.payload, Bytes{c.result});
            EXPECT_EQ(relay.dead(), 1u);
            relay.swallowNewConnections(false);
            linkBack = true;
            const Message next = answer(c.code, c.data);
            EXPECT_EQ(next.id, c.success) << "result code " << (next.payload.empty() ? -1 : next.payload[0]);
            EXPECT_EQ(heardCount + takeQueued(*inbox).size(), c.code == CMD_GET_CERTIFICATE ? 1u : 2u)
                << "one result only";
            stopService();
        }
    }
}

// A failure drops the connections only once the requests still running, to
// its own origin and to others, have ended; they end with their answers.
TEST_F(DeadLinkTest, RequestsInFlightFinishBeforeTheConnectionsGo)
{
    DeadLinkRelay relay(production->port());
    OrvKitPreferences prefs = preferences();
    prefs.apiServerOrigin = relay.origin(); // the sign-in stays direct: another origin
    Gate gate;
    production->route("GET", "/api/navi/info/v1/summary", gate.hold(Reply::ok("{\"summary\":1}")));
    production->route("POST", "/api/navi/authorization/v1/local", gate.hold(Reply::ok(authBody("t", now() + 60))));
    startService(prefs, {1, 10}); // the login and the summary wait
    storeToken(kStoredToken, 0);
    running.load()->sendCommand(login7(), CMD_LOGIN);
    running.load()->sendCommand({0}, CMD_GET_INFO_SUMMARY);
    ASSERT_TRUE(production->waitForRequests(2, 20 * kTimeoutMs));

    relay.swallowNewConnections(true); // the summary holds the one connection: the next needs another
    running.load()->sendCommand({0}, CMD_GET_DESTINATIONS);
    const Heard failed = takeUntilId(*inbox, MSG_RESULT_ERROR, kPatient);
    ASSERT_FALSE(failed.empty());
    EXPECT_EQ(failed.back().payload, Bytes{RESULT_NETWORK_FAILURE});
    gate.release();
    std::map<unsigned long, Message> results; // the summary's and the login's, in either order
    takeUntil(*inbox, [&](const Message& m) {
        results[m.id] = m;
        return results.count(MSG_INFO_SUMMARY_RESULT) + results.count(MSG_LOGIN_RESULT) == 2;
    }, kPatient);
    ASSERT_EQ(results.count(MSG_LOGIN_RESULT), 1u);
    EXPECT_EQ(textOf(results[MSG_INFO_SUMMARY_RESULT].payload), "{\"summary\":1}");

    relay.swallowNewConnections(false);
    EXPECT_EQ(answer(CMD_GET_DESTINATIONS, {0}).id, MSG_DESTINATIONS_RESULT);
}

} // namespace
