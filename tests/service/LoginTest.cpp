// Sign-in: the stored token on the wire, the choice of test origins, when a
// login reaches the server, what it sends and what its answer leaves behind.
#include "ServiceFixture.h"
#include "ServiceTestData.h"
#include "sysdata/SysDataOrvToken.h"

#include <OrvKitDef.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

using namespace OrvKitDef;
using namespace servicetest;
using Message = KitSession::Message;
using Reply = TestHttpsServer::Reply;

namespace {

const char kLoginPath[] = "/api/navi/authorization/v1/local";

class LoginTest : public ServiceFixture
{
protected:
    std::vector<Message> login(const std::vector<uint8_t>& block)
    {
        return session->run(CMD_LOGIN, block, {MSG_LOGIN_RESULT, MSG_LOGIN_ERROR, MSG_LOGIN_RESULT_ERROR});
    }

    std::vector<Message> login(const std::string& loginId = "driver01", const std::string& password = "secret")
    {
        return login(loginBlock(7, {"M1", "D1", loginId, password}));
    }

    // The request that a summary command makes, from whichever server got it.
    TestHttpsServer::Request summaryRequest(TestHttpsServer*& where)
    {
        production->clearRequests();
        testCloud->clearRequests();
        const std::vector<Message> heard =
            session->run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR});
        EXPECT_FALSE(heard.empty());
        where = production->requestCount() == 1 ? production.get()
                                                : testCloud->requestCount() == 1 ? testCloud.get() : nullptr;
        return where != nullptr ? where->lastRequest() : TestHttpsServer::Request();
    }

    static int storedExpiration() { return SysDataOrvToken::GetInstance()->getTokenExpiration(); }
};

TEST_F(LoginTest, StoredTokenIsSentAsItStands)
{
    const char* tokens[] = {"abc", "eyJhbGciOiJIUzI1NiJ9.eyJzdWIiOiIxIn0.s1g-_~+/=", "two words",
                            "colon:semi;comma,quote'"};
    openKit();
    for (const char* token : tokens) {
        SCOPED_TRACE(token);
        storeToken(token, now() + 3600);
        TestHttpsServer* where = nullptr;
        const TestHttpsServer::Request seen = summaryRequest(where);
        EXPECT_EQ(where, production.get());
        EXPECT_EQ(seen.header("Authorization"), std::string("Bearer ") + token);
    }
    // An empty token is not checked for: the request still goes out.
    storeToken("", now() + 3600);
    TestHttpsServer* where = nullptr;
    const TestHttpsServer::Request seen = summaryRequest(where);
    ASSERT_EQ(where, production.get());
    EXPECT_EQ(seen.header("Authorization").substr(0, 6), "Bearer");
    EXPECT_LE(seen.header("Authorization").size(), 7u);
}

TEST_F(LoginTest, OnlyTheTestPrefixWithTwoDigitsSelectsTheTestOrigins)
{
    const std::pair<const char*, bool> cases[] = {
        {"QahvomTPsk01", true},   {"QahvomTPsk99", true},   {"QahvomTPsk1", false},  {"QahvomTPsk1a", false},
        {"QahvomTPska1", false},  {"QahvomTPsk012", false}, {"qahvomTPsk01", false}, {"QahvomTPSK01", false},
        {"XahvomTPsk01", false},  {"QahvomTPsk 1", false},  {"driver01", false},
    };
    openKit();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        identify(7, "M1", "D1", c.first);
        TestHttpsServer* where = nullptr;
        summaryRequest(where);
        EXPECT_EQ(where, c.second ? testCloud.get() : production.get());
    }
    // A login that has to reach the server goes to the test origin as well.
    storeToken(kStoredToken, 0);
    production->clearRequests();
    testCloud->clearRequests();
    const std::vector<Message> heard = login("QahvomTPsk07");
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_LOGIN_RESULT);
    EXPECT_EQ(production->requestCount(), 0u);
    ASSERT_EQ(testCloud->requestCount(), 1u);
    EXPECT_EQ(testCloud->lastRequest().path, kLoginPath);
}

TEST_F(LoginTest, ValidTokenAnswersWithoutARequest)
{
    storeToken("t", now() + 100);
    openKit();
    const std::vector<Message> heard = login();
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].id, MSG_LOGIN_ACCEPTED);
    EXPECT_TRUE(heard[0].payload.empty());
    EXPECT_EQ(heard[1].id, MSG_LOGIN_RESULT);
    EXPECT_TRUE(heard[1].payload.empty());
    EXPECT_EQ(production->requestCount() + testCloud->requestCount(), 0u);
    EXPECT_EQ(heardBeforeFollowUp().size(), 2u);
}

