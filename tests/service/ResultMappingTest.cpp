// How replies become result messages: the server's status and error code,
// network failures, the success status of each context and the contexts
// that answer nothing.
#include "ServiceFixture.h"
#include "ServiceTestData.h"

#include <OrvKitDef.h>

using namespace OrvKitDef;
using namespace servicetest;
using Message = KitSession::Message;
using Reply = TestHttpsServer::Reply;

namespace {

const char kSummaryPath[] = "/api/navi/info/v1/summary";

class ResultMappingTest : public ServiceFixture
{
protected:
    // The last message of a command, or id 0 when none came.
    Message finalOf(unsigned long code, const std::vector<uint8_t>& data,
                    std::initializer_list<unsigned long> finals)
    {
        const std::vector<Message> heard = session->run(code, data, finals);
        return heard.empty() ? Message{0, {}} : heard.back();
    }
};

struct StatusCase
{
    const char* name;
    Reply reply;
    uint8_t code;
};

TEST_F(ResultMappingTest, ServerAnswersMapToResultCodes)
{
    const std::vector<StatusCase> cases = {
        {"400 E4001001", Reply::withStatus(400, errorBody("E4001001")), RESULT_BAD_REQUEST_E4001001},
        {"400 E4001002", Reply::withStatus(400, errorBody("E4001002")), RESULT_BAD_REQUEST_E4001002},
        {"400 other code", Reply::withStatus(400, errorBody("E4001003")), RESULT_UNCLASSIFIED},
        {"400 lower case", Reply::withStatus(400, errorBody("e4001001")), RESULT_UNCLASSIFIED},
        {"400 empty body", Reply::withStatus(400), RESULT_UNCLASSIFIED},
        {"401 E4011001", Reply::withStatus(401, errorBody("E4011001")), RESULT_UNAUTHORIZED},
        {"401 E4019 family", Reply::withStatus(401, errorBody("E4019xyz")), RESULT_TOKEN_EXPIRED},
        {"401 E4019 seven characters", Reply::withStatus(401, errorBody("E4019xy")), RESULT_UNCLASSIFIED},
        {"401 I4011001", Reply::withStatus(401, errorBody("I4011001")), RESULT_UNAUTHORIZED_I4011001},
        {"401 I4011002", Reply::withStatus(401, errorBody("I4011002")), RESULT_UNAUTHORIZED_I4011002},
        {"401 I4011004", Reply::withStatus(401, errorBody("I4011004")), RESULT_UNAUTHORIZED_I4011004},
        {"401 I4011003", Reply::withStatus(401, errorBody("I4011003")), RESULT_UNCLASSIFIED},
        {"401 without error object", Reply::withStatus(401, "{}"), RESULT_UNCLASSIFIED},
        {"401 empty body", Reply::withStatus(401), RESULT_UNCLASSIFIED},
        {"403 whatever the code", Reply::withStatus(403, errorBody("E4001001")), RESULT_FORBIDDEN},
        {"404 E4041001", Reply::withStatus(404, errorBody("E4041001")), RESULT_NOT_FOUND},
        {"404 four characters", Reply::withStatus(404, errorBody("E404")), RESULT_NOT_FOUND_UNRECOGNISED},
        {"404 not JSON", Reply::withStatus(404, "not json"), RESULT_NOT_FOUND_UNRECOGNISED},
        {"404 other eight characters", Reply::withStatus(404, errorBody("E4041002")), RESULT_UNCLASSIFIED},
        {"404 empty body", Reply::withStatus(404), RESULT_UNCLASSIFIED},
        {"500 E5001001", Reply::withStatus(500, errorBody("E5001001")), RESULT_SERVER_ERROR},
        {"500 other code", Reply::withStatus(500, errorBody("E5001002")), RESULT_UNCLASSIFIED},
        {"500 empty body", Reply::withStatus(500), RESULT_UNCLASSIFIED},
        {"503 I5031001", Reply::withStatus(503, errorBody("I5031001")), RESULT_UNAVAILABLE},
        {"503 other code", Reply::withStatus(503, errorBody("E5031001")), RESULT_UNCLASSIFIED},
        {"418", Reply::withStatus(418, errorBody("E4001001")), RESULT_UNCLASSIFIED},
        {"502", Reply::withStatus(502), RESULT_UNCLASSIFIED},
        {"204 where 200 is success", Reply::withStatus(204), RESULT_UNCLASSIFIED},
        {"redirect, not followed", Reply::redirect("https://127.0.0.1:1/elsewhere"), RESULT_UNCLASSIFIED},
        {"cut after the header", Reply::truncated("{\"spot\":{}}", 3), RESULT_NETWORK_FAILURE},
    };
    openKit();
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(c.name);
        production->route("GET", kSummaryPath, c.reply);
        const Message m = finalOf(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR});
        EXPECT_EQ(m.id, MSG_RESULT_ERROR);
        EXPECT_EQ(m.payload, std::vector<uint8_t>{c.code});
    }
}

