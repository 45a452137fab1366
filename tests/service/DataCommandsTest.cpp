// The ten plain data commands as the server sees them, and the immediate
// answers that come before their results.
#include "LogCapture.h"
#include "ServiceFixture.h"
#include "ServiceTestData.h"

#include <OrvKitDef.h>

#include <chrono>
#include <map>

using namespace OrvKitDef;
using namespace servicetest;
using Message = KitSession::Message;
using Params = std::multimap<std::string, std::string>;

namespace {

Params identityParams(const std::string& maker, const std::string& model, const std::string& deviceNo)
{
    return Params{{"maker", maker}, {"model", model}, {"deviceNo", deviceNo}};
}

Params plus(Params base, const Params& more)
{
    base.insert(more.begin(), more.end());
    return base;
}

class DataCommandsTest : public ServiceFixture
{
};

struct WireCase
{
    const char* name;
    unsigned long code;
    std::vector<uint8_t> data;
    const char* method;
    const char* path;
    Params own;
    unsigned long resultId; // 0: the context answers nothing
};

TEST_F(DataCommandsTest, EachCommandSendsItsRequest)
{
    openKit();
    identify(7, "M1", "D1");
    const std::vector<WireCase> cases = {
        {"summary", CMD_GET_INFO_SUMMARY, {0}, "GET", "/api/navi/info/v1/summary", {}, MSG_INFO_SUMMARY_RESULT},
        {"spots without position", CMD_GET_SPOTS, words({1, 2, 20, 0xFFFF}), "GET", "/api/navi/bookmarks/v1/spots",
         {{"sort", "1"}, {"order", "2"}, {"number", "20"}}, MSG_SPOTS_RESULT},
        {"spots with position", CMD_GET_SPOTS, words({3, 0, 0xFFFF, 0}), "GET", "/api/navi/bookmarks/v1/spots",
         {{"sort", "3"}, {"order", "0"}, {"number", "65535"}, {"lon", ""}, {"lat", ""}, {"position", "1"}},
         MSG_SPOTS_RESULT},
        {"spots from one byte", CMD_GET_SPOTS, {0x01}, "GET", "/api/navi/bookmarks/v1/spots",
         {{"sort", "256"}, {"order", "0"}, {"number", "0"}, {"lon", ""}, {"lat", ""}, {"position", "1"}},
         MSG_SPOTS_RESULT},
        {"folders without position", CMD_GET_FOLDERS, words({1, 2, 20, 0xFFFF}), "GET",
         "/api/navi/bookmarks/v1/folders", {{"sort", "1"}, {"order", "2"}, {"number", "20"}}, MSG_FOLDERS_RESULT},
        {"folders with position", CMD_GET_FOLDERS, words({4, 1, 10, 7}), "GET", "/api/navi/bookmarks/v1/folders",
         {{"sort", "4"}, {"order", "1"}, {"number", "10"}, {"position", "1"}}, MSG_FOLDERS_RESULT},
        {"destinations", CMD_GET_DESTINATIONS, {0}, "GET", "/api/navi/bookmarks/v1/destinations", {},
         MSG_DESTINATIONS_RESULT},
        {"delete destination", CMD_DELETE_DESTINATION, bytesOf("abc"), "DELETE",
         "/api/navi/bookmarks/v1/destinations/abc", {}, MSG_DELETE_DESTINATION_RESULT},
        {"plans paged", CMD_GET_PLANS, words({5}), "GET", "/api/navi/driveplans/v1/plans",
         {{"number", "10"}, {"position", "1"}, {"baseDate", ""}}, MSG_PLANS_RESULT},
        {"plans paged from one byte", CMD_GET_PLANS, {0xFF}, "GET", "/api/navi/driveplans/v1/plans",
         {{"number", "10"}, {"position", "1"}, {"baseDate", ""}}, MSG_PLANS_RESULT},
        {"plans unpaged", CMD_GET_PLANS, words({0xFFFF}), "GET", "/api/navi/driveplans/v1/plans", {},
         MSG_PLANS_RESULT},
        {"delete plans", CMD_DELETE_PLANS, {0}, "DELETE", "/api/navi/driveplans/v1/plans", {},
         MSG_DELETE_PLANS_RESULT},
        {"spot detail", CMD_GET_SPOT_DETAIL, {0}, "GET", "/api/navi/bookmarks/v1/spots/SM3,AF,396J", {}, 0},
        {"plans summary", CMD_GET_PLANS_SUMMARY, {0}, "GET", "/api/navi/driveplans/v1/plans/summary", {}, 0},
        {"genres", CMD_GET_GENRES, {0}, "GET", "/api/navi/info/v1/genres", {}, 0},
    };
    for (const WireCase& c : cases) {
        SCOPED_TRACE(c.name);
        production->clearRequests();
        std::vector<Message> heard;
        if (c.resultId != 0) {
            heard = session->run(c.code, c.data, {c.resultId, MSG_RESULT_ERROR, MSG_REQUEST_ERROR});
            ASSERT_EQ(heard.size(), 2u);
            EXPECT_EQ(heard.back().id, c.resultId);
            const std::string expectedBody = c.code == CMD_DELETE_DESTINATION || c.code == CMD_DELETE_PLANS
                                                 ? std::string()
                                                 : "{\"path\":\"" + std::string(c.path) + "\"}";
            EXPECT_EQ(textOf(heard.back().payload), expectedBody) << "the body goes out unchanged";
        } else {
            heard = session->run(c.code, c.data, {MSG_ACCEPTED | c.code});
            ASSERT_TRUE(production->waitForRequests(1, 3000));
        }
        ASSERT_FALSE(heard.empty());
        EXPECT_EQ(heard.front().id, MSG_ACCEPTED | c.code) << "acceptance comes first";
        EXPECT_TRUE(heard.front().payload.empty());

        ASSERT_EQ(production->requestCount(), 1u);
        const TestHttpsServer::Request seen = production->lastRequest();
        if (c.resultId == 0) {
            EXPECT_EQ(heardBeforeFollowUp().size(), 1u) << "this context answers nothing";
        }
        EXPECT_EQ(seen.method, c.method);
        EXPECT_EQ(seen.path, c.path);
        EXPECT_EQ(seen.params, plus(identityParams("07", "M1", "D1"), c.own));
        EXPECT_EQ(seen.header("Authorization"), std::string("Bearer ") + kStoredToken);
        EXPECT_TRUE(seen.body.empty());
    }
    EXPECT_EQ(testCloud->requestCount(), 0u);
}

TEST_F(DataCommandsTest, QueryCarriesParametersInKeyOrder)
{
    openKit();
    identify(7, "M1", "D1");
    ASSERT_EQ(session->run(CMD_GET_SPOTS, words({1, 2, 20, 0}), {MSG_SPOTS_RESULT}).size(), 2u);
    EXPECT_EQ(production->lastRequest().query,
              "deviceNo=D1&lat=&lon=&maker=07&model=M1&number=20&order=2&position=1&sort=1");
}

// Each identity byte becomes one character (Latin-1) wherever it goes, so
// that every byte survives and the path and the query write it alike.
TEST_F(DataCommandsTest, IdentityAndIdBytesAreWrittenOneWayOnTheRequestLine)
{
    openKit();
    identify(7, "M\xC3\xA9", "D\xE9");
    const std::string query = "?deviceNo=D%C3%A9&maker=07&model=M%C3%83%C2%A9";
    ASSERT_EQ(session->run(CMD_GET_DESTINATIONS, {0}, {MSG_DESTINATIONS_RESULT}).size(), 2u);
    EXPECT_EQ(production->lastRequest().target, "/api/navi/bookmarks/v1/destinations" + query);
    ASSERT_EQ(session->run(CMD_UPDATE_SHADOW, positionsCommand(OrvKitDat::CarPositions()), {MSG_SHADOW_RESULT}).size(),
              2u);
    EXPECT_EQ(production->lastRequest().target, "/things/M%C3%83%C2%A9-D%C3%A9/shadow");

    const std::pair<std::string, std::string> ids[] = {
        {std::string("ab\0cd", 5), "ab%00cd"}, {std::string("abc\0", 4), "abc%00"}, {"\xE9/x y", "%C3%A9/x%20y"}};
    for (const auto& id : ids) {
        SCOPED_TRACE(id.second);
        ASSERT_EQ(session->run(CMD_DELETE_DESTINATION, bytesOf(id.first), {MSG_DELETE_DESTINATION_RESULT}).size(), 2u);
        EXPECT_EQ(production->lastRequest().target, "/api/navi/bookmarks/v1/destinations/" + id.second + query);
    }
}

TEST_F(DataCommandsTest, MakerCodeIsSentWithAtLeastTwoDigits)
{
    openKit();
    const std::pair<unsigned char, const char*> cases[] = {{0, "00"}, {7, "07"}, {10, "10"}, {123, "123"},
                                                           {255, "255"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.second);
        identify(c.first, "M1", "D1");
        ASSERT_EQ(session->run(CMD_GET_DESTINATIONS, {0}, {MSG_DESTINATIONS_RESULT}).size(), 2u);
        EXPECT_EQ(production->lastRequest().param("maker"), c.second);
    }
}

TEST_F(DataCommandsTest, LargeBodiesArePassedWhole)
{
    std::string body = "{\"items\":\"";
    for (int i = 0; body.size() < 100000; ++i)
        body += static_cast<char>('a' + i % 26);
    body += "\"}";
    production->route("GET", "/api/navi/info/v1/summary", TestHttpsServer::Reply::ok(body));
    openKit();
    const std::vector<Message> heard = session->run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT});
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(textOf(heard.back().payload), body);
}

