// Sign-in: the stored token on the wire, whatever sits at the token path, the
// choice of test origins, when a login reaches the server, what it sends and
// what its answer leaves behind.
#include "ServiceFixture.h"

#include <VxHostSaveFile.h>

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

const char kLoginPath[] = "/api/navi/authorization/v1/local";

class LoginTest : public ServiceFixture
{
protected:
    void TearDown() override
    {
        ServiceFixture::TearDown();
        clearTokenPath();
    }
    static std::string tokenPath() { return VxHostSaveFile::path("OrvToken.ini"); }
    static void clearTokenPath() { rmdir(tokenPath().c_str()) == 0 || unlink(tokenPath().c_str()); unlink((tokenPath() + ".gone").c_str()); }

    // The server that a summary command reached; its request in seen.
    TestHttpsServer* summary(TestHttpsServer::Request* seen = nullptr)
    {
        production->clearRequests();
        testCloud->clearRequests();
        if (run(CMD_GET_INFO_SUMMARY, {0}, {}, 3000).empty()) {
            close(open(tokenPath().c_str(), O_WRONLY | O_NONBLOCK)); // a reader stuck on a FIFO goes on
            ADD_FAILURE() << "no answer to the command";
        }
        TestHttpsServer* server = production->requestCount() == 1 ? production.get() : testCloud.get();
        if (seen != nullptr)
            *seen = server->lastRequest();
        return server->requestCount() == 1 ? server : nullptr;
    }

    // The bearer token that a summary command carried.
    std::string sentToken()
    {
        TestHttpsServer::Request seen;
        EXPECT_EQ(summary(&seen), production.get());
        const std::string header = seen.header("Authorization");
        return header == "Bearer" ? "" : header.compare(0, 7, "Bearer ") == 0 ? header.substr(7) : "? " + header;
    }
};

TEST_F(LoginTest, OnlyALoginWithoutAValidTokenAsksTheServer)
{
    const std::string odd = "eyJ9.s1g-_~+/= two;colon:comma,quote'"; // sent as it stands
    const std::string path = tokenPath();
    const std::string answer = authBody(kIssuedToken, now() + 7200);
    production->route("POST", kLoginPath, Reply::ok(answer));
    // make: what sits at the token path; sent: the token that goes out before the login.
    const struct { const char* name; std::function<int()> make; std::string sent; bool asks, stores; } cases[] = {
        {"valid token", [&] { storeToken(odd, now() + 100); return 0; }, odd, false, false},
        {"expiration reached", [] { storeToken(kStoredToken, now()); return 0; }, kStoredToken, true, true},
        {"valid expiration without token", [] { storeToken("", now() + 3600); return 0; }, "", true, true},
        {"no token file", [] { return 0; }, "", true, true},
        {"fifo", [&] { return mkfifo(path.c_str(), 0600); }, "", true, true},
        {"directory", [&] { return mkdir(path.c_str(), 0700); }, "", true, false},
        {"dangling link", [&] { return symlink((path + ".gone").c_str(), path.c_str()); }, "", true, true},
        {"device", [&] { return mknod(path.c_str(), S_IFCHR | 0600, makedev(1, 3)); }, "", true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        clearTokenPath();
        if (c.make() != 0) {
            ASSERT_EQ(errno, EPERM) << "could not make it";
            continue; // no device nodes without the privilege
        }
        openKit();
        EXPECT_EQ(sentToken(), c.sent);
        production->clearRequests();
        const std::vector<Message> heard = run(CMD_LOGIN, OrvKitCommands::loginBlock(7, "M1", "D1", "driver01", "pass word"));
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[0].id, MSG_LOGIN_ACCEPTED);
        EXPECT_EQ(heard[1].id, MSG_LOGIN_RESULT);
        EXPECT_EQ(textOf(heard[0].payload) + textOf(heard[1].payload), c.asks ? answer : "");
        ASSERT_EQ(production->requestCount(), c.asks ? 1u : 0u);
        EXPECT_TRUE(heardBeforeFollowUp().empty()) << "one result only";
        if (c.asks) {
            const TestHttpsServer::Request seen = production->requests().front();
            EXPECT_EQ(seen.method + " " + seen.target, std::string("POST ") + kLoginPath);
            EXPECT_EQ(seen.body, "{\n\"loginid\": \"driver01\",\n\"password\": \"pass word\"\n}\n");
            EXPECT_EQ(seen.header("Content-Type"), "application/json");
            EXPECT_EQ(seen.headers.count("Authorization"), 0u);
        }
        EXPECT_EQ(sentToken(), c.stores ? kIssuedToken : c.sent);
        EXPECT_EQ(SysDataOrvToken::GetInstance()->getTokenAccess(), c.stores ? kIssuedToken : c.sent);
    }
}