struct ContextCase
{
    const char* name;
    unsigned long command;
    std::vector<uint8_t> data;
    const char* method;
    const char* path;
    int successStatus;
};

TEST_F(ResultMappingTest, EveryReportingContextUsesTheSharedFailureId)
{
    const ContextCase cases[] = {
        {"spots", CMD_GET_SPOTS, words({1, 1, 1, 0xFFFF}), "GET", "/api/navi/bookmarks/v1/spots", 200},
        {"folders", CMD_GET_FOLDERS, words({1, 1, 1, 0xFFFF}), "GET", "/api/navi/bookmarks/v1/folders", 200},
        {"destinations", CMD_GET_DESTINATIONS, {0}, "GET", "/api/navi/bookmarks/v1/destinations", 200},
        {"delete destination", CMD_DELETE_DESTINATION, bytesOf("d1"), "DELETE",
         "/api/navi/bookmarks/v1/destinations/d1", 204},
        {"plans", CMD_GET_PLANS, words({0xFFFF}), "GET", "/api/navi/driveplans/v1/plans", 200},
        {"delete plans", CMD_DELETE_PLANS, {0}, "DELETE", "/api/navi/driveplans/v1/plans", 204},
        {"summary", CMD_GET_INFO_SUMMARY, {0}, "GET", kSummaryPath, 200},
    };
    openKit();
    for (const ContextCase& c : cases) {
        SCOPED_TRACE(c.name);
        production->route(c.method, c.path, Reply::withStatus(503, errorBody("I5031001")));
        Message m = finalOf(c.command, c.data, {MSG_RESULT_ERROR, MSG_REQUEST_ERROR});
        EXPECT_EQ(m.id, MSG_RESULT_ERROR);
        EXPECT_EQ(m.payload, std::vector<uint8_t>{RESULT_UNAVAILABLE});

        // The success status of one context is a plain failure for the others.
        const int otherSuccess = c.successStatus == 200 ? 204 : 200;
        production->route(c.method, c.path, Reply::withStatus(otherSuccess, otherSuccess == 200 ? "{}" : ""));
        m = finalOf(c.command, c.data, {MSG_RESULT_ERROR, MSG_REQUEST_ERROR});
        EXPECT_EQ(m.id, MSG_RESULT_ERROR);
        EXPECT_EQ(m.payload, std::vector<uint8_t>{static_cast<uint8_t>(otherSuccess == 200 ? RESULT_REPLY_NOT_USABLE : RESULT_UNCLASSIFIED)});
    }
}

TEST_F(ResultMappingTest, SilentContextsAnswerNothingEvenOnFailure)
{
    production->route("GET", "/", Reply::withStatus(500, errorBody("E5001001")), TestHttpsServer::Match::Prefix);
    openKit();
    session->listener().clear();
    for (unsigned long code : {CMD_GET_SPOT_DETAIL, CMD_GET_PLANS_SUMMARY, CMD_GET_GENRES})
        ASSERT_TRUE(session->send(code, {0}));
    const std::vector<Message> heard = heardBeforeFollowUp();
    ASSERT_EQ(heard.size(), 3u);
    for (const Message& m : heard)
        EXPECT_EQ(m.id & MSG_ACCEPTED, MSG_ACCEPTED) << std::hex << m.id;
    EXPECT_EQ(heard[2].id, MSG_ACCEPTED | CMD_GET_GENRES);
}

