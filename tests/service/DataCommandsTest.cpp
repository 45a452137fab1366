// The plain data commands as the server sees them, the immediate answers
// that come before their results, and the request pools behind them.
#include "ServiceFixture.h"

#include <set>

namespace {

using DataCommandsTest = ServiceFixture;

TEST_F(DataCommandsTest, EachCommandSendsItsRequestAndReportsFailuresUnderTheSharedId)
{
    const std::string id = "?deviceNo=D1&maker=07&model=M1", at = "?deviceNo=D1&lat=&lon=&maker=07&model=M1";
    const std::string paged = "?baseDate=&deviceNo=D1&maker=07&model=M1&number=10&position=1";
    const std::string spots = "/api/navi/bookmarks/v1/spots", folders = "/api/navi/bookmarks/v1/folders";
    const std::string destinations = "/api/navi/bookmarks/v1/destinations", plans = "/api/navi/driveplans/v1/plans";
    // result 0: the context answers nothing.
    struct Case { const char* name; unsigned long code; Bytes data; const char* method; std::string target;
                  unsigned long accepted, result; };
    const Case cases[] = {
        {"summary", CMD_GET_INFO_SUMMARY, {0}, "GET", "/api/navi/info/v1/summary" + id, 0x8011, 0x8013},
        {"spots", CMD_GET_SPOTS, OrvKitCommands::pageBlock(1, 2, 20, 0xFFFF), "GET", spots + id + "&number=20&order=2&sort=1",
         0x8021, 0x8023},
        {"spots at", CMD_GET_SPOTS, OrvKitCommands::pageBlock(3, 0, 0xFFFF, 0), "GET",
         spots + at + "&number=65535&order=0&position=1&sort=3", 0x8021, 0x8023},
        {"spots, short block", CMD_GET_SPOTS, {0x01}, "GET", spots + at + "&number=0&order=0&position=1&sort=256", 0x8021,
         0x8023},
        {"folders", CMD_GET_FOLDERS, OrvKitCommands::pageBlock(1, 2, 20, 0xFFFF), "GET",
         folders + id + "&number=20&order=2&sort=1", 0x8031, 0x8033},
        {"folders at", CMD_GET_FOLDERS, OrvKitCommands::pageBlock(4, 1, 10, 7), "GET",
         folders + id + "&number=10&order=1&position=1&sort=4", 0x8031, 0x8033},
        {"destinations", CMD_GET_DESTINATIONS, {0}, "GET", destinations + id, 0x8041, 0x8043},
        {"delete-destination", CMD_DELETE_DESTINATION, bytesOf("abc"), "DELETE", destinations + "/abc" + id, 0x8045, 0x8047},
        {"plans paged", CMD_GET_PLANS, Bytes{0x00, 0x05}, "GET", plans + paged, 0x8051, 0x8053},
        {"plans, short block", CMD_GET_PLANS, {0xFF}, "GET", plans + paged, 0x8051, 0x8053},
        {"plans", CMD_GET_PLANS, OrvKitCommands::plansBlock(false), "GET", plans + id, 0x8051, 0x8053},
        {"delete-plans", CMD_DELETE_PLANS, {0}, "DELETE", plans + id, 0x8055, 0x8057},
        {"spot-detail", CMD_GET_SPOT_DETAIL, {0}, "GET", spots + "/SM3,AF,396J" + id, 0x8081, 0},
        {"plans-summary", CMD_GET_PLANS_SUMMARY, {0}, "GET", plans + "/summary" + id, 0x8091, 0},
        {"genres", CMD_GET_GENRES, {0}, "GET", "/api/navi/info/v1/genres" + id, 0x8101, 0},
    };
    openKit();
    identify(7, "M1", "D1");
    // A failed ASSERT ends its own command only.
    const auto check = [&](const Case& c) {
        SCOPED_TRACE(c.name);
        production->clearRequests();
        const std::vector<Message> heard = run(c.code, c.data, {c.result != 0 ? c.result : c.accepted});
        ASSERT_FALSE(heard.empty());
        EXPECT_EQ(heard.front().id, c.accepted) << "acceptance comes first";
        EXPECT_TRUE(heard.front().payload.empty());
        if (c.result != 0) {
            ASSERT_EQ(heard.size(), 2u);
            const std::string path = c.target.substr(0, c.target.find('?'));
            EXPECT_EQ(textOf(heard.back().payload), c.method[0] == 'D' ? "" : "{\"path\":\"" + path + "\"}")
                << "the body goes out unchanged";
        } else {
            ASSERT_TRUE(production->waitForRequests(1, 3000));
            EXPECT_TRUE(heardBeforeFollowUp().empty()) << "this context answers nothing";
        }
        const TestHttpsServer::Request seen = production->requests().front();
        EXPECT_EQ(seen.method, c.method);
        EXPECT_EQ(seen.target, c.target);
        EXPECT_EQ(seen.header("Authorization"), std::string("Bearer ") + kStoredToken);
        EXPECT_TRUE(seen.body.empty());
    };
    for (const Case& c : cases)
        check(c);
    EXPECT_EQ(testCloud->requestCount(), 0u);
    // Each reporting context fails under the shared id, the success status of the others included.
    for (const auto& c : cases) {
        if (c.result == 0)
            continue;
        const bool deleting = c.method[0] == 'D';
        for (const Reply& reply : {err(503, "I5031001"), deleting ? Reply::ok("{}") : Reply::withStatus(204)}) {
            production->route(c.method, c.target.substr(0, c.target.find('?')), reply);
            const Message m = last(c.code, c.data);
            const int code = reply.status == 503 ? RESULT_UNAVAILABLE
                                                 : deleting ? RESULT_REPLY_NOT_USABLE : RESULT_UNCLASSIFIED;
            EXPECT_EQ(m.id, 0x8073u) << c.name;
            EXPECT_EQ(m.payload, Bytes{static_cast<uint8_t>(code)}) << c.name;
        }
    }
}

// Each identity byte becomes one character (Latin-1) wherever it goes, so
// that every byte survives and the path and the query write it alike.
TEST_F(DataCommandsTest, IdentityAndIdBytesAreWrittenOneWayOnTheRequestLine)
{
    openKit();
    identify(7, "M\xC3\xA9", "D\xE9");
    const std::string query = "?deviceNo=D%C3%A9&maker=07&model=M%C3%83%C2%A9";
    ASSERT_EQ(last(CMD_GET_DESTINATIONS, {0}).id, MSG_DESTINATIONS_RESULT);
    EXPECT_EQ(production->lastRequest().target, "/api/navi/bookmarks/v1/destinations" + query);
    ASSERT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand()).id, MSG_SHADOW_RESULT);
    EXPECT_EQ(production->lastRequest().target, "/things/M%C3%83%C2%A9-D%C3%A9/shadow");

    const std::pair<std::string, std::string> ids[] = {
        {std::string("ab\0cd", 5), "ab%00cd"}, {std::string("abc\0", 4), "abc%00"}, {"\xE9/x y", "%C3%A9/x%20y"}};
    for (const auto& id : ids) {
        ASSERT_EQ(last(CMD_DELETE_DESTINATION, bytesOf(id.first)).id, MSG_DELETE_DESTINATION_RESULT);
        EXPECT_EQ(production->lastRequest().target, "/api/navi/bookmarks/v1/destinations/" + id.second + query);
    }
}

