// Server certificate checks: off by default, on request against a CA bundle.
#include "ServiceFixture.h"
#include "ServiceTestData.h"

#include <OrvKitDef.h>

using namespace OrvKitDef;
using namespace servicetest;
using Message = KitSession::Message;
using Reply = TestHttpsServer::Reply;

namespace {

class StrictTlsTest : public ServiceFixture
{
protected:
    void SetUp() override
    {
        ServiceFixture::SetUp();
        foreign.reset(new TestHttpsServer(TestHttpsServer::otherCa(pki())));
        addDefaultRoutes(*foreign);
        ASSERT_TRUE(foreign->start());
    }

    OrvKitPreferences pointedAt(const TestHttpsServer& server, bool verify, const std::string& bundle) const
    {
        OrvKitPreferences prefs = preferences();
        prefs.authServerOrigin = server.origin();
        prefs.apiServerOrigin = server.origin();
        prefs.certificateOrigin = server.origin();
        prefs.deviceShadowOrigin = server.origin();
        prefs.verifyServerCertificates = verify;
        prefs.caBundlePath = bundle;
        return prefs;
    }

    std::unique_ptr<TestHttpsServer> foreign;
};

TEST_F(StrictTlsTest, ServerCertificatesAreCheckedOnlyWhenAskedFor)
{
    struct Case
    {
        const char* name;
        bool foreignServer;
        bool verify;
        bool withBundle;
        bool accepted;
    };
    const Case cases[] = {
        {"strict, server of the bundle's CA", false, true, true, true},
        {"strict, server of another CA", true, true, true, false},
        {"strict, system CAs only", false, true, false, false},
        {"default, server of another CA", true, false, false, true},
        {"bundle without strict mode", true, false, true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestHttpsServer& server = c.foreignServer ? *foreign : *production;
        server.clearRequests();
        // A fresh kit per case: open connections are reused whatever the TLS settings.
        openKit(pointedAt(server, c.verify, c.withBundle ? pki().ca().certificatePath : std::string()));
        std::vector<Message> heard = session->run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR});
        ASSERT_FALSE(heard.empty());
        EXPECT_EQ(heard.back().id, c.accepted ? MSG_INFO_SUMMARY_RESULT : MSG_RESULT_ERROR);
        if (!c.accepted) {
            EXPECT_EQ(heard.back().payload, std::vector<uint8_t>{RESULT_NETWORK_FAILURE});
        }

        // POST requests follow the same rule.
        storeToken(kStoredToken, 0);
        heard = session->run(CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", "secret"}),
                             {MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, MSG_LOGIN_ERROR});
        ASSERT_FALSE(heard.empty());
        EXPECT_EQ(heard.back().id, c.accepted ? MSG_LOGIN_RESULT : MSG_LOGIN_RESULT_ERROR);
        if (!c.accepted) {
            EXPECT_EQ(heard.back().payload, std::vector<uint8_t>{RESULT_LOGIN_NETWORK_FAILURE});
        }
        EXPECT_EQ(server.requestCount(), c.accepted ? 2u : 0u);
    }
}

TEST_F(StrictTlsTest, StrictModeKeepsTheClientCertificateOfTheShadow)
{
    TestHttpsServer shadow(TestHttpsServer::mutualTls(pki()));
    shadow.route("POST", "/things/M1-D1/shadow", Reply::ok("{}"));
    ASSERT_TRUE(shadow.start());
    OrvKitPreferences prefs = pointedAt(*production, true, pki().ca().certificatePath);
    prefs.deviceShadowOrigin = shadow.origin();
    openKit(prefs);
    identify(7, "M1", "D1");
    std::vector<Message> heard = session->run(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR});
    ASSERT_FALSE(heard.empty());
    ASSERT_EQ(heard.back().id, MSG_CERTIFICATE_RESULT);
    heard = session->run(CMD_UPDATE_SHADOW, positionsCommand(OrvKitDat::CarPositions()),
                         {MSG_SHADOW_RESULT, MSG_RESULT_ERROR});
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_SHADOW_RESULT);
    EXPECT_EQ(shadow.lastRequest().clientCommonName, pki().client().commonName);
    closeKit();
}

} // namespace
