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
        shadow.reset(new TestHttpsServer(TestHttpsServer::mutualTls(pki())));
        shadowTest.reset(new TestHttpsServer(TestHttpsServer::mutualTls(pki())));
        for (TestHttpsServer* server : {shadow.get(), shadowTest.get()}) {
            server->route("POST", "/things/", Reply::ok("{\"state\":{\"reported\":{\"ok\":1}}}"),
                          TestHttpsServer::Match::Prefix);
            ASSERT_TRUE(server->start());
        }
    }

    void openShadowKit(bool strict = false)
    {
        OrvKitPreferences prefs = preferences();
        prefs.deviceShadowOrigin = shadow->origin();
        prefs.deviceShadowTestOrigin = shadowTest->origin();
        prefs.verifyServerCertificates = strict;
        prefs.caBundlePath = strict ? pki().ca().certificatePath : std::string();
        openKit(prefs);
    }

    static size_t fetches(const TestHttpsServer& server)
    {
        const std::vector<TestHttpsServer::Request> all = server.requests();
        return std::count_if(all.begin(), all.end(), [](const TestHttpsServer::Request& r) {
            return r.path.find("/cert") != std::string::npos;
        });
    }

    std::unique_ptr<TestHttpsServer> shadow;
    std::unique_ptr<TestHttpsServer> shadowTest;
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
    EXPECT_EQ(textOf(heard[0].payload), certificateBody(pki().ca().certificatePem, pki().client().certificatePem,
                                                        pki().client().privateKeyPem));
    const TestHttpsServer::Request fetch = production->lastRequest();
    EXPECT_EQ(fetch.method, "POST");
    EXPECT_EQ(fetch.target, "/prod/cert");
    EXPECT_EQ(fetch.header("Authorization"), std::string("Bearer ") + kIssuedToken);
    EXPECT_EQ(fetch.header("Content-Type"), "application/json");
    EXPECT_EQ(fetch.body, "{\"model\": \"M1\",\"deviceNo\": \"D1\"}");

    heard = run(CMD_UPDATE_SHADOW, positionsCommand(foreignPosition()));
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].id, MSG_ACCEPTED | CMD_UPDATE_SHADOW);
    EXPECT_EQ(heard[1].id, MSG_SHADOW_RESULT);
    EXPECT_EQ(textOf(heard[1].payload), "{\"state\":{\"reported\":{\"ok\":1}}}");
    const TestHttpsServer::Request update = only(*shadow);
    EXPECT_EQ(update.method, "POST");
    EXPECT_EQ(update.target, "/things/M1-D1/shadow");
    EXPECT_EQ(update.clientCommonName, pki().client().commonName);
    EXPECT_FALSE(update.hasHeader("Authorization")) << "the certificate authenticates the device";
    EXPECT_EQ(update.header("Content-Type"), "application/json");
    // The record's own maker, model and device number are replaced by the service's.
    EXPECT_EQ(update.body,
              "{\"state\":{\"reported\":{\"maker\": \"07\",\"model\": \"M1\",\"deviceNo\": \"D1\",\"type\": \"car\","
              "\"positions\": [{\"lon\": 139.700000000000,\"lat\": 35.680000000000,"
              "\"measuredAt\": \"2024-06-15T00:30:00Z\",\"direction\": 90,\"speed\": 40,\"elevation\": -3.50,"
              "\"accuracy\": 12.3,\"roadType\": 2,\"accOff\": true}]}}}");

    // Held: answered at once, with no request, until a login reaches the server.
    size_t expected = 1;
    for (long long expiration : {now() + 3600, 0LL, now() + 3600}) {
        storeToken(kIssuedToken, expiration);
        ASSERT_EQ(last(CMD_LOGIN, login7()).id, MSG_LOGIN_RESULT);
        heard = run(CMD_GET_CERTIFICATE, {0});
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_RESULT);
        EXPECT_EQ(heard[0].payload.empty(), expiration != 0);
        expected += expiration == 0 ? 1 : 0;
        EXPECT_EQ(fetches(*production), expected);
    }
}

TEST_F(CertificateShadowTest, PartialCertificateIsFetchedAgain)
{
    production->route("POST", "/prod/cert",
                      Reply::ok(certificateBody(pki().ca().certificatePem, pki().client().certificatePem, "")));
    openShadowKit();
    identify(7, "M1", "D1");
    for (size_t round = 1; round <= 2; ++round) {
        const std::vector<Message> heard = run(CMD_GET_CERTIFICATE, {0});
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_FALSE(heard[0].payload.empty());
        EXPECT_EQ(fetches(*production), round);
    }
    // Without its key the certificate cannot be presented.
    EXPECT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand()).id, MSG_RESULT_ERROR);
    EXPECT_EQ(shadow->requestCount(), 0u);
}

