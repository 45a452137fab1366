// The service's own rules that the end-to-end tests leave open: network
// failures in both mappers, the network access status, the TLS version of
// every request and the trust of the shadow connection in strict mode.
#include "RecordingListener.h"
#include "ServiceFixture.h"
#include "ServiceTestData.h"
#include "service/OrvServerService.h"

#include <OrvKitDef.h>

#include <atomic>
#include <thread>

using namespace OrvKitDef;
using namespace servicetest;
using Message = KitSession::Message;
using Reply = TestHttpsServer::Reply;

namespace {

class OrvServerServiceTest : public ServiceFixture
{
};

TEST(OrvServerService, NetworkFailuresInBothMappers)
{
    const struct
    {
        unsigned int error;
        unsigned int status;
        unsigned int context;
        bool device;
        uint8_t code;
    } cases[] = {
        {4, 0, 2, false, 177},  {5, 0, 2, false, 177},  {5, 200, 2, false, 177}, {4, 0, 1, false, 176},
        {5, 0, 1, false, 176},  {8, 0, 2, false, 178},  {8, 200, 2, false, 64},   // others go by the status
        {4, 0, 13, true, 201},  {5, 0, 12, true, 201},  {5, 429, 13, true, 198},  {2, 0, 13, true, 0},
    };
    OrvKitPreferences preferences;
    OrvServerService service(&preferences, nullptr);
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "error " << c.error << " status " << c.status << " context " << c.context);
        std::vector<uint8_t> out;
        if (c.device)
            service.onFinishOrvaneAssistErrorSetAws(c.error, c.status, {}, c.context, out);
        else
            service.onFinishOrvaneAssistErrorSet(c.error, c.status, {}, c.context, out);
        EXPECT_EQ(out, std::vector<uint8_t>{c.code});
    }
}

TEST_F(OrvServerServiceTest, NetworkAccessStatusTellsARequestInFlight)
{
    production->route("GET", "/api/navi/info/v1/summary", Reply::delayed(3000, Reply::ok("{}")));
    // Reads the status on the event thread, as the acceptance of a command goes out.
    struct Probe : RecordingListener
    {
        std::atomic<OrvServerService*> service{nullptr};
        std::atomic<int> status{-1};
        void onMessage(CmdData& message) override
        {
            if (message.uniqueID == (MSG_ACCEPTED | CMD_GET_DESTINATIONS))
                status = service.load()->getNetworkAccessStatus();
            RecordingListener::onMessage(message);
        }
    };
    OrvKitPreferences prefs = preferences();
    Probe probe;
    std::thread worker([&] {
        OrvServerService service(&prefs, nullptr);
        service.setListener(&probe);
        probe.service = &service;
        service.eventLoop();
    });
    ASSERT_TRUE(probe.waitForOpen());
    OrvServerService* service = probe.service.load();
    service->sendCommand({0}, CMD_GET_INFO_SUMMARY);
    const bool inFlight = production->waitForRequests(1, 5000);
    service->sendCommand({0}, 0x71); // unknown: only updates the status
    service->sendCommand({0}, CMD_GET_DESTINATIONS);
    const bool accepted = probe.waitForId(MSG_ACCEPTED | CMD_GET_DESTINATIONS);
    service->close();
    worker.join();
    ASSERT_TRUE(inFlight);
    ASSERT_TRUE(accepted);
    EXPECT_EQ(probe.status, 1);
}

TEST_F(OrvServerServiceTest, EveryRequestOffersTls12Only)
{
    TestHttpsServer::Config config = TestHttpsServer::tls(pki());
    config.tls13Only = true;
    TestHttpsServer modern(config);
    addDefaultRoutes(modern);
    ASSERT_TRUE(modern.start());
    OrvKitPreferences prefs = preferences();
    prefs.authServerOrigin = prefs.apiServerOrigin = modern.origin();
    prefs.certificateOrigin = prefs.deviceShadowOrigin = modern.origin();
    storeToken(kStoredToken, 0); // the login goes to the server
    const struct
    {
        unsigned long code;
        std::vector<uint8_t> data;
        unsigned long success;
        unsigned long failure;
        uint8_t result;
    } cases[] = {
        {CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", "secret"}), MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, 176},
        {CMD_GET_INFO_SUMMARY, {0}, MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR, 177},
        {CMD_DELETE_PLANS, {0}, MSG_DELETE_PLANS_RESULT, MSG_RESULT_ERROR, 177},
        {CMD_GET_CERTIFICATE, {0}, MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, 0},
        {CMD_UPDATE_SHADOW, positionsCommand(OrvKitDat::CarPositions()), MSG_SHADOW_RESULT, MSG_RESULT_ERROR, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        // A fresh kit each time: an open connection keeps the TLS settings of its first request.
        openKit(prefs);
        const std::vector<Message> heard = session->run(c.code, c.data, {c.success, c.failure});
        ASSERT_FALSE(heard.empty());
        EXPECT_EQ(heard.back().id, c.failure);
        EXPECT_EQ(heard.back().payload, std::vector<uint8_t>{c.result});
    }
    closeKit();
    EXPECT_EQ(modern.requestCount(), 0u);
}

TEST_F(OrvServerServiceTest, StrictModeTrustsTheBundleOnTheShadowConnection)
{
    // The certificate answer names another CA; the bundle's CA signed the shadow server.
    production->route("POST", "/prod/cert", Reply::ok(certificateBody(pki().otherCa().certificatePem,
                                                                      pki().client().certificatePem,
                                                                      pki().client().privateKeyPem)));
    TestHttpsServer shadow(TestHttpsServer::mutualTls(pki()));
    shadow.route("POST", "/things/M1-D1/shadow", Reply::ok("{}"));
    ASSERT_TRUE(shadow.start());
    OrvKitPreferences prefs = preferences();
    prefs.verifyServerCertificates = true;
    prefs.caBundlePath = pki().ca().certificatePath;
    prefs.deviceShadowOrigin = shadow.origin();
    openKit(prefs);
    identify(7, "M1", "D1");
    std::vector<Message> heard = session->run(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR});
    ASSERT_FALSE(heard.empty());
    ASSERT_EQ(heard.back().id, MSG_CERTIFICATE_RESULT);
    heard = session->run(CMD_UPDATE_SHADOW, positionsCommand(OrvKitDat::CarPositions()),
                         {MSG_SHADOW_RESULT, MSG_RESULT_ERROR});
    closeKit();
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_SHADOW_RESULT);
    EXPECT_EQ(shadow.requestCount(), 1u);
}

} // namespace