TEST_F(DataCommandsTest, UnknownCodesAreAnsweredWithSilence)
{
    openKit();
    session->listener().clear();
    for (unsigned long code : {0x00ul, 0x71ul, 0x100ul, 0x8001ul, 0x12ul, 0xFFFFFFFFul})
        ASSERT_TRUE(session->send(code, {1, 2, 3}));
    // Commands are handled in order: once the next one is answered, whatever
    // the unknown codes caused has been heard.
    ASSERT_TRUE(session->send(CMD_GET_INFO_SUMMARY, {0}));
    const std::vector<Message> heard = session->waitFor({MSG_INFO_SUMMARY_RESULT});
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard.front().id, MSG_ACCEPTED | CMD_GET_INFO_SUMMARY);
    EXPECT_EQ(production->requestCount(), 1u);
}

TEST_F(DataCommandsTest, SixthGetIsRefusedAfterItsAcceptance)
{
    production->route("GET", "/", TestHttpsServer::Reply::delayed(400, TestHttpsServer::Reply::ok("{}")),
                      TestHttpsServer::Match::Prefix);
    openKit();
    const unsigned long inFlight[] = {CMD_GET_INFO_SUMMARY, CMD_GET_SPOTS, CMD_GET_FOLDERS, CMD_GET_DESTINATIONS,
                                      CMD_GET_PLANS};
    for (unsigned long code : inFlight)
        ASSERT_TRUE(session->send(code, words({1, 1, 1, 0xFFFF})));

    ASSERT_TRUE(session->listener().waitForMessages(5));
    std::vector<Message> heard = session->run(CMD_GET_GENRES, {0}, {MSG_REQUEST_ERROR});
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].id, MSG_ACCEPTED | CMD_GET_GENRES);
    EXPECT_EQ(heard[1].payload, std::vector<uint8_t>{REQUEST_ERROR_NO_REQUEST});

    // DELETE requests have a pool of their own.
    heard = session->run(CMD_DELETE_PLANS, {0}, {MSG_DELETE_PLANS_RESULT, MSG_REQUEST_ERROR, MSG_RESULT_ERROR});
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_DELETE_PLANS_RESULT);

    // The five in flight finish normally and free their slots.
    for (unsigned long id : {MSG_INFO_SUMMARY_RESULT, MSG_SPOTS_RESULT, MSG_FOLDERS_RESULT, MSG_DESTINATIONS_RESULT,
                             MSG_PLANS_RESULT})
        EXPECT_TRUE(session->listener().waitForId(id, nullptr, 3000)) << std::hex << id;
    ASSERT_TRUE(session->send(CMD_GET_GENRES, {0}));
    EXPECT_TRUE(production->waitForRequests(7, 3000));
}

