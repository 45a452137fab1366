// The simulator's behaviour as the library meets it: the bearer check, the
// device shadow's certificate check, the summary after a deletion, the test
// origins and injected faults, all through OrvKit commands.
#include "OrvCloudSimulator.h"
#include "RecordingListener.h"

#include <OrvKit.h>

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

namespace {

using namespace OrvKitDef;
using Message = RecordingListener::Message;

std::vector<uint8_t> loginBlock(const std::string& model, const std::string& deviceNo, const std::string& loginId,
                                const std::string& password)
{
    std::vector<uint8_t> block{6};
    for (const std::string* text : {&model, &deviceNo, &loginId, &password}) {
        block.insert(block.end(), text->begin(), text->end());
        block.push_back(0);
    }
    return block;
}

std::vector<uint8_t> bytesOf(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

std::vector<uint8_t> positionAt(double lon, double lat)
{
    OrvKitDat::CarPositions position;
    position.lon = lon;
    position.lat = lat;
    position.measuredAt = "2024-06-15T00:30:00Z";
    VxSerialization::Archive archive;
    position.serialize(archive);
    return archive.bytes();
}

class SimulatorThroughKitTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Each test starts without a stored token.
        const char* directory = std::getenv("VX_SAVEFILE_DIR");
        if (directory != nullptr) {
            std::remove((std::string(directory) + "/OrvToken.ini").c_str());
        }
        // Every simulator run issues new tokens: one stored by an earlier run would be unknown.
        std::remove(tokenFile().c_str());
        std::string error;
        ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
        openKit();
    }

    void TearDown() override { closeKit(); }

    static std::string tokenFile()
    {
        const char* directory = std::getenv("VX_SAVEFILE_DIR");
        return std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini";
    }

    void openKit()
    {
        const OrvCloudSimulator::Origins origins = simulator.origins();
        OrvKitPreferences preferences;
        preferences.authServerOrigin = origins.authServerOrigin;
        preferences.authServerTestOrigin = origins.authServerTestOrigin;
        preferences.apiServerOrigin = origins.apiServerOrigin;
        preferences.apiServerTestOrigin = origins.apiServerTestOrigin;
        preferences.certificateOrigin = origins.certificateOrigin;
        preferences.certificateTestOrigin = origins.certificateTestOrigin;
        preferences.deviceShadowOrigin = origins.deviceShadowOrigin;
        preferences.deviceShadowTestOrigin = origins.deviceShadowTestOrigin;
        listener.reset(new RecordingListener);
        kit.reset(new OrvKit(preferences));
        kit->setListener(listener.get());
        ASSERT_EQ(kit->open(), 1);
        ASSERT_TRUE(listener->waitForOpen());
    }

    void closeKit()
    {
        if (kit) {
            kit->close();
            listener->waitForClose();
            kit.reset();
        }
    }

