// The failures of the README's "Diagnosing failures" table, each produced for
// real and told apart by what the orvkit.* categories log; silence without
// rules; and no secret in any line that these tests make the kit log.
#include "LogCapture.h"
#include "ServiceFixture.h"

#include <QNetworkProxy>

#include <cstdlib>

namespace {

const char kPassword[] = "pw-7Hq2-never-logged";
const char kProxySecret[] = "proxy-pw-never-logged";

class DiagnosticsTest : public ServiceFixture
{
protected:
    DiagnosticsTest() : capture(new LogCapture()) {}

    // Every line is scanned, after the kit has closed.
    void TearDown() override
    {
        ServiceFixture::TearDown();
        const std::string key = pki().client().privateKeyPem;
        const std::string keyLine = key.substr(key.find('\n', key.size() / 2) + 1, 40);
        for (const std::string& line : capture->lines())
            for (const char* secret :
                 {kStoredToken, kIssuedToken, kPassword, kProxySecret, keyLine.c_str(), "139.69", "35.68"})
                EXPECT_EQ(line.find(secret), std::string::npos) << "secret " << secret << " in: " << line;
    }

    // Looks at the lines logged from the index `from` on.
    void expectLogged(const std::vector<std::string>& texts, size_t from = 0)
    {
        const std::vector<std::string> lines = capture->lines();
        const auto holdsAll = [&](const std::string& line) {
            const auto holds = [&](const std::string& text) { return line.find(text) != std::string::npos; };
            return std::all_of(texts.begin(), texts.end(), holds);
        };
        EXPECT_TRUE(std::any_of(lines.begin() + static_cast<long>(std::min(from, lines.size())), lines.end(), holdsAll))
            << "no line holds all of: " << ::testing::PrintToString(texts) << "\nlogged:\n" << capture->joined();
    }

    std::unique_ptr<LogCapture> capture;
};

TEST_F(DiagnosticsTest, EachFailureClassLogsItsCause)
{
    TestHttpsServer::Config tls13 = TestHttpsServer::tls(pki());
    tls13.tls13Only = true;
    TestHttpsServer modernOnly(tls13);
    ASSERT_TRUE(modernOnly.start());
    const std::string path = "/api/navi/bookmarks/v1/destinations";
    production->route("GET", path, err(404, "E4041001"));
    const std::string closed = "https://127.0.0.1:1", proxyPort = "1"; // nothing listens there
    const std::string ours = production->origin();
    // origin: of the API; proxy: "http_proxy" while the kit opens; code: carried by 0x8073;
    // logged: per line, the texts it must hold.
    const struct { std::string origin, proxy; bool strictTls; uint8_t code; std::vector<std::vector<std::string>> logged; }
        failures[] = {
        {closed, "", false, RESULT_NETWORK_FAILURE,
         {{"orvkit.http: request GET " + closed + path + " direct -> status 0 error 1 \"Connection refused\""}}},
        {"https://orvkit-nowhere.invalid", "", false, RESULT_NETWORK_FAILURE,
         {{"request GET https://orvkit-nowhere.invalid" + path + " direct -> status 0 error 3 ",
           "orvkit-nowhere.invalid not found"}}},
        {modernOnly.origin(), "", false, RESULT_NETWORK_FAILURE,
         // Qt 6 adds OpenSSL's reason after Qt 5's text.
        {{"request GET " + modernOnly.origin() + path + " direct -> status 0 error 6 \"SSL handshake failed",
           ", offered TLS 1.2 only"}}},
        {ours, "", true, RESULT_NETWORK_FAILURE, {{"request GET " + ours + path + " TLS errors refused: "}}},
        {"https://orvkit-proxied.invalid", "http://orv:" + std::string(kProxySecret) + "@127.0.0.1:" + proxyPort, false,
         RESULT_NETWORK_FAILURE,
         {{"orvkit.kit: open: proxy 127.0.0.1:" + proxyPort + " from http_proxy"},
          {"request GET https://orvkit-proxied.invalid" + path + " via proxy 127.0.0.1:" + proxyPort +
           " -> status 0 error 99 \"Proxy connection refused\""}}},
        {ours, "", false, RESULT_NOT_FOUND,
         {{"orvkit.service: result context 5: status 404 error 203 server code \"E4041001\" -> 0x8073 [128]"},
          // Qt's own text, without the query
          {"request GET " + ours + path + " direct -> status 404 error 203 \"Error transferring " + ours + path +
           " - server replied: Not Found\" "}}},
    };
    const QNetworkProxy applicationProxy = QNetworkProxy::applicationProxy();
    for (const auto& f : failures) {
        SCOPED_TRACE(f.origin);
        const size_t from = capture->lines().size();
        OrvKitPreferences prefs = preferences();
        prefs.apiServerOrigin = f.origin;
        prefs.verifyServerCertificates = f.strictTls;
        if (!f.proxy.empty())
            setenv("http_proxy", f.proxy.c_str(), 1);
        openKit(prefs);
        unsetenv("http_proxy");
        const std::vector<Message> heard = run(CMD_GET_DESTINATIONS, {0}, {}, 10000);
        closeKit();
        QNetworkProxy::setApplicationProxy(applicationProxy);
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[1].id, MSG_RESULT_ERROR);
        EXPECT_EQ(heard[1].payload, Bytes{f.code});
        for (const std::vector<std::string>& line : f.logged)
            expectLogged(line, from);
        expectLogged({"orvkit.service: result context 5: status ", " -> 0x8073 [" + std::to_string(f.code) + "]"},
                     from);
    }
    expectLogged({"orvkit.service: command 0x41 accepted -> 0x8041"});
    expectLogged({"orvkit.kit: close: onCloseEnd"});
}

TEST_F(DiagnosticsTest, SignInCertificateAndPositionLogNoSecret)
{
    storeToken(kStoredToken, 0);
    openKit();
    EXPECT_EQ(last(CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", kPassword})).id, MSG_LOGIN_RESULT);
    EXPECT_EQ(last(CMD_GET_SPOTS, words({1, 2, 20, 0})).id, MSG_SPOTS_RESULT);
    EXPECT_EQ(last(CMD_GET_CERTIFICATE, {0}).id, MSG_CERTIFICATE_RESULT);
    OrvKitDat::CarPositions positions;
    positions.lon = 139.6917; positions.lat = 35.6895;
    EXPECT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand(positions)).id, MSG_SHADOW_RESULT);
    ASSERT_NE(production->lastRequest().body.find("139.69"), std::string::npos) << "the coordinates went out";

    const std::string ours = production->origin();
    expectLogged({"orvkit.service: command 0x01 accepted -> 0x8001"});
    expectLogged({"orvkit.http: request POST " + ours + "/api/navi/authorization/v1/local", " TLS errors ignored: "});
    expectLogged({"orvkit.service: result context 1: status 200 error 0 -> 0x8003, "});
    expectLogged({"orvkit.http: request POST " + ours + "/things/M1-D1/shadow direct -> status 200"});
    expectLogged({"orvkit.service: result context 13: status 200 error 0 -> 0x8063, "});
}

TEST_F(DiagnosticsTest, SilentWithoutRules)
{
    if (qEnvironmentVariableIsSet("QT_LOGGING_RULES"))
        GTEST_SKIP() << "QT_LOGGING_RULES is set";
    capture.reset();
    capture.reset(new LogCapture(false));
    openKit();
    identify(7, "M1", "D1");
    EXPECT_EQ(run(CMD_GET_DESTINATIONS, {0}).size(), 2u);
    closeKit();
    EXPECT_TRUE(capture->lines().empty()) << capture->joined();
}

} // namespace
