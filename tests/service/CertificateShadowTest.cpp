// The device certificate and the position report over mutual TLS: what is
// fetched and when, what reaches the shadow, what the TLS layer refuses, and
// the server certificate checks (off by default, on request against a bundle).
#include "ServiceFixture.h"

namespace {

class CertificateShadowTest : public ServiceFixture
{
protected:
    void SetUp() override
    {
        ServiceFixture::SetUp();
        shadow.route("POST", "/things/", Reply::ok("{\"state\":{\"reported\":{\"ok\":1}}}"), TestHttpsServer::Match::Prefix);
        ASSERT_TRUE(shadow.start());
    }

    void openShadowKit(bool strict = false)
    {
        OrvKitPreferences prefs = preferences();
        prefs.deviceShadowOrigin = shadow.origin();
        prefs.verifyServerCertificates = strict;
        prefs.caBundlePath = strict ? pki().ca().certificatePath : std::string();
        openKit(prefs);
    }

    size_t fetches() const
    {
        const std::vector<TestHttpsServer::Request> all = production->requests();
        const auto fetch = [](const TestHttpsServer::Request& request) { return request.path == "/prod/cert"; };
        return std::count_if(all.begin(), all.end(), fetch);
    }

    TestHttpsServer shadow{TestHttpsServer::mutualTls(pki())};
};

OrvKitDat::CarPositions foreignPosition()
{
    OrvKitDat::CarPositions p;
    p.maker = "99"; p.model = "OTHER"; p.deviceNo = "000"; p.type = "car"; p.measuredAt = "2024-06-15T00:30:00Z";
    p.lon = 139.7; p.lat = 35.68; p.direction = 90; p.speed = 40; p.elevation = -3.5; p.accuracy = 12.34;
    p.roadType = 2; p.accOff = true;
    return p;
}

TEST_F(CertificateShadowTest, LoginCertificateAndShadowInOneChain)
{
    storeToken(kStoredToken, 0);
    openShadowKit();
    ASSERT_EQ(last(CMD_LOGIN, login7()).id, MSG_LOGIN_RESULT);
    std::vector<Message> heard = run(CMD_GET_CERTIFICATE, {0});
    ASSERT_EQ(heard.size(), 1u) << "a certificate request is not acknowledged first";
    EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(textOf(heard[0].payload), ourCertificate());
    const TestHttpsServer::Request fetch = production->lastRequest();
    EXPECT_EQ(fetch.method + " " + fetch.target, "POST /prod/cert");
    EXPECT_EQ(fetch.header("Authorization"), std::string("Bearer ") + kIssuedToken);
    EXPECT_EQ(fetch.header("Content-Type"), "application/json");
    EXPECT_EQ(fetch.body, "{\"model\": \"M1\",\"deviceNo\": \"D1\"}");

    heard = run(CMD_UPDATE_SHADOW, positionsCommand(foreignPosition()));
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].id, MSG_ACCEPTED | CMD_UPDATE_SHADOW);
    EXPECT_EQ(heard[1].id, MSG_SHADOW_RESULT);
    EXPECT_EQ(textOf(heard[1].payload), "{\"state\":{\"reported\":{\"ok\":1}}}");
    const TestHttpsServer::Request update = only(shadow);
    EXPECT_EQ(update.method + " " + update.target, "POST /things/M1-D1/shadow");
    EXPECT_EQ(update.clientCommonName, pki().client().commonName);
    EXPECT_EQ(update.headers.count("Authorization"), 0u) << "the certificate authenticates the device";
    EXPECT_EQ(update.header("Content-Type"), "application/json");
    // The record's own maker, model and device number are replaced by the service's.
    EXPECT_EQ(update.body,
              "{\"state\":{\"reported\":{\"maker\": \"07\",\"model\": \"M1\",\"deviceNo\": \"D1\",\"type\": \"car\","
              "\"positions\": [{\"lon\": 139.700000000000,\"lat\": 35.680000000000,"
              "\"measuredAt\": \"2024-06-15T00:30:00Z\",\"direction\": 90,\"speed\": 40,\"elevation\": -3.50,"
              "\"accuracy\": 12.3,\"roadType\": 2,\"accOff\": true}]}}}");

    // Held: answered at once, with no request, until a login reaches the server.
    const std::pair<long long, size_t> rounds[] = {{now() + 3600, 1}, {0, 2}, {now() + 3600, 2}}; // expiration, fetches
    for (const auto& round : rounds) {
        storeToken(kIssuedToken, round.first);
        ASSERT_EQ(last(CMD_LOGIN, login7()).id, MSG_LOGIN_RESULT);
        heard = run(CMD_GET_CERTIFICATE, {0});
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_RESULT);
        EXPECT_EQ(heard[0].payload.empty(), round.first != 0);
        EXPECT_EQ(fetches(), round.second);
    }
}