TEST_F(DataCommandsTest, RepeatedCommandAbandonsTheEarlierRequest)
{
    production->route("GET", "/api/navi/info/v1/summary",
                      TestHttpsServer::Reply::delayed(200, TestHttpsServer::Reply::ok("{}")));
    openKit();
    ASSERT_TRUE(session->send(CMD_GET_INFO_SUMMARY, {0}));
    ASSERT_TRUE(production->waitForRequests(1, 3000));
    ASSERT_TRUE(session->send(CMD_GET_INFO_SUMMARY, {0}));
    ASSERT_TRUE(session->listener().waitForId(MSG_INFO_SUMMARY_RESULT, nullptr, 3000));
    int results = 0;
    int acceptances = 0;
    for (const Message& m : heardBeforeFollowUp()) {
        results += m.id == MSG_INFO_SUMMARY_RESULT ? 1 : 0;
        acceptances += m.id == (MSG_ACCEPTED | CMD_GET_INFO_SUMMARY) ? 1 : 0;
        EXPECT_NE(m.id, MSG_RESULT_ERROR) << "the cancelled request is not reported";
    }
    EXPECT_EQ(acceptances, 2);
    EXPECT_EQ(results, 1);
}

TEST_F(DataCommandsTest, CloseWithRequestsInFlightIsQuickAndSilent)
{
    production->route("GET", "/", TestHttpsServer::Reply::delayed(3000, TestHttpsServer::Reply::ok("{}")),
                      TestHttpsServer::Match::Prefix);
    const LogCapture qtMessages(false);
    KitSession& kit = openKit();
    ASSERT_TRUE(kit.send(CMD_GET_INFO_SUMMARY, {0}));
    ASSERT_TRUE(kit.send(CMD_GET_DESTINATIONS, {0}));
    ASSERT_TRUE(production->waitForRequests(2, 3000));
    const auto start = std::chrono::steady_clock::now();
    kit.close();
    EXPECT_EQ(kit.listener().closeCount(), 1);
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count(),
              1000);
    for (const Message& m : kit.listener().received()) {
        EXPECT_TRUE(m.id == (MSG_ACCEPTED | CMD_GET_INFO_SUMMARY) || m.id == (MSG_ACCEPTED | CMD_GET_DESTINATIONS))
            << "only acceptances, got " << std::hex << m.id;
    }

    // The next open period starts clean.
    openKit();
    production->route("GET", "/", TestHttpsServer::Reply::ok("{}"), TestHttpsServer::Match::Prefix);
    const std::vector<Message> heard = session->run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT});
    EXPECT_EQ(heard.size(), 2u);
    // The requests and their timers were released on their own thread.
    for (const std::string& line : qtMessages.otherLines())
        EXPECT_EQ(line.find("another thread"), std::string::npos) << line;
}