TEST_F(CertificateShadowTest, TlsRefusalsGoThroughTheDeviceCodes)
{
    const TestPki::Identity stranger = pki().issueClientCertificate("orv-stranger", true);
    ASSERT_FALSE(stranger.certificatePem.empty());
    const std::string answers[] = {
        std::string(), // no certificate held
        certificateBody(pki().otherCa().certificatePem, stranger.certificatePem, stranger.privateKeyPem),
        certificateBody("not a certificate", "nor this", "no key"),
    };
    for (const std::string& answer : answers) {
        SCOPED_TRACE(answer.substr(0, 40));
        openShadowKit(); // a fresh kit: an open connection is reused whatever the certificate
        identify(7, "M1", "D1");
        if (!answer.empty()) {
            production->route("POST", "/prod/cert", Reply::ok(answer));
            ASSERT_EQ(run(CMD_GET_CERTIFICATE, {0}).size(), 1u);
        }
        const std::vector<Message> heard = run(CMD_UPDATE_SHADOW, positionsCommand(foreignPosition()));
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[1].id, MSG_RESULT_ERROR);
        EXPECT_EQ(heard[1].payload, Bytes{DEVICE_RESULT_UNCLASSIFIED});
        EXPECT_EQ(shadow->requestCount(), 0u);
    }
}

TEST_F(CertificateShadowTest, TestIdentityUsesTheTestEndpoints)
{
    openShadowKit();
    identify(7, "M", "123", "QahvomTPsk42");
    EXPECT_EQ(last(CMD_GET_CERTIFICATE, {0}).id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(only(*testCloud).target, "/dev/cert");
    EXPECT_EQ(testCloud->lastRequest().body, "{\"model\": \"M\",\"deviceNo\": \"123\"}");
    EXPECT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand()).id, MSG_SHADOW_RESULT);
    EXPECT_EQ(only(*shadowTest).target, "/things/M-123/shadow");
    EXPECT_EQ(production->requestCount() + shadow->requestCount(), 0u);
}

TEST_F(CertificateShadowTest, HostileShadowBytesStillReportTheServiceIdentity)
{
    openKit(); // plain TLS: without a certificate the report still goes out
    identify(7, "M1", "D1");
    const Bytes valid = positionsCommand(foreignPosition());
    for (const Bytes& bytes : {Bytes(64, 0xFF), Bytes(valid.begin(), valid.begin() + static_cast<long>(valid.size() / 2)),
                               Bytes{0x00}}) {
        SCOPED_TRACE(bytes.size());
        production->clearRequests();
        EXPECT_EQ(last(CMD_UPDATE_SHADOW, bytes).id, MSG_SHADOW_RESULT);
        EXPECT_EQ(only(*production).body.find(
                      "{\"state\":{\"reported\":{\"maker\": \"07\",\"model\": \"M1\",\"deviceNo\": \"D1\","),
                  0u);
    }
}

TEST_F(CertificateShadowTest, ServerCertificatesAreCheckedOnlyWhenAskedFor)
{
    TestHttpsServer foreign(TestHttpsServer::otherCa(pki()));
    addDefaultRoutes(foreign);
    ASSERT_TRUE(foreign.start());
    const struct
    {
        const char* name;
        bool foreignServer;
        bool verify;
        bool withBundle;
        bool accepted;
    } cases[] = {
        {"strict, server of the bundle's CA", false, true, true, true},
        {"strict, server of another CA", true, true, true, false},
        {"strict, system CAs only", false, true, false, false},
        {"default, server of another CA", true, false, false, true},
        {"bundle without strict mode", true, false, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestHttpsServer& server = c.foreignServer ? foreign : *production;
        server.clearRequests();
        OrvKitPreferences prefs = allAt(preferences(), server.origin());
        prefs.verifyServerCertificates = c.verify;
        prefs.caBundlePath = c.withBundle ? pki().ca().certificatePath : std::string();
        openKit(prefs); // a fresh kit: open connections are reused whatever the TLS settings
        Message m = last(CMD_GET_INFO_SUMMARY, {0});
        EXPECT_EQ(m.id, c.accepted ? MSG_INFO_SUMMARY_RESULT : MSG_RESULT_ERROR);
        EXPECT_EQ(m.payload.size() == 1 ? m.payload[0] : 0, c.accepted ? 0 : RESULT_NETWORK_FAILURE);
        storeToken(kStoredToken, 0); // POST requests follow the same rule
        m = last(CMD_LOGIN, login7());
        EXPECT_EQ(m.id, c.accepted ? MSG_LOGIN_RESULT : MSG_LOGIN_RESULT_ERROR);
        EXPECT_EQ(m.payload.size() == 1 ? m.payload[0] : 0, c.accepted ? 0 : RESULT_LOGIN_NETWORK_FAILURE);
        EXPECT_EQ(server.requestCount(), c.accepted ? 2u : 0u);
    }
}

TEST_F(CertificateShadowTest, StrictShadowConnectionTrustsTheBundleAndKeepsTheClientCertificate)
{
    // The certificate answer names another CA; the bundle's CA signed the shadow server.
    production->route("POST", "/prod/cert", Reply::ok(certificateBody(pki().otherCa().certificatePem,
                                                                      pki().client().certificatePem,
                                                                      pki().client().privateKeyPem)));
    openShadowKit(true);
    identify(7, "M1", "D1");
    ASSERT_EQ(last(CMD_GET_CERTIFICATE, {0}).id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand()).id, MSG_SHADOW_RESULT);
    EXPECT_EQ(only(*shadow).clientCommonName, pki().client().commonName);
}

} // namespace