// Commands are handled in order: once a follow-up is answered, whatever the
// unknown codes and the contexts that report nothing caused has been heard.
TEST_F(DataCommandsTest, UnknownCodesAndSilentContextsAnswerNothingButAcceptancesEvenOnFailure)
{
    production->route("GET", "/", err(500, "E5001001"), TestHttpsServer::Match::Prefix);
    openKit();
    inbox->clear();
    for (unsigned long code : {0x00ul, 0x71ul, 0x100ul, 0x8001ul, 0x12ul, 0xFFFFFFFFul})
        ASSERT_TRUE(send(code, {1, 2, 3}));
    for (unsigned long code : {CMD_GET_SPOT_DETAIL, CMD_GET_PLANS_SUMMARY, CMD_GET_GENRES})
        ASSERT_TRUE(send(code, {0}));
    EXPECT_EQ(idsOf(heardBeforeFollowUp()), (std::vector<unsigned long>{0x8081, 0x8091, 0x8101})) << "the acceptances only";
    ASSERT_TRUE(production->waitForRequests(4, 3000)); // the three and the follow-up's, none for the unknown codes
    EXPECT_EQ(production->requestCount(), 4u);
    // A large body goes out whole.
    std::string body = "{\"items\":\"";
    while (body.size() < 100000)
        body += static_cast<char>('a' + body.size() % 26);
    body += "\"}";
    production->route("GET", "/api/navi/info/v1/summary", Reply::ok(body));
    EXPECT_EQ(textOf(last(CMD_GET_INFO_SUMMARY, {0}).payload), body);
}