// A command resets the handle of its own kind only: the handle of a kind
// whose request has finished still points at a pool slot that may by now
// hold another command's request, which must run on.
TEST_F(DataCommandsTest, RepeatedCommandLeavesAnotherKindsRequestInItsOldSlot)
{
    // The spot detail finishes first, so that both GET slots are free again
    // once the summary has answered; its handle keeps pointing at slot one.
    production->route("GET", "/api/navi/info/v1/summary", TestHttpsServer::Reply::delayed(200, TestHttpsServer::Reply::ok("{}")));
    production->route("GET", "/api/navi/bookmarks/v1/folders", TestHttpsServer::Reply::delayed(200, TestHttpsServer::Reply::ok("{\"folders\":[]}")));
    openKit();
    ASSERT_TRUE(session->send(CMD_GET_SPOT_DETAIL, {0}));
    ASSERT_FALSE(session->run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT}).empty());

    // The folders request takes slot one; the next spot detail must not cancel it.
    session->listener().clear();
    ASSERT_TRUE(session->send(CMD_GET_FOLDERS, {0, 1, 0, 1, 0, 10, 0xFF, 0xFF}));
    ASSERT_TRUE(session->send(CMD_GET_SPOT_DETAIL, {0}));
    const std::vector<KitSession::Message> heard = session->waitFor({MSG_FOLDERS_RESULT, MSG_RESULT_ERROR});
    ASSERT_FALSE(heard.empty()) << "the folders request was cancelled";
    EXPECT_EQ(heard.back().id, MSG_FOLDERS_RESULT);
}

} // namespace