TEST_F(LoginTest, ExpirationReachedLogsInAndStoresTheNewToken)
{
    const long long issuedExpiration = now() + 7200;
    const std::string answer = authBody(kIssuedToken, issuedExpiration);
    production->route("POST", kLoginPath, Reply::ok(answer));
    storeToken(kStoredToken, now());
    openKit();
    std::vector<Message> heard = login("driver01", "pass word");
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].id, MSG_LOGIN_ACCEPTED);
    EXPECT_EQ(heard[1].id, MSG_LOGIN_RESULT);
    EXPECT_EQ(textOf(heard[1].payload), answer);

    ASSERT_EQ(production->requestCount(), 1u);
    const TestHttpsServer::Request seen = production->lastRequest();
    EXPECT_EQ(seen.method, "POST");
    EXPECT_EQ(seen.path, kLoginPath);
    EXPECT_TRUE(seen.query.empty());
    EXPECT_EQ(seen.body, "{\n\"loginid\": \"driver01\",\n\"password\": \"pass word\"\n}\n");
    EXPECT_EQ(seen.header("Content-Type"), "application/json");
    EXPECT_FALSE(seen.hasHeader("Authorization"));

    EXPECT_EQ(storedExpiration(), static_cast<int>(issuedExpiration));
    TestHttpsServer* where = nullptr;
    EXPECT_EQ(summaryRequest(where).header("Authorization"), std::string("Bearer ") + kIssuedToken);

    // Valid from now on: the next login stays local.
    production->clearRequests();
    heard = login();
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_TRUE(heard[1].payload.empty());
    EXPECT_EQ(production->requestCount(), 0u);
}

TEST_F(LoginTest, ValidExpirationWithoutTokenLogsIn)
{
    storeToken("", now() + 3600);
    openKit();
    const std::vector<Message> heard = login();
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_FALSE(heard[1].payload.empty());
    EXPECT_EQ(production->requestCount(), 1u);
}

TEST_F(LoginTest, ExpirationDatesOutsideTheSignedRangeNeverExpire)
{
    const std::pair<long long, int> cases[] = {
        {1700000000, 1700000000}, {1, 1},           {2147483646, 2147483646},
        {0, 2147483647},          {-5, 2147483647}, {2147483647, 2147483647},
        {4294967296LL, 2147483647},
    };
    openKit();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        storeToken(kStoredToken, 0);
        production->route("POST", kLoginPath, Reply::ok(authBody(kIssuedToken, c.first)));
        const std::vector<Message> heard = login();
        ASSERT_FALSE(heard.empty());
        ASSERT_EQ(heard.back().id, MSG_LOGIN_RESULT);
        EXPECT_EQ(storedExpiration(), c.second);
    }
}

TEST_F(LoginTest, MissingTokenFileMakesTheLoginAsk)
{
    const char* directory = std::getenv("VX_SAVEFILE_DIR");
    if (directory == nullptr)
        GTEST_SKIP() << "the token file's directory is not known";
    std::remove((std::string(directory) + "/OrvToken.ini").c_str());
    openKit();
    const std::vector<Message> heard = login();
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_LOGIN_RESULT);
    EXPECT_EQ(production->requestCount(), 1u);
}

TEST_F(LoginTest, IncompleteIdentityWipesTheStoredOne)
{
    struct Case
    {
        const char* name;
        std::vector<uint8_t> block;
    };
    const Case cases[] = {
        {"password missing", loginBlock(7, {"M1", "D1", "QahvomTPsk01"})},
        {"model empty", {0x07, 0x00}},
        {"maker only", {0x07}},
        {"empty password", loginBlock(7, {"M1", "D1", "QahvomTPsk01", ""})},
    };
    openKit();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // A complete identity on the test origins first.
        identify(9, "M9", "D9", "QahvomTPsk01");
        const std::vector<Message> heard = login(c.block);
        ASSERT_EQ(heard.size(), 1u) << "refused before the acceptance";
        EXPECT_EQ(heard[0].id, MSG_LOGIN_ERROR);
        EXPECT_EQ(heard[0].payload, std::vector<uint8_t>{REQUEST_ERROR_NO_REQUEST});

        TestHttpsServer* where = nullptr;
        const TestHttpsServer::Request seen = summaryRequest(where);
        EXPECT_EQ(where, production.get()) << "the login id went with the rest";
        EXPECT_EQ(seen.params, (std::multimap<std::string, std::string>{
                                   {"maker", "00"}, {"model", ""}, {"deviceNo", ""}}));
    }
    // The last terminator may be missing.
    const std::vector<Message> heard = login(loginBlock(0x2A, {"M2", "D2", "id", "pw"}, false));
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().id, MSG_LOGIN_RESULT);
    TestHttpsServer* where = nullptr;
    EXPECT_EQ(summaryRequest(where).params,
              (std::multimap<std::string, std::string>{{"maker", "42"}, {"model", "M2"}, {"deviceNo", "D2"}}));
}

} // namespace
