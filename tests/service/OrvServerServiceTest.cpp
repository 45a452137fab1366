// How replies become result messages: the server's status and error code,
// the device endpoints' own codes and the certificate answers; empty commands (the facade refuses them) and the
// network access status.
#include "ServiceFixture.h"
#include "OrvServerServiceProbe.h"

#include <atomic>
#include <thread>

namespace {

using OrvServerServiceTest = ServiceFixture;
struct StatusCase { Reply reply; uint8_t code; };

TEST(OrvServerService, EmptyDataIsRefusedBeforeAnyAcceptance)
{
    OrvKitPreferences preferences;
    OrvServerServiceProbe service(&preferences, nullptr);
    OrvKitInbox inbox;
    service.setListener(&inbox);
    // A failed ASSERT ends its own command only.
    const auto check = [&](unsigned long code, unsigned long refusal) {
        SCOPED_TRACE(code);
        inbox.clear();
        service.recvCommand(Bytes(), code);
        const Heard heard = takeQueued(inbox);
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_EQ(heard[0].id, refusal);
        EXPECT_EQ(heard[0].payload, Bytes{0x02});
    };
    for (unsigned long code : {CMD_GET_SPOTS, CMD_GET_FOLDERS, CMD_DELETE_DESTINATION, CMD_GET_PLANS, CMD_UPDATE_SHADOW})
        check(code, 0x8071);
    check(CMD_LOGIN, 0x8075);
    EXPECT_EQ(service.getNetworkAccessStatus(), 0);
}

TEST_F(OrvServerServiceTest, NetworkAccessStatusTellsARequestInFlight)
{
    production->route("GET", "/api/navi/info/v1/summary", Reply::held("never", Reply::ok("{}")));
    // Reads the status on the event thread, as the acceptance of a command goes out.
    struct Probe : OrvKitInbox
    {
        std::atomic<OrvServerService*> service{nullptr};
        std::atomic<int> status{-1};
        void onMessage(CmdData& message) override
        {
            if (message.uniqueID == (MSG_ACCEPTED | CMD_GET_DESTINATIONS))
                status = service.load()->getNetworkAccessStatus();
            OrvKitInbox::onMessage(message);
        }
    } probe;
    OrvKitPreferences prefs = preferences();
    std::thread worker([&] {
        OrvServerService service(&prefs, nullptr);
        service.setListener(&probe);
        probe.service = &service;
        service.eventLoop();
    });
    ASSERT_TRUE(probe.waitOpened(scaled(std::chrono::seconds(5))));
    OrvServerService* service = probe.service.load();
    service->sendCommand({0}, CMD_GET_INFO_SUMMARY);
    const bool inFlight = production->waitForRequests(1, 5000);
    service->sendCommand({0}, kUnknownCommand); // unknown: only updates the status
    service->sendCommand({0}, CMD_GET_DESTINATIONS);
    const bool accepted = !takeUntilId(probe, MSG_ACCEPTED | CMD_GET_DESTINATIONS, scaled(std::chrono::seconds(5))).empty();
    service->close();
    worker.join();
    ASSERT_TRUE(inFlight);
    ASSERT_TRUE(accepted);
    EXPECT_EQ(probe.status, 1);
}

TEST_F(OrvServerServiceTest, ServerAnswersMapToResultCodes)
{
    const StatusCase cases[] = {
        {err(400, "E4001001"), RESULT_BAD_REQUEST_E4001001}, {err(400, "E4001002"), RESULT_BAD_REQUEST_E4001002},
        {err(400, "E4001003"), RESULT_UNCLASSIFIED},         {err(400, "e4001001"), RESULT_UNCLASSIFIED},
        {Reply::withStatus(400), RESULT_UNCLASSIFIED},       {err(401, "E4011001"), RESULT_UNAUTHORIZED},
        {err(401, "E4019xyz"), RESULT_TOKEN_EXPIRED},        {err(401, "E4019xy"), RESULT_UNCLASSIFIED},
        {err(401, "I4011001"), RESULT_UNAUTHORIZED_I4011001}, {err(401, "I4011002"), RESULT_UNAUTHORIZED_I4011002},
        {err(401, "I4011004"), RESULT_UNAUTHORIZED_I4011004}, {err(401, "I4011003"), RESULT_UNCLASSIFIED},
        {Reply::withStatus(401, "{}"), RESULT_UNCLASSIFIED}, {Reply::withStatus(401), RESULT_UNCLASSIFIED},
        {err(403, "E4001001"), RESULT_FORBIDDEN},            {err(404, "E4041001"), RESULT_NOT_FOUND},
        {err(404, "E404"), RESULT_NOT_FOUND_UNRECOGNISED},   {err(404, "E4041002"), RESULT_UNCLASSIFIED},
        {Reply::withStatus(404, "not json"), RESULT_NOT_FOUND_UNRECOGNISED}, {Reply::withStatus(404), RESULT_UNCLASSIFIED},
        {err(500, "E5001001"), RESULT_SERVER_ERROR},         {err(500, "E5001002"), RESULT_UNCLASSIFIED},
        {Reply::withStatus(500), RESULT_UNCLASSIFIED},       {err(503, "I5031001"), RESULT_UNAVAILABLE},
        {err(503, "E5031001"), RESULT_UNCLASSIFIED},         {err(418, "E4001001"), RESULT_UNCLASSIFIED},
        {Reply::withStatus(502), RESULT_UNCLASSIFIED},       {Reply::withStatus(204), RESULT_UNCLASSIFIED}, // not 200
        {Reply::redirect("https://127.0.0.1:1/elsewhere"), RESULT_UNCLASSIFIED}, // not followed
        {Reply::truncated("{\"spot\":{}}", 3), RESULT_NETWORK_FAILURE},          // cut after the header
    };
    openKit();
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.reply.status) + " " + c.reply.body);
        production->route("GET", "/api/navi/info/v1/summary", c.reply);
        const Message m = last(CMD_GET_INFO_SUMMARY, {0});
        EXPECT_EQ(m.id, MSG_RESULT_ERROR);
        EXPECT_EQ(m.payload, Bytes{c.code});
    }
}

