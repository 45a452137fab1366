// The device certificate and the position report over mutual TLS: what is
// fetched and when, what reaches the shadow, and what the TLS layer refuses.
#include "ServiceFixture.h"
#include "ServiceTestData.h"

#include <OrvKitDef.h>

using namespace OrvKitDef;
using namespace servicetest;
using Message = KitSession::Message;
using Reply = TestHttpsServer::Reply;

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

    OrvKitPreferences shadowPreferences() const
    {
        OrvKitPreferences prefs = preferences();
        prefs.deviceShadowOrigin = shadow->origin();
        prefs.deviceShadowTestOrigin = shadowTest->origin();
        return prefs;
    }

    std::vector<Message> certificate()
    {
        return session->run(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, MSG_REQUEST_ERROR});
    }

    std::vector<Message> report(const OrvKitDat::CarPositions& positions)
    {
        return session->run(CMD_UPDATE_SHADOW, positionsCommand(positions),
                            {MSG_SHADOW_RESULT, MSG_RESULT_ERROR, MSG_REQUEST_ERROR});
    }

    size_t certificateRequests(TestHttpsServer& server, const std::string& path)
    {
        size_t count = 0;
        for (const TestHttpsServer::Request& request : server.requests())
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
    openKit(shadowPreferences());
    std::vector<Message> heard =
        session->run(CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", "secret"}),
                     {MSG_LOGIN_RESULT, MSG_LOGIN_ERROR, MSG_LOGIN_RESULT_ERROR});
    ASSERT_FALSE(heard.empty());
    ASSERT_EQ(heard.back().id, MSG_LOGIN_RESULT);
    ASSERT_FALSE(heard.back().payload.empty());

    heard = certificate();
    ASSERT_EQ(heard.size(), 1u) << "a certificate request is not acknowledged first";
    EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(textOf(heard[0].payload), certificateBody(pki().ca().certificatePem, pki().client().certificatePem,
                                                        pki().client().privateKeyPem));
    const TestHttpsServer::Request fetch = production->lastRequest();
    EXPECT_EQ(fetch.method, "POST");
    EXPECT_EQ(fetch.path, "/prod/cert");
    EXPECT_EQ(fetch.header("Authorization"), std::string("Bearer ") + kIssuedToken);
    EXPECT_EQ(fetch.header("Content-Type"), "application/json");
    EXPECT_EQ(fetch.body, "{\"model\": \"M1\",\"deviceNo\": \"D1\"}");

    // Held now: answered at once, no second request.
    heard = certificate();
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_RESULT);
    EXPECT_TRUE(heard[0].payload.empty());
    EXPECT_EQ(certificateRequests(*production, "/prod/cert"), 1u);

    heard = report(foreignPosition());
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].id, MSG_ACCEPTED | CMD_UPDATE_SHADOW);
    EXPECT_EQ(heard[1].id, MSG_SHADOW_RESULT);
    EXPECT_EQ(textOf(heard[1].payload), "{\"state\":{\"reported\":{\"ok\":1}}}");
    ASSERT_EQ(shadow->requestCount(), 1u);
    const TestHttpsServer::Request update = shadow->lastRequest();
    EXPECT_EQ(update.method, "POST");
    EXPECT_EQ(update.path, "/things/M1-D1/shadow");
    EXPECT_EQ(update.clientCommonName, pki().client().commonName);
    EXPECT_FALSE(update.hasHeader("Authorization")) << "the certificate authenticates the device";
    EXPECT_EQ(update.header("Content-Type"), "application/json");
    // The record's own maker, model and device number are replaced by the service's.
    EXPECT_EQ(update.body,
              "{\"state\":{\"reported\":{\"maker\": \"07\",\"model\": \"M1\",\"deviceNo\": \"D1\",\"type\": \"car\","
              "\"positions\": [{\"lon\": 139.700000000000,\"lat\": 35.680000000000,"
              "\"measuredAt\": \"2024-06-15T00:30:00Z\",\"direction\": 90,\"speed\": 40,\"elevation\": -3.50,"
              "\"accuracy\": 12.3,\"roadType\": 2,\"accOff\": true}]}}}");

    // A login that reaches the server drops the certificate: the next command fetches anew.
    storeToken(kStoredToken, 0);
    heard = session->run(CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", "secret"}), {MSG_LOGIN_RESULT});
    ASSERT_FALSE(heard.empty());
    heard = certificate();
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_FALSE(heard[0].payload.empty());
    EXPECT_EQ(certificateRequests(*production, "/prod/cert"), 2u);

    // A login answered locally keeps it.
    heard = session->run(CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", "secret"}), {MSG_LOGIN_RESULT});
    ASSERT_FALSE(heard.empty());
    ASSERT_TRUE(heard.back().payload.empty());
    heard = certificate();
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_TRUE(heard[0].payload.empty());
    EXPECT_EQ(certificateRequests(*production, "/prod/cert"), 2u);
}

TEST_F(CertificateShadowTest, PartialCertificateIsFetchedAgain)
{
    production->route("POST", "/prod/cert",
                      Reply::ok(certificateBody(pki().ca().certificatePem, pki().client().certificatePem, "")));
    openKit(shadowPreferences());
    identify(7, "M1", "D1");
    for (size_t round = 1; round <= 2; ++round) {
        const std::vector<Message> heard = certificate();
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_FALSE(heard[0].payload.empty());
        EXPECT_EQ(certificateRequests(*production, "/prod/cert"), round);
    }
    // Without its key the certificate cannot be presented.
    const std::vector<Message> heard = report(foreignPosition());
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_RESULT_ERROR);
    EXPECT_EQ(shadow->requestCount(), 0u);
}

