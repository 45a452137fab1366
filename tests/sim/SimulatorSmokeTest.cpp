// The simulator seen from a plain HTTPS client: what the library cannot
// reach on its own (paging positions, fault forms, token scoping).
#include "OrvCloudSimulator.h"

#include <httplib.h>
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <memory>

namespace {

const char* const kIdentity = "maker=07&model=M1&deviceNo=D1";

QJsonObject objectOf(const std::string& body)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(body)).object();
}

int statusOf(const httplib::Result& result) { return result ? result->status : -1; }

std::string errorCode(const httplib::Result& result)
{
    return result ? objectOf(result->body).value("error").toObject().value("code").toString().toStdString()
                  : std::string("(no answer)");
}

class SimulatorSmokeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string error;
        ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
        production = client(simulator.origins().apiServerOrigin);
        test = client(simulator.origins().apiServerTestOrigin);
    }

    static std::unique_ptr<httplib::SSLClient> client(const std::string& origin)
    {
        const int port = std::stoi(origin.substr(origin.rfind(':') + 1));
        std::unique_ptr<httplib::SSLClient> c(new httplib::SSLClient("127.0.0.1", port));
        c->enable_server_certificate_verification(false);
        c->set_connection_timeout(2);
        c->set_read_timeout(2);
        return c;
    }

    std::string signIn(httplib::SSLClient& c, const std::string& loginId, const std::string& password)
    {
        const std::string body = "{\n\"loginid\": \"" + loginId + "\",\n\"password\": \"" + password + "\"\n}\n";
        auto result = c.Post("/api/navi/authorization/v1/local", body, "application/json");
        if (!result || result->status != 200) {
            return std::string();
        }
        return objectOf(result->body).value("access_token").toString().toStdString();
    }

    httplib::Result get(httplib::SSLClient& c, const std::string& path, const std::string& token)
    {
        return c.Get(path.c_str(), httplib::Headers{{"Authorization", "Bearer " + token}});
    }

    OrvCloudSimulator simulator;
    std::unique_ptr<httplib::SSLClient> production;
    std::unique_ptr<httplib::SSLClient> test;
};

TEST(SimulatorFaultSpec, ParsesTheCommandLineForms)
{
    struct Case
    {
        const char* rule;
        bool ok;
        const char* route;
        int status;
        const char* code;
        bool emptyBody;
        int delayMs;
        bool drop;
        int times;
    };
    const Case cases[] = {
        {"summary=503", true, "summary", 503, "", false, 0, false, -1},
        {"spots=500:E5001001,delay=250", true, "spots", 500, "E5001001", false, 250, false, -1},
        {"login=404:-", true, "login", 404, "", true, 0, false, -1},
        {"shadow=drop,times=2", true, "shadow", 0, "", false, 0, true, 2},
        {"nowhere=500", false, "", 0, "", false, 0, false, -1},
        {"summary", false, "", 0, "", false, 0, false, -1},
        {"summary=99", false, "", 0, "", false, 0, false, -1},
        {"summary=delay=x", false, "", 0, "", false, 0, false, -1},
        {"summary=times=3", false, "", 0, "", false, 0, false, -1},
    };
    for (const Case& c : cases) {
        std::string route;
        std::string error;
        OrvSimFault fault;
        ASSERT_EQ(OrvSimFault::parse(c.rule, route, fault, error), c.ok) << c.rule << ": " << error;
        if (!c.ok) {
            EXPECT_FALSE(error.empty()) << c.rule;
            continue;
        }
        EXPECT_EQ(route, c.route) << c.rule;
        EXPECT_EQ(fault.status, c.status) << c.rule;
        EXPECT_EQ(fault.code, c.code) << c.rule;
        EXPECT_EQ(fault.emptyBody, c.emptyBody) << c.rule;
        EXPECT_EQ(fault.delayMs, c.delayMs) << c.rule;
        EXPECT_EQ(fault.drop, c.drop) << c.rule;
        EXPECT_EQ(fault.times, c.times) << c.rule;
    }
}

