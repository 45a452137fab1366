// The simulator seen from a plain HTTPS client: its fault rules, its data
// set's paging and the scope of its tokens.
#include "OrvCloudSimulator.h"

#include <httplib.h>
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <memory>

namespace {

const std::string kIdentity = "maker=07&model=M1&deviceNo=D1";

QJsonObject objectOf(const httplib::Result& result)
{
    return result ? QJsonDocument::fromJson(QByteArray::fromStdString(result->body)).object() : QJsonObject();
}

// "status code", e.g. "401 E4011001"; "none" for a dropped connection.
std::string outcome(const httplib::Result& result)
{
    return result ? std::to_string(result->status) + " " +
                        objectOf(result).value("error").toObject().value("code").toString().toStdString()
                  : "none";
}

// Each rule as OrvSimFault::text() gives it back after the route; "": refused with a reason.
TEST(SimulatorFaultRule, ParsesTheCommandLineForms)
{
    const struct { const char* rule; const char* parsed; } cases[] = {
        {"summary=503", "summary=503"},
        {"spots=delay=250,500:E5001001", "spots=500:E5001001,delay=250"},
        {"login=404:-", "login=404:-"},
        {"shadow=times=2,drop", "shadow=drop,times=2"}, {"*=dead=12000", "*=dead=12000"}, {"summary=dead=0", ""},
        {"nowhere=500", ""}, {"summary", ""}, {"summary=99", ""}, {"summary=delay=x", ""}, {"summary=times=3", ""},
    };
    for (const auto& c : cases) {
        std::string route, error;
        OrvSimFault fault;
        const bool parsed = OrvSimFault::parse(c.rule, route, fault, error);
        EXPECT_EQ(parsed ? route + "=" + fault.text() : error.empty() ? "refused without a reason" : "", c.parsed) << c.rule;
    }
}

class SimulatorSmokeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string error;
        ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
        for (auto* c : {&production, &test}) {
            const std::string origin =
                c == &production ? simulator.origins().apiServerOrigin : simulator.origins().apiServerTestOrigin;
            c->reset(new httplib::SSLClient("127.0.0.1", std::stoi(origin.substr(origin.rfind(':') + 1))));
            (*c)->enable_server_certificate_verification(false);
            (*c)->set_read_timeout(2);
        }
        token = objectOf(signIn("orv-pass-01")).value("access_token").toString().toStdString();
        ASSERT_FALSE(token.empty());
    }

    httplib::Result signIn(const std::string& password)
    {
        return production->Post("/api/navi/authorization/v1/local",
                                "{\n\"loginid\": \"driver01\",\n\"password\": \"" + password + "\"\n}\n", "application/json");
    }

    httplib::Result get(const std::string& path, httplib::SSLClient* c = nullptr)
    {
        return (c != nullptr ? c : production.get())->Get(path.c_str(), {{"Authorization", "Bearer " + token}});
    }

    OrvCloudSimulator simulator;
    std::unique_ptr<httplib::SSLClient> production;
    std::unique_ptr<httplib::SSLClient> test;
    std::string token;
};

TEST_F(SimulatorSmokeTest, SignInChecksCredentialsAndTokensBelongToTheirEnvironment)
{
    EXPECT_EQ(outcome(signIn("x")), "401 E4011001");
    EXPECT_EQ(outcome(signIn("\"\"")).substr(0, 4), "400 ") << "not JSON";
    const std::string summary = "/api/navi/info/v1/summary?" + kIdentity;
    EXPECT_EQ(outcome(get(summary)), "200 ");
    EXPECT_EQ(outcome(get(summary, test.get())), "401 E4011001");
    EXPECT_EQ(outcome(get("/api/navi/info/v1/summary")), "400 E4001001");
}

TEST_F(SimulatorSmokeTest, SpotPagesFollowSortOrderNumberAndPosition)
{
    auto page = [&](const std::string& query) {
        return objectOf(get("/api/navi/bookmarks/v1/spots?" + kIdentity + "&" + query));
    };
    const QJsonObject all = page("sort=1&order=0&number=0");
    const QJsonArray everything = all.value("spots").toArray();
    ASSERT_GE(everything.size(), 5);
    EXPECT_EQ(all.value("all").toInt(), everything.size());
    for (int i = 1; i < everything.size(); ++i) {
        EXPECT_LE(everything.at(i - 1).toObject().value("createdAt").toString(),
                  everything.at(i).toObject().value("createdAt").toString());
    }
    EXPECT_FALSE(everything.at(0).toObject().contains("routePoints"));

    const QJsonObject second = page("sort=1&order=0&number=2&position=3");
    EXPECT_EQ(second.value("number").toInt(), 2);
    EXPECT_EQ(second.value("position").toInt(), 3);
    ASSERT_EQ(second.value("spots").toArray().size(), 2);
    EXPECT_EQ(second.value("spots").toArray().at(0).toObject().value("id"), everything.at(2).toObject().value("id"));
    EXPECT_EQ(page("sort=1&order=1&number=1").value("spots").toArray().at(0).toObject().value("id"),
              everything.at(everything.size() - 1).toObject().value("id"));
    EXPECT_EQ(outcome(get("/api/navi/bookmarks/v1/spots?" + kIdentity + "&sort=9")), "400 E4001002");
}