TEST_F(CertificateShadowTest, TlsRefusalsGoThroughTheDeviceCodes)
{
    const TestPki::Identity stranger = pki().issueClientCertificate("orv-stranger", true);
    ASSERT_FALSE(stranger.certificatePem.empty());
    struct Case
    {
        const char* name;
        std::string certificateAnswer; // empty: no certificate is fetched
    };
    const Case cases[] = {
        {"no certificate held", std::string()},
        {"certificate of another CA",
         certificateBody(pki().otherCa().certificatePem, stranger.certificatePem, stranger.privateKeyPem)},
        {"unparsable texts", certificateBody("not a certificate", "nor this", "no key")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // A fresh kit: an open connection would be reused whatever the certificate.
        openKit(shadowPreferences());
        identify(7, "M1", "D1");
        if (!c.certificateAnswer.empty()) {
            production->route("POST", "/prod/cert", Reply::ok(c.certificateAnswer));
            ASSERT_EQ(certificate().size(), 1u);
        }
        const std::vector<Message> heard = report(foreignPosition());
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[0].id, MSG_ACCEPTED | CMD_UPDATE_SHADOW);
        EXPECT_EQ(heard[1].id, MSG_RESULT_ERROR);
        EXPECT_EQ(heard[1].payload, std::vector<uint8_t>{DEVICE_RESULT_UNCLASSIFIED});
        EXPECT_EQ(shadow->requestCount(), 0u);
    }
}

TEST_F(CertificateShadowTest, TestIdentityUsesTheTestEndpoints)
{
    openKit(shadowPreferences());
    identify(7, "M", "123", "QahvomTPsk42");
    std::vector<Message> heard = certificate();
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(certificateRequests(*testCloud, "/dev/cert"), 1u);
    EXPECT_EQ(testCloud->lastRequest().body, "{\"model\": \"M\",\"deviceNo\": \"123\"}");

    heard = report(OrvKitDat::CarPositions());
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[1].id, MSG_SHADOW_RESULT);
    ASSERT_EQ(shadowTest->requestCount(), 1u);
    EXPECT_EQ(shadowTest->lastRequest().path, "/things/M-123/shadow");
    EXPECT_EQ(production->requestCount() + shadow->requestCount(), 0u);
}

TEST_F(CertificateShadowTest, HostileShadowBytesStillReportTheServiceIdentity)
{
    // Plain TLS: without a certificate the report still goes out.
    openKit();
    identify(7, "M1", "D1");
    const std::vector<uint8_t> valid = positionsCommand(foreignPosition());
    const std::vector<std::vector<uint8_t>> commands = {
        std::vector<uint8_t>(64, 0xFF),
        std::vector<uint8_t>(valid.begin(), valid.begin() + static_cast<long>(valid.size() / 2)),
        {0x00},
    };
    for (const std::vector<uint8_t>& bytes : commands) {
        SCOPED_TRACE(bytes.size());
        production->clearRequests();
        const std::vector<Message> heard =
            session->run(CMD_UPDATE_SHADOW, bytes, {MSG_SHADOW_RESULT, MSG_RESULT_ERROR, MSG_REQUEST_ERROR});
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[1].id, MSG_SHADOW_RESULT);
        ASSERT_EQ(production->requestCount(), 1u);
        const std::string body = production->lastRequest().body;
        EXPECT_EQ(body.find("{\"state\":{\"reported\":{\"maker\": \"07\",\"model\": \"M1\",\"deviceNo\": \"D1\","), 0u)
            << body;
    }
}

} // namespace