TEST_F(ResultMappingTest, LoginFailuresUseTheLoginIds)
{
    const std::vector<StatusCase> cases = {
        {"another role", Reply::ok(authBody("t", now() + 60, "xyz")), RESULT_REPLY_NOT_USABLE},
        {"role in upper case", Reply::ok(authBody("t", now() + 60, "TLV")), RESULT_REPLY_NOT_USABLE},
        {"not JSON", Reply::ok("token please", "text/plain"), RESULT_REPLY_NOT_USABLE},
        {"401 E4011001", Reply::withStatus(401, errorBody("E4011001")), RESULT_UNAUTHORIZED},
        {"400 E4001002", Reply::withStatus(400, errorBody("E4001002")), RESULT_BAD_REQUEST_E4001002},
        {"503 I5031001", Reply::withStatus(503, errorBody("I5031001")), RESULT_UNAVAILABLE},
        {"cut after the header", Reply::truncated(authBody("t", now() + 60), 5), RESULT_LOGIN_NETWORK_FAILURE},
    };
    openKit();
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(c.name);
        storeToken(kStoredToken, 0);
        production->route("POST", "/api/navi/authorization/v1/local", c.reply);
        const std::vector<Message> heard =
            session->run(CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", "secret"}),
                         {MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, MSG_LOGIN_ERROR});
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[0].id, MSG_LOGIN_ACCEPTED);
        EXPECT_EQ(heard[1].id, MSG_LOGIN_RESULT_ERROR);
        EXPECT_EQ(heard[1].payload, std::vector<uint8_t>{c.code});
    }
    // None of the failures replaced the stored token.
    ASSERT_FALSE(session->run(CMD_GET_DESTINATIONS, {0}, {MSG_DESTINATIONS_RESULT}).empty());
    EXPECT_EQ(production->lastRequest().header("Authorization"), std::string("Bearer ") + kStoredToken);
}

TEST_F(ResultMappingTest, RefusedConnectionsAreNetworkFailures)
{
    storeToken(kStoredToken, 0);
    const std::string closed = "https://127.0.0.1:" + std::to_string(closedLoopbackPort());
    OrvKitPreferences prefs;
    prefs.authServerOrigin = closed;
    prefs.apiServerOrigin = closed;
    prefs.certificateOrigin = closed;
    prefs.deviceShadowOrigin = closed;
    openKit(prefs);

    Message m = finalOf(CMD_LOGIN, loginBlock(7, {"M1", "D1", "driver01", "secret"}),
                        {MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, MSG_LOGIN_ERROR});
    EXPECT_EQ(m.id, MSG_LOGIN_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{RESULT_LOGIN_NETWORK_FAILURE});

    m = finalOf(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR});
    EXPECT_EQ(m.id, MSG_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{RESULT_NETWORK_FAILURE});

    m = finalOf(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, MSG_REQUEST_ERROR});
    EXPECT_EQ(m.id, MSG_CERTIFICATE_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{DEVICE_RESULT_UNCLASSIFIED}) << "the device endpoints know no refused connection";

    m = finalOf(CMD_UPDATE_SHADOW, positionsCommand(OrvKitDat::CarPositions()),
                {MSG_SHADOW_RESULT, MSG_RESULT_ERROR, MSG_REQUEST_ERROR});
    EXPECT_EQ(m.id, MSG_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{DEVICE_RESULT_UNCLASSIFIED});
}

