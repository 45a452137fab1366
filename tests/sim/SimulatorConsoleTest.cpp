// The console's JSON API while the HTTPS servers serve: every request shows
// once, in order, with what the console promises about it; bad input gets a 4xx.
#include "OrvCloudSimulator.h"
#include "OrvSimConsole.h"
#include "TestTime.h"

#include <httplib.h>
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <memory>
#include <thread>

namespace {

QJsonDocument jsonOf(const httplib::Result& result)
{
    return result ? QJsonDocument::fromJson(QByteArray::fromStdString(result->body)) : QJsonDocument();
}

int statusOf(const httplib::Result& result) { return result ? result->status : -1; }

int port(const std::string& origin) { return std::stoi(origin.substr(origin.rfind(':') + 1)); }

class SimulatorConsoleTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string error;
        ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
        ASSERT_TRUE(console.start("127.0.0.1", 0, error)) << error;
        reader.reset(new httplib::Client("127.0.0.1", port(console.origin())));
        reader->set_read_timeout(5);
    }

    OrvCloudSimulator simulator;
    OrvSimConsole console{simulator};
    std::unique_ptr<httplib::Client> reader;
};

TEST_F(SimulatorConsoleTest, ListsEveryRequestOnceInOrderWhileTheServersServe)
{
    ASSERT_EQ(statusOf(reader->Post("/console/api/faults", "{\"rule\": \"summary=503,times=5\"}", "application/json")), 201);

    const int kSummaries = 40;
    std::thread driver([this] {
        httplib::SSLClient client("127.0.0.1", port(simulator.origins().apiServerOrigin));
        client.enable_server_certificate_verification(false);
        auto signedIn = client.Post("/api/navi/authorization/v1/local",
                                    "{\"loginid\": \"driver01\", \"password\": \"orv-pass-01\"}", "application/json");
        const httplib::Headers bearer{
            {"Authorization", "Bearer " + jsonOf(signedIn).object().value("access_token").toString().toStdString()}};
        for (int i = 0; i < kSummaries; ++i)
            client.Get("/api/navi/info/v1/summary?maker=06&model=M&deviceNo=1", bearer);
    });

    // Read in small pages while the driver runs, as the page does.
    std::vector<QJsonObject> seen;
    double last = 0;
    const auto deadline = std::chrono::steady_clock::now() + scaled(std::chrono::seconds(20));
    while (seen.size() < kSummaries + 1u && std::chrono::steady_clock::now() < deadline) {
        const QJsonObject page =
            jsonOf(reader->Get("/console/api/requests?limit=7&after=" + std::to_string(static_cast<uint64_t>(last)))).object();
        const QJsonArray newestFirst = page.value("requests").toArray();
        for (int i = newestFirst.size() - 1; i >= 0; --i)
            seen.push_back(newestFirst.at(i).toObject());
        last = page.value("last").toDouble(last);
    }
    driver.join();

    ASSERT_EQ(seen.size(), kSummaries + 1u);
    EXPECT_EQ(seen.front().value("route").toString(), "login");
    int faulted = 0;
    for (size_t i = 0; i < seen.size(); ++i) {
        const QJsonObject& r = seen[i];
        EXPECT_EQ(r.value("serial").toDouble(), i + 1.0) << "a request missing, twice or out of order";
        EXPECT_EQ(r.value("requester").toString(), "driver01");
        const bool fault = r.value("status").toInt() == 503;
        faulted += fault ? 1 : 0;
        EXPECT_EQ(r.value("code").toString(), fault ? "I5031001" : "");
        const QString rule = r.value("fault").toString();
        EXPECT_EQ(rule.startsWith("summary=503,times="), fault) << rule.toStdString();
    }
    EXPECT_EQ(faulted, 5);
    EXPECT_EQ(jsonOf(reader->Get("/console/api/faults")).array().size(), 0) << "the rule is spent";
}

TEST_F(SimulatorConsoleTest, BadInputGetsA4xxWithAReason)
{
    const struct { const char* method; const char* path; const char* body; const char* type; const char* host; int status; }
        cases[] = {
        {"GET", "/console/api/requests?limit=0", "", "", "", 400},
        {"GET", "/console/api/requests?after=x", "", "", "", 400},
        {"POST", "/console/api/faults", "{\"rule\": \"nowhere=500\"}", "application/json", "", 400},
        {"POST", "/console/api/faults", "{\"rule\": 5}", "application/json", "", 400},
        {"POST", "/console/api/faults", "rule=summary=503", "application/x-www-form-urlencoded", "", 415},
        {"DELETE", "/console/api/faults/summary", "", "", "", 404},
        {"GET", "/console/api/devices/production/nothing", "", "", "", 404},
        {"GET", "/console/api/nothing", "", "", "", 404},
        // A page elsewhere that points its own name at loopback.
        {"GET", "/console/api/requests", "", "", "pages.example:8080", 403},
    };
    for (const auto& c : cases) {
        httplib::Headers headers;
        if (*c.host != '\0')
            headers.emplace("Host", c.host);
        const httplib::Result result = *c.method == 'G'   ? reader->Get(c.path, headers)
                                       : *c.method == 'P' ? reader->Post(c.path, headers, c.body, c.type)
                                                          : reader->Delete(c.path, headers);
        EXPECT_EQ(statusOf(result), c.status) << c.method << " " << c.path;
        if (result) {
            EXPECT_FALSE(result->body.empty()) << c.method << " " << c.path << ": a reason";
        }
    }
    EXPECT_EQ(jsonOf(reader->Get("/console/api/faults")).array().size(), 0) << "no refused rule was added";
}

} // namespace