TEST_F(DataCommandsTest, SixthGetIsRefusedAfterItsAcceptance)
{
    production->route("GET", "/", Reply::held("gets", Reply::ok("{}")), TestHttpsServer::Match::Prefix);
    openKit();
    for (unsigned long code : {CMD_GET_INFO_SUMMARY, CMD_GET_SPOTS, CMD_GET_FOLDERS, CMD_GET_DESTINATIONS, CMD_GET_PLANS})
        ASSERT_TRUE(send(code, OrvKitCommands::pageBlock(1, 1, 1, 0xFFFF)));
    ASSERT_EQ(takeUntilId(*inbox, MSG_ACCEPTED | CMD_GET_PLANS, scaled(std::chrono::seconds(5))).size(), 5u);
    std::vector<Message> heard = run(CMD_GET_GENRES, {0}, {MSG_REQUEST_ERROR});
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].id, MSG_ACCEPTED | CMD_GET_GENRES);
    EXPECT_EQ(heard[1].payload, Bytes{REQUEST_ERROR_NO_REQUEST});
    // DELETE requests have a pool of their own.
    heard = run(CMD_DELETE_PLANS, {0}, {MSG_DELETE_PLANS_RESULT, MSG_REQUEST_ERROR, MSG_RESULT_ERROR});
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_DELETE_PLANS_RESULT);
    // The five in flight finish normally and free their slots.
    production->release("gets");
    std::set<unsigned long> owed{MSG_INFO_SUMMARY_RESULT, MSG_SPOTS_RESULT, MSG_FOLDERS_RESULT, MSG_DESTINATIONS_RESULT,
                                 MSG_PLANS_RESULT};
    takeUntil(*inbox, [&](const Message& m) { return owed.erase(m.id) == 1 && owed.empty(); }, scaled(std::chrono::seconds(3)));
    EXPECT_TRUE(owed.empty()) << "results missing: " << owed.size();
    ASSERT_TRUE(send(CMD_GET_GENRES, {0}));
    EXPECT_TRUE(production->waitForRequests(7, 3000));
}

TEST_F(DataCommandsTest, RepeatedCommandAbandonsTheEarlierRequestOfItsKindOnly)
{
    production->route("GET", "/api/navi/info/v1/summary", Reply::held("summary", Reply::ok("{}")));
    openKit();
    ASSERT_TRUE(send(CMD_GET_INFO_SUMMARY, {0}));
    ASSERT_TRUE(production->waitForRequests(1, 3000));
    ASSERT_TRUE(send(CMD_GET_INFO_SUMMARY, {0}));
    ASSERT_TRUE(production->waitForRequests(2, 3000)); // the first one is abandoned by now
    production->release("summary");
    Heard heard = takeUntilId(*inbox, MSG_INFO_SUMMARY_RESULT, scaled(std::chrono::seconds(3)));
    ASSERT_FALSE(heard.empty());
    for (const Message& m : heardBeforeFollowUp())
        heard.push_back(m);
    EXPECT_EQ(idsOf(heard), (std::vector<unsigned long>{MSG_ACCEPTED | CMD_GET_INFO_SUMMARY, MSG_ACCEPTED | CMD_GET_INFO_SUMMARY,
                                               MSG_INFO_SUMMARY_RESULT}))
        << "the cancelled request is not reported";

    // The handle of a kind whose request has finished still points at a pool
    // slot that may by now hold another command's request, which must run on.
    // The spot detail finishes first and leaves its handle on slot one.
    production->route("GET", "/api/navi/bookmarks/v1/folders", Reply::held("folders", Reply::ok("{\"folders\":[]}")));
    production->clearRequests();
    ASSERT_TRUE(send(CMD_GET_SPOT_DETAIL, {0}));
    ASSERT_FALSE(run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT}).empty());
    inbox->clear();
    ASSERT_TRUE(send(CMD_GET_FOLDERS, OrvKitCommands::pageBlock(1, 1, 10, 0xFFFF))); // takes slot one
    ASSERT_TRUE(production->waitForRequests(3, 3000)); // folders is held at the server
    ASSERT_TRUE(send(CMD_GET_SPOT_DETAIL, {0}));
    ASSERT_TRUE(production->waitForRequests(4, 3000));
    production->release("folders");
    heard = waitFor({MSG_FOLDERS_RESULT, MSG_RESULT_ERROR});
    ASSERT_FALSE(heard.empty()) << "the folders request was cancelled";
    EXPECT_EQ(heard.back().id, MSG_FOLDERS_RESULT);
}

} // namespace