TEST_F(ResultMappingTest, DeviceEndpointsHaveTheirOwnCodes)
{
    const std::vector<StatusCase> cases = {
        {"400", Reply::withStatus(400, errorBody("E4001001")), DEVICE_RESULT_BAD_REQUEST},
        {"401", Reply::withStatus(401), DEVICE_RESULT_UNAUTHORIZED},
        {"405", Reply::withStatus(405), DEVICE_RESULT_METHOD_NOT_ALLOWED},
        {"409", Reply::withStatus(409), DEVICE_RESULT_CONFLICT},
        {"413", Reply::withStatus(413), DEVICE_RESULT_PAYLOAD_TOO_LARGE},
        {"415", Reply::withStatus(415), DEVICE_RESULT_UNSUPPORTED_MEDIA_TYPE},
        {"429", Reply::withStatus(429), DEVICE_RESULT_TOO_MANY_REQUESTS},
        {"500", Reply::withStatus(500, errorBody("E5001001")), DEVICE_RESULT_SERVER_ERROR},
        {"503", Reply::withStatus(503, errorBody("I5031001")), DEVICE_RESULT_UNAVAILABLE},
        {"403", Reply::withStatus(403), DEVICE_RESULT_UNCLASSIFIED},
        {"404", Reply::withStatus(404, errorBody("E4041001")), DEVICE_RESULT_UNCLASSIFIED},
        {"201 where 200 is success", Reply::withStatus(201, "{}"), DEVICE_RESULT_UNCLASSIFIED},
        {"cut after the header", Reply::truncated("{\"state\":{}}", 2), DEVICE_RESULT_UNCLASSIFIED},
    };
    openKit();
    identify(7, "M1", "D1");
    const std::vector<uint8_t> position = positionsCommand(OrvKitDat::CarPositions());
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(c.name);
        production->route("POST", "/things/M1-D1/shadow", c.reply);
        const std::vector<Message> heard =
            session->run(CMD_UPDATE_SHADOW, position, {MSG_SHADOW_RESULT, MSG_RESULT_ERROR, MSG_REQUEST_ERROR});
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[0].id, MSG_ACCEPTED | CMD_UPDATE_SHADOW);
        EXPECT_EQ(heard[1].id, MSG_RESULT_ERROR);
        EXPECT_EQ(heard[1].payload, std::vector<uint8_t>{c.code});
    }
    production->route("POST", "/things/M1-D1/shadow", Reply::ok("{\"state\":{\"desired\":null}}"));
    const Message m = finalOf(CMD_UPDATE_SHADOW, position, {MSG_SHADOW_RESULT, MSG_RESULT_ERROR});
    EXPECT_EQ(m.id, MSG_SHADOW_RESULT);
    EXPECT_EQ(textOf(m.payload), "{\"state\":{\"desired\":null}}");

    // The certificate endpoint fails with the same codes under its own id.
    for (const StatusCase& c : {cases[1], cases[6], cases[7], cases[10]}) {
        SCOPED_TRACE(std::string("certificate ") + c.name);
        production->route("POST", "/prod/cert", c.reply);
        const std::vector<Message> heard =
            session->run(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, MSG_REQUEST_ERROR});
        ASSERT_EQ(heard.size(), 1u) << "no acceptance before a certificate request";
        EXPECT_EQ(heard[0].id, MSG_CERTIFICATE_ERROR);
        EXPECT_EQ(heard[0].payload, std::vector<uint8_t>{c.code});
    }
}

TEST_F(ResultMappingTest, CertificateAnswers)
{
    openKit();
    identify(7, "M1", "D1");

    // An answer that is no certificate record is dropped without a word.
    production->route("POST", "/prod/cert", Reply::ok("[]"));
    session->listener().clear();
    ASSERT_TRUE(session->send(CMD_GET_CERTIFICATE, {0}));
    ASSERT_TRUE(production->waitForRequests(1, 3000));
    EXPECT_TRUE(heardBeforeFollowUp().empty());

    // 201 is a success too; nothing was kept before, so this one asks again.
    const std::string body = certificateBody("ca", "certificate", "key");
    production->route("POST", "/prod/cert", Reply::withStatus(201, body));
    Message m = finalOf(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR});
    EXPECT_EQ(m.id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(textOf(m.payload), body);
    EXPECT_EQ(production->requestCount(), 3u) << "login made none, the two certificate commands one each";

    // Held now: answered at once with an empty payload.
    m = finalOf(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR});
    EXPECT_EQ(m.id, MSG_CERTIFICATE_RESULT);
    EXPECT_TRUE(m.payload.empty());
    EXPECT_EQ(production->requestCount(), 3u);
}

} // namespace
