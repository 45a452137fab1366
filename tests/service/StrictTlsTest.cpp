// Server certificate checks: off by default, on request against a CA bundle.
#include "ServiceFixture.h"

using namespace OrvKitDef;

namespace {

class StrictTlsTest : public ServiceFixture
{
};

TEST_F(StrictTlsTest, ServerCertificatesAreCheckedOnlyWhenAskedFor)
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
        // POST requests follow the same rule.
        storeToken(kStoredToken, 0);
        m = last(CMD_LOGIN, login7());
        EXPECT_EQ(m.id, c.accepted ? MSG_LOGIN_RESULT : MSG_LOGIN_RESULT_ERROR);
        EXPECT_EQ(m.payload.size() == 1 ? m.payload[0] : 0, c.accepted ? 0 : RESULT_LOGIN_NETWORK_FAILURE);
        EXPECT_EQ(server.requestCount(), c.accepted ? 2u : 0u);
    }
}

TEST_F(StrictTlsTest, ShadowConnectionTrustsTheBundleAndKeepsTheClientCertificate)
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
    ASSERT_EQ(last(CMD_GET_CERTIFICATE, {0}).id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand()).id, MSG_SHADOW_RESULT);
    closeKit();
    EXPECT_EQ(only(shadow).clientCommonName, pki().client().commonName);
}

} // namespace
