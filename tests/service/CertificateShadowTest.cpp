// The device certificate and the position report over mutual TLS: what is
// fetched and when, what reaches the shadow, and what the TLS layer refuses.
#include "ServiceFixture.h"

using namespace OrvKitDef;

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

    void openShadowKit()
    {
        OrvKitPreferences prefs = preferences();
        prefs.deviceShadowOrigin = shadow->origin();
        prefs.deviceShadowTestOrigin = shadowTest->origin();
        openKit(prefs);
    }

    size_t fetches(const std::string& path = "/prod/cert")
    {
        size_t count = 0;
        for (const TestHttpsServer::Request& request : (path == "/prod/cert" ? production : testCloud)->requests())
            count += request.path == path ? 1 : 0;
        return count;
    }

    std::unique_ptr<TestHttpsServer> shadow;
    std::unique_ptr<TestHttpsServer> shadowTest;
};

OrvKitDat::CarPositions foreignPosition()
{
    OrvKitDat::CarPositions positions;
    positions.maker = "99";
    positions.model = "OTHER";
    positions.deviceNo = "000";
    positions.type = "car";
    positions.lon = 139.7;
    positions.lat = 35.68;
    positions.measuredAt = "2024-06-15T00:30:00Z";
    positions.direction = 90;
    positions.speed = 40;
    positions.elevation = -3.5;
    positions.accuracy = 12.34;
    positions.roadType = 2;
    positions.accOff = true;
    return positions;
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
    const struct
    {
        long long expiration;
        bool fetched;
    } rounds[] = {{now() + 3600, false}, {0, true}, {now() + 3600, false}};
    size_t expected = 1;
    for (const auto& round : rounds) {
        storeToken(round.expiration == 0 ? kStoredToken : kIssuedToken, round.expiration);
        ASSERT_EQ(last(CMD_LOGIN, login7()).id, MSG_LOGIN_RESULT);
        heard = run(CMD_GET_CERTIFICATE, {0});
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_RESULT);
        EXPECT_EQ(heard[0].payload.empty(), !round.fetched);
        expected += round.fetched ? 1 : 0;
        EXPECT_EQ(fetches(), expected);
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
        EXPECT_EQ(fetches(), round);
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
    EXPECT_EQ(fetches("/dev/cert"), 1u);
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
        const std::string body = only(*production).body;
        EXPECT_EQ(body.find("{\"state\":{\"reported\":{\"maker\": \"07\",\"model\": \"M1\",\"deviceNo\": \"D1\","), 0u)
            << body;
    }
}

} // namespace