    // Sends a command and returns its final message (id 0 on a time-out).
    Message run(unsigned long code, std::vector<uint8_t> bytes, std::initializer_list<unsigned long> finals)
    {
        listener->clear();
        CmdData command{bytes.data(), static_cast<uint32_t>(bytes.size()), code};
        if (kit->sendCommand(command) != 1) {
            return Message{0, {}};
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            for (const Message& m : listener->received()) {
                for (unsigned long id : finals) {
                    if (m.id == id) {
                        return m;
                    }
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return Message{0, {}};
    }

    Message login(const std::string& model, const std::string& deviceNo, const std::string& loginId = "driver01",
                  const std::string& password = "orv-pass-01")
    {
        return run(CMD_LOGIN, loginBlock(model, deviceNo, loginId, password),
                   {MSG_LOGIN_RESULT, MSG_LOGIN_ERROR, MSG_LOGIN_RESULT_ERROR});
    }

    Message summary() { return run(CMD_GET_INFO_SUMMARY, {0}, {MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR}); }

    OrvKitDat::SummaryResponse decodedSummary()
    {
        OrvKitDat::SummaryResponse record;
        const Message m = summary();
        EXPECT_EQ(m.id, MSG_INFO_SUMMARY_RESULT);
        EXPECT_TRUE(record.fromJson(m.payload));
        return record;
    }

    OrvCloudSimulator simulator;
    std::unique_ptr<RecordingListener> listener;
    std::unique_ptr<OrvKit> kit;
};

TEST_F(SimulatorThroughKitTest, ApiRequestsNeedAValidBearerToken)
{
    Message m = summary();
    EXPECT_EQ(m.id, MSG_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{80}) << "no token: E4011001";

    m = login("ORV-NAV20", "0012345");
    ASSERT_EQ(m.id, MSG_LOGIN_RESULT);
    OrvKitDat::AuthResponse auth;
    ASSERT_TRUE(auth.fromJson(m.payload));
    EXPECT_EQ(auth.role, "tlv");
    EXPECT_EQ(summary().id, MSG_INFO_SUMMARY_RESULT);

    simulator.expireTokens();
    m = summary();
    EXPECT_EQ(m.id, MSG_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{81}) << "expired token: E4019 family";

    // Wrong credentials are a login failure, not a refusal.
    std::remove(tokenFile().c_str());
    m = login("ORV-NAV20", "0012345", "driver01", "wrong");
    EXPECT_EQ(m.id, MSG_LOGIN_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{80});
}

TEST_F(SimulatorThroughKitTest, ShadowTakesOnlyTheCertificateOfItsOwnThing)
{
    ASSERT_EQ(login("ORV-NAV20", "1").id, MSG_LOGIN_RESULT);
    const Message certificate = run(CMD_GET_CERTIFICATE, {0}, {MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, MSG_REQUEST_ERROR});
    ASSERT_EQ(certificate.id, MSG_CERTIFICATE_RESULT);
    ASSERT_FALSE(certificate.payload.empty());

    Message m = run(CMD_UPDATE_SHADOW, positionAt(139.767125, 35.681236), {MSG_SHADOW_RESULT, MSG_RESULT_ERROR});
    ASSERT_EQ(m.id, MSG_SHADOW_RESULT);
    const QJsonObject stored = QJsonDocument::fromJson(QByteArray::fromStdString(simulator.shadowDocument("ORV-NAV20-1")))
                                   .object()["state"].toObject()["reported"].toObject();
    EXPECT_EQ(stored["model"].toString(), "ORV-NAV20");
    EXPECT_EQ(stored["deviceNo"].toString(), "1");
    ASSERT_EQ(stored["positions"].toArray().size(), 1);
    EXPECT_DOUBLE_EQ(stored["positions"].toArray().at(0).toObject()["lon"].toDouble(), 139.767125);

    // The token is still valid, so this login makes no request and the kit
    // keeps the certificate of device 1 while it reports as device 2.
    ASSERT_EQ(login("ORV-NAV20", "2").id, MSG_LOGIN_RESULT);
    m = run(CMD_UPDATE_SHADOW, positionAt(139.77, 35.68), {MSG_SHADOW_RESULT, MSG_RESULT_ERROR});
    EXPECT_EQ(m.id, MSG_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{0}) << "403 from the device endpoint";
    EXPECT_TRUE(simulator.shadowDocument("ORV-NAV20-2").empty());

    // A fresh kit holds no certificate at all.
    closeKit();
    openKit();
    ASSERT_EQ(login("ORV-NAV20", "1").id, MSG_LOGIN_RESULT);
    m = run(CMD_UPDATE_SHADOW, positionAt(139.77, 35.68), {MSG_SHADOW_RESULT, MSG_RESULT_ERROR});
    EXPECT_EQ(m.id, MSG_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{193}) << "401 from the device endpoint";
}

TEST_F(SimulatorThroughKitTest, SummaryFollowsDeletions)
{
    ASSERT_EQ(login("ORV-NAV20", "0012345").id, MSG_LOGIN_RESULT);
    const OrvKitDat::SummaryResponse before = decodedSummary();
    ASSERT_GT(before.destinationCount, 0u);
    ASSERT_GT(before.planCount, 0u);

    Message m = run(CMD_DELETE_DESTINATION, bytesOf("D0000001"), {MSG_DELETE_DESTINATION_RESULT, MSG_RESULT_ERROR});
    ASSERT_EQ(m.id, MSG_DELETE_DESTINATION_RESULT);
    EXPECT_TRUE(m.payload.empty());
    m = run(CMD_DELETE_DESTINATION, bytesOf("D0000001"), {MSG_DELETE_DESTINATION_RESULT, MSG_RESULT_ERROR});
    EXPECT_EQ(m.id, MSG_RESULT_ERROR);
    EXPECT_EQ(m.payload, std::vector<uint8_t>{128}) << "an unknown destination: E4041001";
    ASSERT_EQ(run(CMD_DELETE_PLANS, {0}, {MSG_DELETE_PLANS_RESULT, MSG_RESULT_ERROR}).id, MSG_DELETE_PLANS_RESULT);

    const OrvKitDat::SummaryResponse after = decodedSummary();
    EXPECT_EQ(after.destinationCount + 1, before.destinationCount);
    EXPECT_NE(after.destinationUpdatedAt, before.destinationUpdatedAt);
    EXPECT_EQ(after.planCount, 0u);
    EXPECT_NE(after.planUpdatedAt, before.planUpdatedAt);
    EXPECT_EQ(after.spotCount, before.spotCount);
    EXPECT_EQ(after.spotUpdatedAt, before.spotUpdatedAt);

    OrvKitDat::BookmarksDestsResponse destinations;
    m = run(CMD_GET_DESTINATIONS, {0}, {MSG_DESTINATIONS_RESULT, MSG_RESULT_ERROR});
    ASSERT_TRUE(destinations.fromJson(m.payload));
    EXPECT_EQ(destinations.dests.size(), after.destinationCount);
}

TEST_F(SimulatorThroughKitTest, TestLoginIdsGoToTheTestEnvironment)
{
    ASSERT_EQ(login("ORV-NAV20", "0012345", "QahvomTPsk01", "orv-test-01").id, MSG_LOGIN_RESULT);
    ASSERT_EQ(run(CMD_DELETE_DESTINATION, bytesOf("D0000002"), {MSG_DELETE_DESTINATION_RESULT, MSG_RESULT_ERROR}).id,
              MSG_DELETE_DESTINATION_RESULT);
    for (const OrvCloudSimulator::RequestRecord& entry : simulator.requests()) {
        EXPECT_EQ(entry.environment, OrvCloudSimulator::Test) << entry.method << " " << entry.path;
    }
    const QJsonObject production = QJsonDocument::fromJson(QByteArray::fromStdString(simulator.summaryJson())).object();
    const QJsonObject test =
        QJsonDocument::fromJson(QByteArray::fromStdString(simulator.summaryJson(OrvCloudSimulator::Test))).object();
    EXPECT_EQ(production["destination"].toObject()["count"].toInt(),
              test["destination"].toObject()["count"].toInt() + 1);
}

TEST_F(SimulatorThroughKitTest, InjectedFaultsReachTheApplicationAsResultCodes)
{
    ASSERT_EQ(login("ORV-NAV20", "0012345").id, MSG_LOGIN_RESULT);
    struct Case
    {
        const char* fault;
        uint8_t code;
    };
    const Case cases[] = {{"summary=503,times=1", 160}, {"summary=500:-,times=1", 178}, {"summary=drop,times=1", 177}};
    for (const Case& c : cases) {
        ASSERT_TRUE(simulator.addFault(c.fault)) << c.fault;
        const Message m = summary();
        EXPECT_EQ(m.id, MSG_RESULT_ERROR) << c.fault;
        EXPECT_EQ(m.payload, std::vector<uint8_t>{c.code}) << c.fault;
    }
    EXPECT_EQ(summary().id, MSG_INFO_SUMMARY_RESULT) << "the faults were used up";
}

} // namespace