TEST_F(LoginTest, OnlyTheTestPrefixWithTwoDigitsSelectsTheTestEndpoints)
{
    const std::pair<const char*, bool> cases[] = {
        {"QahvomTPsk01", true},  {"QahvomTPsk99", true},   {"QahvomTPsk1", false},  {"QahvomTPsk1a", false},
        {"QahvomTPska1", false}, {"QahvomTPsk012", false}, {"qahvomTPsk01", false}, {"QahvomTPSK01", false},
        {"XahvomTPsk01", false}, {"QahvomTPsk 1", false},  {"driver01", false},
    };
    openKit();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        identify(7, "M1", "D1", c.first);
        EXPECT_EQ(summary(), c.second ? testCloud.get() : production.get());
    }
    // So do a login that has to reach the server, the certificate and the position report.
    storeToken(kStoredToken, 0);
    production->clearRequests();
    testCloud->clearRequests();
    EXPECT_EQ(last(CMD_LOGIN, OrvKitCommands::loginBlock(7, "M", "123", "QahvomTPsk07", "pw")).id, MSG_LOGIN_RESULT);
    EXPECT_EQ(last(CMD_GET_CERTIFICATE, {0}).id, MSG_CERTIFICATE_RESULT);
    EXPECT_EQ(last(CMD_UPDATE_SHADOW, positionsCommand()).id, MSG_SHADOW_RESULT);
    const std::vector<TestHttpsServer::Request> seen = testCloud->requests();
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].path, kLoginPath);
    EXPECT_EQ(seen[1].path + seen[1].body, "/dev/cert{\"model\": \"M\",\"deviceNo\": \"123\"}");
    EXPECT_EQ(seen[2].path, "/things/M-123/shadow");
    EXPECT_EQ(production->requestCount(), 0u);
}

TEST_F(LoginTest, ExpirationDatesOutsideTheSignedRangeNeverExpire)
{
    const std::pair<long long, int> cases[] = {
        {1, 1}, {2147483646, 2147483646}, {0, 2147483647}, {2147483647, 2147483647}, {4294967296LL, 2147483647}};
    openKit();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        storeToken(kStoredToken, 0);
        production->route("POST", kLoginPath, Reply::ok(authBody(kIssuedToken, c.first)));
        ASSERT_EQ(last(CMD_LOGIN, login7()).id, MSG_LOGIN_RESULT);
        EXPECT_EQ(SysDataOrvToken::GetInstance()->getTokenExpiration(), c.second);
    }
}

TEST_F(LoginTest, IncompleteIdentityWipesTheStoredOne)
{
    const Bytes cases[] = {
        looseLoginBlock(7, {"M1", "D1", "QahvomTPsk01"}), {0x07, 0x00}, {0x07}, OrvKitCommands::loginBlock(7, "M1", "D1", "QahvomTPsk01", ""),
    };
    openKit();
    TestHttpsServer::Request seen;
    for (const Bytes& block : cases) {
        SCOPED_TRACE(block.size());
        identify(9, "M9", "D9", "QahvomTPsk01"); // a complete identity on the test origins first
        const std::vector<Message> heard = run(CMD_LOGIN, block);
        ASSERT_EQ(heard.size(), 1u) << "refused before the acceptance";
        EXPECT_EQ(heard[0].id, MSG_LOGIN_ERROR);
        EXPECT_EQ(heard[0].payload, Bytes{REQUEST_ERROR_NO_REQUEST});
        EXPECT_EQ(summary(&seen), production.get()) << "the login id went with the rest";
        EXPECT_EQ(seen.query, "deviceNo=&maker=00&model=");
    }
    // The last terminator may be missing.
    EXPECT_EQ(last(CMD_LOGIN, looseLoginBlock(0xFF, {"M2", "D2", "id", "pw"}, false)).id, MSG_LOGIN_RESULT);
    summary(&seen);
    EXPECT_EQ(seen.query, "deviceNo=D2&maker=255&model=M2"); // two digits at least
}

} // namespace