TEST_F(OrvServerServiceTest, LoginFailuresUseTheLoginIds)
{
    const StatusCase cases[] = {
        {Reply::ok(authBody("t", now() + 60, "xyz")), RESULT_REPLY_NOT_USABLE},
        {Reply::ok(authBody("t", now() + 60, "TLV")), RESULT_REPLY_NOT_USABLE},
        {Reply::ok("token please", "text/plain"), RESULT_REPLY_NOT_USABLE}, {err(401, "E4011001"), RESULT_UNAUTHORIZED},
        {err(400, "E4001002"), RESULT_BAD_REQUEST_E4001002}, {err(503, "I5031001"), RESULT_UNAVAILABLE},
        {Reply::truncated(authBody("t", now() + 60), 5), RESULT_LOGIN_NETWORK_FAILURE},
    };
    openKit();
    const auto check = [&](const StatusCase& c) {
        SCOPED_TRACE(std::to_string(c.reply.status) + " " + c.reply.body);
        storeToken(kStoredToken, 0);
        production->route("POST", "/api/navi/authorization/v1/local", c.reply);
        const std::vector<Message> heard = run(CMD_LOGIN, login7());
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[0].id, MSG_LOGIN_ACCEPTED);
        EXPECT_EQ(heard[1].id, MSG_LOGIN_RESULT_ERROR);
        EXPECT_EQ(heard[1].payload, Bytes{c.code});
    };
    for (const StatusCase& c : cases)
        check(c);
    // None of the failures replaced the stored token.
    ASSERT_EQ(last(CMD_GET_DESTINATIONS, {0}).id, MSG_DESTINATIONS_RESULT);
    EXPECT_EQ(production->lastRequest().header("Authorization"), std::string("Bearer ") + kStoredToken);
}

TEST_F(OrvServerServiceTest, DeviceEndpointsHaveTheirOwnCodes)
{
    const StatusCase cases[] = {
        {err(400, "E4001001"), DEVICE_RESULT_BAD_REQUEST},       {Reply::withStatus(401), DEVICE_RESULT_UNAUTHORIZED},
        {Reply::withStatus(405), DEVICE_RESULT_METHOD_NOT_ALLOWED}, {Reply::withStatus(409), DEVICE_RESULT_CONFLICT},
        {Reply::withStatus(413), DEVICE_RESULT_PAYLOAD_TOO_LARGE},
        {Reply::withStatus(415), DEVICE_RESULT_UNSUPPORTED_MEDIA_TYPE},
        {Reply::withStatus(429), DEVICE_RESULT_TOO_MANY_REQUESTS}, {err(500, "E5001001"), DEVICE_RESULT_SERVER_ERROR},
        {err(503, "I5031001"), DEVICE_RESULT_UNAVAILABLE},       {Reply::withStatus(403), DEVICE_RESULT_UNCLASSIFIED},
        {err(404, "E4041001"), DEVICE_RESULT_UNCLASSIFIED},
        {Reply::withStatus(201, "{}"), DEVICE_RESULT_UNCLASSIFIED}, // 200 is the success here
        {Reply::truncated("{\"state\":{}}", 2), DEVICE_RESULT_UNCLASSIFIED},
    };
    openKit();
    identify(7, "M1", "D1");
    const auto check = [&](const StatusCase& c) {
        SCOPED_TRACE(std::to_string(c.reply.status) + " " + c.reply.body);
        production->route("POST", "/things/M1-D1/shadow", c.reply);
        Message m = last(CMD_UPDATE_SHADOW, positionsCommand());
        EXPECT_EQ(m.id, MSG_RESULT_ERROR);
        EXPECT_EQ(m.payload, Bytes{c.code});
        // The certificate endpoint fails with the same codes under its own id,
        // without acceptance; 201 is one of its successes.
        if (c.reply.status == 201)
            return;
        production->route("POST", "/prod/cert", c.reply);
        const std::vector<Message> certificate = run(CMD_GET_CERTIFICATE, {0});
        ASSERT_EQ(certificate.size(), 1u);
        EXPECT_EQ(certificate[0].id, MSG_CERTIFICATE_ERROR);
        EXPECT_EQ(certificate[0].payload, Bytes{c.code});
    };
    for (const StatusCase& c : cases)
        check(c);
    // An answer that is no certificate record is dropped without a word.
    production->route("POST", "/prod/cert", Reply::ok("[]"));
    production->clearRequests();
    inbox->clear();
    ASSERT_TRUE(send(CMD_GET_CERTIFICATE, {0}));
    ASSERT_TRUE(production->waitForRequests(1, 3000));
    EXPECT_TRUE(heardBeforeFollowUp().empty());
    // 201 is a success too.
    production->route("POST", "/prod/cert", Reply::withStatus(201, ourCertificate()));
    const Message m = last(CMD_GET_CERTIFICATE, {0});
    EXPECT_EQ(m.id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(textOf(m.payload), ourCertificate());
}

} // namespace
