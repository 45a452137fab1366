#include "ServiceFixture.h"

#include "ServiceTestData.h"
#include "sysdata/SysDataOrvToken.h"

#include <OrvKitDef.h>

#include <algorithm>
#include <ctime>

using namespace servicetest;

const char ServiceFixture::kStoredToken[] = "stored-token-1";
const char ServiceFixture::kIssuedToken[] = "issued-token-2";

TestPki& ServiceFixture::pki()
{
    // Key generation is the slowest step of a test; one hierarchy serves all.
    static TestPki shared("orv-device-M1-D1");
    return shared;
}

void ServiceFixture::storeToken(const std::string& token, long long expiration)
{
    SysDataOrvToken* store = SysDataOrvToken::GetInstance();
    store->storeTokenAccess(token);
    store->storeTokenExpiration(static_cast<int>(expiration));
}

long long ServiceFixture::now()
{
    return static_cast<long long>(std::time(nullptr));
}

void ServiceFixture::SetUp()
{
    ASSERT_TRUE(pki().isValid());
    storeToken(kStoredToken, now() + 3600);
    production.reset(new TestHttpsServer(TestHttpsServer::tls(pki())));
    testCloud.reset(new TestHttpsServer(TestHttpsServer::tls(pki())));
    addDefaultRoutes(*production);
    addDefaultRoutes(*testCloud);
    ASSERT_TRUE(production->start());
    ASSERT_TRUE(testCloud->start());
}

void ServiceFixture::TearDown()
{
    closeKit();
    testCloud.reset();
    production.reset();
}

void ServiceFixture::addDefaultRoutes(TestHttpsServer& server)
{
    using Reply = TestHttpsServer::Reply;
    server.clearRoutes();
    server.route("GET", "/", [](const TestHttpsServer::Request& request) {
        return Reply::ok("{\"path\":\"" + request.path + "\"}");
    }, TestHttpsServer::Match::Prefix);
    server.route("DELETE", "/", Reply::withStatus(204), TestHttpsServer::Match::Prefix);
    server.route("POST", "/api/navi/authorization/v1/local", Reply::ok(authBody(kIssuedToken, now() + 3600)));
    const std::string certificate =
        certificateBody(pki().ca().certificatePem, pki().client().certificatePem, pki().client().privateKeyPem);
    server.route("POST", "/prod/cert", Reply::ok(certificate));
    server.route("POST", "/dev/cert", Reply::ok(certificate));
    server.route("POST", "/things/", Reply::ok("{\"state\":{\"reported\":{}}}"), TestHttpsServer::Match::Prefix);
}

OrvKitPreferences ServiceFixture::preferences() const
{
    OrvKitPreferences prefs;
    prefs.authServerOrigin = production->origin();
    prefs.apiServerOrigin = production->origin();
    prefs.certificateOrigin = production->origin();
    prefs.deviceShadowOrigin = production->origin();
    prefs.authServerTestOrigin = testCloud->origin();
    prefs.apiServerTestOrigin = testCloud->origin();
    prefs.certificateTestOrigin = testCloud->origin();
    prefs.deviceShadowTestOrigin = testCloud->origin();
    return prefs;
}

KitSession& ServiceFixture::openKit()
{
    return openKit(preferences());
}

KitSession& ServiceFixture::openKit(const OrvKitPreferences& prefs)
{
    closeKit();
    session.reset(new KitSession(prefs));
    EXPECT_TRUE(session->isReady());
    return *session;
}

void ServiceFixture::closeKit()
{
    session.reset();
}

void ServiceFixture::identify(unsigned char maker, const std::string& model, const std::string& deviceNo,
                              const std::string& loginId)
{
    const std::vector<KitSession::Message> heard =
        session->run(OrvKitDef::CMD_LOGIN, loginBlock(maker, {model, deviceNo, loginId, "secret"}),
                     {OrvKitDef::MSG_LOGIN_RESULT, OrvKitDef::MSG_LOGIN_ERROR, OrvKitDef::MSG_LOGIN_RESULT_ERROR});
    ASSERT_FALSE(heard.empty()) << "no answer to the login";
    ASSERT_EQ(heard.back().id, OrvKitDef::MSG_LOGIN_RESULT);
    ASSERT_TRUE(heard.back().payload.empty()) << "the stored token was expected to be valid";
}

std::vector<KitSession::Message> ServiceFixture::heardBeforeFollowUp()
{
    const unsigned long accepted = OrvKitDef::MSG_ACCEPTED | OrvKitDef::CMD_GET_DESTINATIONS;
    EXPECT_TRUE(session->send(OrvKitDef::CMD_GET_DESTINATIONS, {0}));
    for (;;) {
        std::vector<KitSession::Message> heard = session->listener().received();
        const auto isAccepted = [&](const KitSession::Message& m) { return m.id == accepted; };
        const auto acceptance = std::find_if(heard.begin(), heard.end(), isAccepted);
        const auto answer = std::find_if(acceptance, heard.end(), [](const KitSession::Message& m) {
            return m.id == OrvKitDef::MSG_DESTINATIONS_RESULT || m.id == OrvKitDef::MSG_RESULT_ERROR;
        });
        if (answer != heard.end()) {
            heard.erase(answer);
            heard.erase(acceptance);
            return heard;
        }
        if (!session->listener().waitForMessages(heard.size() + 1, 5000)) {
            ADD_FAILURE() << "no answer to the follow-up command";
            return heard;
        }
    }
}