// A certificate that cannot be presented fails the report at the TLS layer,
// and one without its key is fetched anew each time.
TEST_F(CertificateShadowTest, TlsRefusalsGoThroughTheDeviceCodes)
{
    const TestPki::Identity stranger = pki().issueClientCertificate("orv-stranger", true);
    ASSERT_FALSE(stranger.certificatePem.empty());
    const std::string answers[] = {
        std::string(), // no certificate held
        certificateBody(pki().otherCa().certificatePem, stranger.certificatePem, stranger.privateKeyPem),
        certificateBody("not a certificate", "nor this", "no key"),
        certificateBody(pki().ca().certificatePem, pki().client().certificatePem, ""),
    };
    for (const std::string& answer : answers) {
        SCOPED_TRACE(answer.substr(0, 40));
        openShadowKit(); // a fresh kit: an open connection is reused whatever the certificate
        identify(7, "M1", "D1");
        production->clearRequests();
        production->route("POST", "/prod/cert", Reply::ok(answer));
        const bool keyless = answer.find("\"privateKey\":\"\"") != std::string::npos;
        for (int round = 0; !answer.empty() && round < 2; ++round)
            EXPECT_EQ(run(CMD_GET_CERTIFICATE, {0}).size(), 1u);
        EXPECT_EQ(fetches(), answer.empty() ? 0u : keyless ? 2u : 1u);
        const std::vector<Message> heard = run(CMD_UPDATE_SHADOW, positionsCommand(foreignPosition()));
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[1].id, MSG_RESULT_ERROR);
        EXPECT_EQ(heard[1].payload, Bytes{DEVICE_RESULT_UNCLASSIFIED});
        EXPECT_EQ(shadow.requestCount(), 0u);
    }
}

TEST_F(CertificateShadowTest, HostileShadowBytesStillReportTheServiceIdentity)
{
    openKit(); // plain TLS: without a certificate the report still goes out
    identify(7, "M1", "D1");
    const Bytes valid = positionsCommand(foreignPosition());
    for (const Bytes& bytes : {Bytes(64, 0xFF), Bytes(valid.begin(), valid.begin() + static_cast<long>(valid.size() / 2)),
                               Bytes{0x00}}) {
        production->clearRequests();
        EXPECT_EQ(last(CMD_UPDATE_SHADOW, bytes).id, MSG_SHADOW_RESULT);
        EXPECT_EQ(only(*production).body.find("{\"state\":{\"reported\":{\"maker\": \"07\",\"model\": \"M1\","
                                              "\"deviceNo\": \"D1\","),
                  0u);
    }
}

// Every kind of request: one kit per server, as an open connection is reused
// whatever the TLS settings of the next request.
TEST_F(CertificateShadowTest, ServerCertificatesAreCheckedOnlyWhenAskedForAndOnlyTls12IsOffered)
{
    TestHttpsServer foreign(TestHttpsServer::otherCa(pki()));
    TestHttpsServer::Config tls13 = TestHttpsServer::tls(pki());
    tls13.tls13Only = true;
    TestHttpsServer modern(tls13);
    for (TestHttpsServer* server : {&foreign, &modern}) {
        addDefaultRoutes(*server);
        ASSERT_TRUE(server->start());
    }
    const struct { const char* name; TestHttpsServer& server; bool verify, withBundle, accepted; } cases[] = {
        {"strict, server of the bundle's CA", *production, true, true, true},
        {"strict, server of another CA", foreign, true, true, false},
        {"strict, system CAs only", *production, true, false, false},
        {"default, server of another CA", foreign, false, false, true},
        {"bundle without strict mode", foreign, false, true, true},
        {"server offering TLS 1.3 only", modern, false, false, false},
    };
    const struct { unsigned long code; Bytes data; unsigned long success, failure; uint8_t result; } commands[] = {
        {CMD_GET_INFO_SUMMARY, {0}, MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR, RESULT_NETWORK_FAILURE},
        {CMD_DELETE_PLANS, {0}, MSG_DELETE_PLANS_RESULT, MSG_RESULT_ERROR, RESULT_NETWORK_FAILURE},
        {CMD_LOGIN, login7(), MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, RESULT_LOGIN_NETWORK_FAILURE},
        {CMD_GET_CERTIFICATE, {0}, MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, DEVICE_RESULT_UNCLASSIFIED},
        {CMD_UPDATE_SHADOW, positionsCommand(), MSG_SHADOW_RESULT, MSG_RESULT_ERROR, DEVICE_RESULT_UNCLASSIFIED},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        OrvKitPreferences prefs = allAt(preferences(), c.server.origin());
        prefs.verifyServerCertificates = c.verify;
        prefs.caBundlePath = c.withBundle ? pki().ca().certificatePath : std::string();
        openKit(prefs);
        storeToken(kStoredToken, 0); // the login goes to the server
        c.server.clearRequests();
        for (const auto& command : commands) {
            const Message m = last(command.code, command.data);
            EXPECT_EQ(m.id, c.accepted ? command.success : command.failure) << std::hex << command.code;
            if (!c.accepted) {
                EXPECT_EQ(m.payload, Bytes{command.result}) << std::hex << command.code;
            }
        }
        EXPECT_EQ(c.server.requestCount(), c.accepted ? 5u : 0u);
    }
}

TEST_F(CertificateShadowTest, StrictShadowConnectionTrustsTheBundleAndKeepsTheClientCertificate)
{
    // The certificate answer names another CA; the bundle's CA signed the shadow server.
    production->route("POST", "/prod/cert", Reply::ok(ourCertificate(pki().otherCa().certificatePem)));
    openShadowKit(true);
    identify(7, "M1", "D1");
    ASSERT_EQ(last(CMD_GET_CERTIFICATE, {0}).id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand()).id, MSG_SHADOW_RESULT);
    EXPECT_EQ(only(shadow).clientCommonName, pki().client().commonName);
}

} // namespace