TEST_F(SimulatorSmokeTest, FaultsAnswerWithTheirStatusDropOrWaitThenGoAway)
{
    const std::string genres = "/api/navi/info/v1/genres?" + kIdentity;
    const struct { const char* rule; const char* outcome; } cases[] = {
        {"genres=503,times=1", "503 I5031001"}, {"genres=drop,times=1", "none"}, {"genres=delay=150,times=1", "200 "},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(simulator.addFault(c.rule));
        const auto started = std::chrono::steady_clock::now();
        EXPECT_EQ(outcome(get(genres)), c.outcome) << c.rule;
        if (std::string(c.rule).find("delay") != std::string::npos) {
            EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(150));
        }
        EXPECT_EQ(outcome(get(genres)), "200 ") << c.rule << " is spent";
    }
    const std::vector<OrvCloudSimulator::RequestRecord> log = simulator.requests();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back().route, "genres");
    EXPECT_EQ(std::count_if(log.begin(), log.end(), [](const OrvCloudSimulator::RequestRecord& r) { return r.status == 0; }), 1);
}

// While the link is dead, a request on an open connection and a new
// connection's TLS handshake get nothing, not even a close; then it is back.
TEST_F(SimulatorSmokeTest, DeadLinkSwallowsConnectionsForAWhile)
{
    const std::string genres = "/api/navi/info/v1/genres?" + kIdentity;
    const std::string origin = simulator.origins().apiServerOrigin;
    httplib::SSLClient client("127.0.0.1", std::stoi(origin.substr(origin.rfind(':') + 1)));
    client.enable_server_certificate_verification(false);
    client.set_keep_alive(true);
    client.set_connection_timeout(0, 300000);
    client.set_read_timeout(0, 300000);
    ASSERT_EQ(outcome(get(genres, &client)), "200 ");
    ASSERT_TRUE(simulator.addFault("genres=dead=3000"));
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(outcome(get(genres, &client)), "none") << "a request on the open connection";
    // The handshake does not name its route yet: a new connection to the same server dies too.
    EXPECT_EQ(outcome(get("/api/navi/info/v1/summary?" + kIdentity, &client)), "none") << "a new connection";
    ASSERT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(3000)) << "too slow to tell";
    std::string back;
    for (int tries = 0; tries < 50 && back != "200 "; ++tries)
        back = outcome(get(genres, &client));
    EXPECT_EQ(back, "200 ");
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(3000));
}

// Tokens signed with the kept key outlive the simulator that issued them, up
// to their expiry; what the key did not sign, or another key did, is unknown.
TEST(SimulatorTokenKeyTest, ARestartWithTheSameKeyAcceptsWhatItIssued)
{
    QTemporaryDir directory;
    ASSERT_TRUE(directory.isValid());
    OrvCloudSimulator::Options options;
    options.tokenKeyFile = directory.filePath("token-key").toStdString();
    auto port = [](const std::string& origin) { return std::stoi(origin.substr(origin.rfind(':') + 1)); };
    auto signIn = [&](OrvCloudSimulator& simulator, bool test) {
        const OrvCloudSimulator::Origins o = simulator.origins();
        httplib::SSLClient client("127.0.0.1", port(test ? o.authServerTestOrigin : o.authServerOrigin));
        client.enable_server_certificate_verification(false);
        return objectOf(client.Post("/api/navi/authorization/v1/local",
                                    test ? R"({"loginid":"QahvomTPsk01","password":"orv-test-01"})"
                                         : R"({"loginid":"driver01","password":"orv-pass-01"})",
                                    "application/json"))
            .value("access_token").toString().toStdString();
    };
    std::string valid, expired, test;
    {
        OrvCloudSimulator first;
        ASSERT_TRUE(first.start(options));
        valid = signIn(first, false);
        test = signIn(first, true);
        first.setTokenLifetime(-1);
        expired = signIn(first, false);
    }
    ASSERT_FALSE(valid.empty());
    ASSERT_FALSE(expired.empty());
    std::string forged = valid;
    forged[forged.find('.') - 2] ^= 0x01; // another expiry or login id, same signature

    OrvCloudSimulator again;
    ASSERT_TRUE(again.start(options));
    httplib::SSLClient client("127.0.0.1", port(again.origins().apiServerOrigin));
    client.enable_server_certificate_verification(false);
    auto summary = [&](const std::string& token) {
        return outcome(client.Get(("/api/navi/info/v1/summary?" + kIdentity).c_str(), {{"Authorization", "Bearer " + token}}));
    };
    const struct { const std::string& token; const char* outcome; } cases[] = {
        {valid, "200 "}, {expired, "401 E4019001"}, {forged, "401 E4011001"}, {test, "401 E4011001"},
        {std::string(64, 'a'), "401 E4011001"}, {valid + "x", "401 E4011001"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(summary(c.token), c.outcome) << c.token;

    OrvCloudSimulator otherKey;
    ASSERT_TRUE(otherKey.start(OrvCloudSimulator::Options()));
    httplib::SSLClient other("127.0.0.1", port(otherKey.origins().apiServerOrigin));
    other.enable_server_certificate_verification(false);
    EXPECT_EQ(outcome(other.Get(("/api/navi/info/v1/summary?" + kIdentity).c_str(), {{"Authorization", "Bearer " + valid}})),
              "401 E4011001");
}

} // namespace
