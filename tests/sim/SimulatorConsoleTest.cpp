// The console's JSON API read while the HTTPS servers serve: every request
// shows once, in order, with what the console promises about it.
#include "OrvCloudSimulator.h"
#include "OrvSimConsole.h"

#include <httplib.h>
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <thread>

namespace {

QJsonDocument jsonOf(const httplib::Result& result)
{
    return result ? QJsonDocument::fromJson(QByteArray::fromStdString(result->body)) : QJsonDocument();
}

TEST(SimulatorConsoleTest, ListsEveryRequestOnceInOrderWhileTheServersServe)
{
    OrvCloudSimulator simulator;
    std::string error;
    ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
    OrvSimConsole console(simulator);
    ASSERT_TRUE(console.start("127.0.0.1", 0, error)) << error;
    const std::string origin = console.origin();
    httplib::Client reader(origin.substr(0, origin.rfind(':')).substr(7), std::stoi(origin.substr(origin.rfind(':') + 1)));
    reader.set_read_timeout(5);

    auto added = reader.Post("/console/api/faults", "{\"rule\": \"summary=503,times=5\"}", "application/json");
    ASSERT_TRUE(added);
    ASSERT_EQ(added->status, 201);

    const std::string api = simulator.origins().apiServerOrigin;
    const int kSummaries = 40;
    std::thread driver([api] {
        httplib::SSLClient client("127.0.0.1", std::stoi(api.substr(api.rfind(':') + 1)));
        client.enable_server_certificate_verification(false);
        client.set_keep_alive(true);
        auto signedIn = client.Post("/api/navi/authorization/v1/local",
                                    "{\"loginid\": \"driver01\", \"password\": \"orv-pass-01\"}", "application/json");
        const std::string token =
            jsonOf(signedIn).object().value("access_token").toString().toStdString();
        const httplib::Headers bearer{{"Authorization", "Bearer " + token}};
        for (int i = 0; i < kSummaries; ++i) {
            client.Get("/api/navi/info/v1/summary?maker=06&model=M&deviceNo=1", bearer);
        }
    });

    // Read in small pages while the driver runs, as the page does.
    std::vector<QJsonObject> seen;
    double last = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (seen.size() < kSummaries + 1u && std::chrono::steady_clock::now() < deadline) {
        const QJsonObject page =
            jsonOf(reader.Get(("/console/api/requests?limit=7&after=" + std::to_string(static_cast<uint64_t>(last))).c_str()))
                .object();
        const QJsonArray newestFirst = page.value("requests").toArray();
        for (int i = newestFirst.size() - 1; i >= 0; --i) {
            seen.push_back(newestFirst.at(i).toObject());
        }
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
        EXPECT_GE(r.value("ms").toDouble(), 0.0);
        if (r.value("status").toInt() == 503) {
            ++faulted;
            EXPECT_EQ(r.value("code").toString(), "I5031001");
            EXPECT_TRUE(r.value("fault").toString().startsWith("summary=503,times=")) << r.value("fault").toString().toStdString();
        } else {
            EXPECT_EQ(r.value("fault").toString(), "");
        }
    }
    EXPECT_EQ(faulted, 5);
    EXPECT_EQ(jsonOf(reader.Get("/console/api/faults")).array().size(), 0) << "the rule is spent";

    auto rebound = reader.Get("/console/api/requests", httplib::Headers{{"Host", "pages.example:8080"}});
    ASSERT_TRUE(rebound);
    EXPECT_EQ(rebound->status, 403) << "a name other than loopback's";
    console.stop();
}

} // namespace