TEST_F(SimulatorSmokeTest, SignInChecksCredentialsAndTokensBelongToTheirEnvironment)
{
    EXPECT_TRUE(signIn(*production, "driver01", "wrong").empty());
    auto refused = production->Post("/api/navi/authorization/v1/local", "{\"loginid\": \"driver01\",\n\"password\": \"x\"}",
                                    "application/json");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 401);
    EXPECT_EQ(errorCode(refused), "E4011001");

    auto malformed = production->Post("/api/navi/authorization/v1/local", "{\"loginid\": \"a\"\"}", "application/json");
    ASSERT_TRUE(malformed);
    EXPECT_EQ(malformed->status, 400);

    const std::string token = signIn(*production, "driver01", "orv-pass-01");
    ASSERT_FALSE(token.empty());
    const std::string summary = std::string("/api/navi/info/v1/summary?") + kIdentity;
    EXPECT_EQ(statusOf(get(*production, summary, token)), 200);
    auto elsewhere = get(*test, summary, token);
    ASSERT_TRUE(elsewhere);
    EXPECT_EQ(elsewhere->status, 401);
    EXPECT_EQ(errorCode(elsewhere), "E4011001");

    auto noIdentity = get(*production, "/api/navi/info/v1/summary", token);
    ASSERT_TRUE(noIdentity);
    EXPECT_EQ(noIdentity->status, 400);
    EXPECT_EQ(errorCode(noIdentity), "E4001001");
}

TEST_F(SimulatorSmokeTest, SpotPagesFollowSortOrderNumberAndPosition)
{
    const std::string token = signIn(*production, "driver01", "orv-pass-01");
    ASSERT_FALSE(token.empty());
    auto page = [&](const std::string& query) {
        auto result = get(*production, "/api/navi/bookmarks/v1/spots?" + std::string(kIdentity) + "&" + query, token);
        return result && result->status == 200 ? objectOf(result->body) : QJsonObject();
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

    const QJsonObject reversed = page("sort=1&order=1&number=1");
    EXPECT_EQ(reversed.value("spots").toArray().at(0).toObject().value("id"),
              everything.at(everything.size() - 1).toObject().value("id"));

    auto badSort = get(*production, "/api/navi/bookmarks/v1/spots?" + std::string(kIdentity) + "&sort=9", token);
    ASSERT_TRUE(badSort);
    EXPECT_EQ(badSort->status, 400);
    EXPECT_EQ(errorCode(badSort), "E4001002");
}

TEST_F(SimulatorSmokeTest, FaultsAnswerWithTheirStatusDropOrWaitThenGoAway)
{
    const std::string token = signIn(*production, "driver01", "orv-pass-01");
    const std::string genres = std::string("/api/navi/info/v1/genres?") + kIdentity;

    ASSERT_TRUE(simulator.addFault("genres=503,times=1"));
    auto unavailable = get(*production, genres, token);
    ASSERT_TRUE(unavailable);
    EXPECT_EQ(unavailable->status, 503);
    EXPECT_EQ(errorCode(unavailable), "I5031001");
    EXPECT_EQ(statusOf(get(*production, genres, token)), 200);

    ASSERT_TRUE(simulator.addFault("genres=drop,times=1"));
    EXPECT_FALSE(get(*production, genres, token));
    EXPECT_EQ(statusOf(get(*production, genres, token)), 200);

    ASSERT_TRUE(simulator.addFault("genres=delay=150,times=1"));
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(statusOf(get(*production, genres, token)), 200);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(150));

    const std::vector<OrvCloudSimulator::RequestRecord> log = simulator.requests();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back().route, "genres");
    int dropped = 0;
    for (const auto& entry : log) {
        dropped += entry.status == 0 ? 1 : 0;
    }
    EXPECT_EQ(dropped, 1);
}

} // namespace
