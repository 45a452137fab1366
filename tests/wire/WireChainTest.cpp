// The request bytes of one command of each kind, a non-ASCII identity and
// ids included, as a TLS server that offers HTTP/2 receives them, compared
// with the transcript kept beside this file. The Qt 5 and the Qt 6 build
// compare against the same file, so both put the same bytes on the wire.
// With ORVKIT_WIRE_TRANSCRIPT set, the transcript is also written there.
#include "ServiceFixture.h"
#include "WireRecorder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

using WireChainTest = ServiceFixture;

WireRecorder::Answer cloudAnswer(const std::string& method, const std::string& target, const std::string& certificate)
{
    if (target.rfind("/api/navi/authorization/", 0) == 0)
        return {200, authBody("wire-token", 4102444800LL), ""};
    if (target.rfind("/prod/cert", 0) == 0)
        return {200, certificate, ""};
    return {method == "DELETE" ? 204 : 200, method == "DELETE" ? "" : "{}", ""};
}

TEST_F(WireChainTest, EveryCommandSendsTheRecordedBytes)
{
    const std::string certificate = ourCertificate();
    WireRecorder cloud("cloud", pki().server().certificatePem, pki().server().privateKeyPem, "",
                       [&](const std::string& method, const std::string& target) {
                           return cloudAnswer(method, target, certificate);
                       });
    WireRecorder shadow("shadow", pki().server().certificatePem, pki().server().privateKeyPem,
                        pki().ca().certificatePem, [](const std::string&, const std::string&) {
                            return WireRecorder::Answer{200, "{\"state\":{\"reported\":{}}}", ""};
                        });
    ASSERT_TRUE(cloud.start());
    ASSERT_TRUE(shadow.start());
    storeToken("", 0);
    OrvKitPreferences prefs = allAt(OrvKitPreferences(), cloud.origin());
    prefs.deviceShadowOrigin = shadow.origin();
    openKit(prefs);

    const struct { unsigned long code; Bytes data; unsigned long result; } chain[] = {
        {CMD_LOGIN, loginBlock(7, {"M\xC3\xA9", "D\xE9", "driver\xC3\xA9", "p\xC3\xA4ss w&rd"}), MSG_LOGIN_RESULT},
        {CMD_GET_INFO_SUMMARY, {0}, MSG_INFO_SUMMARY_RESULT},
        {CMD_GET_SPOTS, words({1, 2, 20, 0xFFFF}), MSG_SPOTS_RESULT},
        {CMD_GET_SPOTS, words({3, 0, 0xFFFF, 0}), MSG_SPOTS_RESULT},
        {CMD_GET_SPOT_DETAIL, {0}, 0},
        {CMD_GET_FOLDERS, words({4, 1, 10, 7}), MSG_FOLDERS_RESULT},
        {CMD_GET_DESTINATIONS, {0}, MSG_DESTINATIONS_RESULT},
        {CMD_DELETE_DESTINATION, bytesOf("\xE9/x y"), MSG_DELETE_DESTINATION_RESULT},
        {CMD_GET_PLANS_SUMMARY, {0}, 0},
        {CMD_GET_PLANS, words({5}), MSG_PLANS_RESULT},
        {CMD_DELETE_PLANS, {0}, MSG_DELETE_PLANS_RESULT},
        {CMD_GET_GENRES, {0}, 0},
        {CMD_GET_CERTIFICATE, {0}, MSG_CERTIFICATE_RESULT},
        {CMD_UPDATE_SHADOW, positionsCommand(), MSG_SHADOW_RESULT},
    };
    int requests = 0;
    for (const auto& c : chain) {
        SCOPED_TRACE(c.code);
        // Contexts that answer nothing are waited for at the server.
        if (c.result == 0)
            ASSERT_FALSE(run(c.code, c.data, {MSG_ACCEPTED | c.code}).empty());
        else
            ASSERT_EQ(last(c.code, c.data).id, c.result);
        ++requests;
        WireRecorder& server = c.code == CMD_UPDATE_SHADOW ? shadow : cloud;
        ASSERT_TRUE(server.waitForRequests(c.code == CMD_UPDATE_SHADOW ? 1 : requests, 5000));
    }
    closeKit();
    cloud.stop();
    shadow.stop();
    const std::string transcript = cloud.transcript() + shadow.transcript();

    if (const char* path = std::getenv("ORVKIT_WIRE_TRANSCRIPT"))
        std::ofstream(path, std::ios::binary) << transcript;
    std::ifstream expectedFile(ORVKIT_WIRE_EXPECTED, std::ios::binary);
    std::stringstream expected;
    expected << expectedFile.rdbuf();
    EXPECT_EQ(transcript, expected.str());
}

} // namespace
