// One run of the library against the simulator: sign-in, the data set
// changing under a deletion, the certificate and the device shadow it keeps.
#include "OrvCloudSimulator.h"
#include "RecordingListener.h"

#include <OrvKit.h>
#include <OrvKitCommands.h>
#include <OrvKitInbox.h>

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using namespace OrvKitDef;

TEST(SimulatorThroughKitTest, SignInDataAndShadowThroughTheKit)
{
    // A token stored by an earlier run is unknown to this simulator.
    const char* directory = std::getenv("VX_SAVEFILE_DIR");
    std::remove((std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini").c_str());
    OrvCloudSimulator simulator;
    std::string error;
    ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
    OrvKitPreferences preferences;
    preferences.authServerOrigin = simulator.origins().authServerOrigin;
    preferences.apiServerOrigin = simulator.origins().apiServerOrigin;
    preferences.certificateOrigin = simulator.origins().certificateOrigin;
    preferences.deviceShadowOrigin = simulator.origins().deviceShadowOrigin;
    RecordingListener listener;
    OrvKit kit(preferences);
    kit.setListener(&listener);
    ASSERT_EQ(kit.open(), 1);
    ASSERT_TRUE(listener.waitForOpen());

    // The payload of the expected answer; a failure names what came instead.
    auto send = [&](unsigned long code, std::vector<uint8_t> bytes, unsigned long expected) {
        listener.clear();
        CmdData command{bytes.data(), static_cast<uint32_t>(bytes.size()), code};
        RecordingListener::Message answer{0, {}};
        EXPECT_EQ(kit.sendCommand(command), 1);
        EXPECT_TRUE(listener.waitForId(expected, &answer, 10000))
            << "command " << code << ", first message " << (listener.received().empty() ? 0 : listener.received()[0].id);
        return answer.payload;
    };
    send(CMD_LOGIN, OrvKitCommands::loginBlock(6, "ORV-NAV20", "0012345", "driver01", "orv-pass-01"), MSG_LOGIN_RESULT);

    OrvKitDat::SummaryResponse before, after;
    EXPECT_TRUE(before.fromJson(send(CMD_GET_INFO_SUMMARY, {0}, MSG_INFO_SUMMARY_RESULT)));
    const std::string id = "D0000001";
    send(CMD_DELETE_DESTINATION, std::vector<uint8_t>(id.begin(), id.end()), MSG_DELETE_DESTINATION_RESULT);
    EXPECT_TRUE(after.fromJson(send(CMD_GET_INFO_SUMMARY, {0}, MSG_INFO_SUMMARY_RESULT)));
    EXPECT_EQ(after.destinationCount + 1, before.destinationCount);
    EXPECT_NE(after.destinationUpdatedAt, before.destinationUpdatedAt);
    EXPECT_EQ(after.spotUpdatedAt, before.spotUpdatedAt);

    send(CMD_GET_CERTIFICATE, {0}, MSG_CERTIFICATE_RESULT);
    OrvKitDat::CarPositions position;
    position.lon = 139.767125;
    position.lat = 35.681236;
    position.measuredAt = "2024-06-15T00:30:00Z";
    VxSerialization::Archive archive;
    position.serialize(archive);
    send(CMD_UPDATE_SHADOW, archive.bytes(), MSG_SHADOW_RESULT);
    const QJsonObject stored = QJsonDocument::fromJson(QByteArray::fromStdString(simulator.shadowDocument("ORV-NAV20-0012345")))
                                   .object()["state"].toObject()["reported"].toObject();
    EXPECT_EQ(stored["deviceNo"].toString(), "0012345");
    ASSERT_EQ(stored["positions"].toArray().size(), 1);
    EXPECT_DOUBLE_EQ(stored["positions"].toArray().at(0).toObject()["lon"].toDouble(), 139.767125);

    kit.close();
    EXPECT_TRUE(listener.waitForClose());
}

// Every command of the kit's table meets a simulator route that answers it
// with the method, path and success status the table gives.
TEST(SimulatorThroughKitTest, EveryCommandMeetsItsRouteAsTheTableDescribesIt)
{
    const char* directory = std::getenv("VX_SAVEFILE_DIR");
    std::remove((std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini").c_str());
    OrvCloudSimulator simulator;
    std::string error;
    ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
    OrvKitPreferences preferences;
    preferences.authServerOrigin = simulator.origins().authServerOrigin;
    preferences.apiServerOrigin = simulator.origins().apiServerOrigin;
    preferences.certificateOrigin = simulator.origins().certificateOrigin;
    preferences.deviceShadowOrigin = simulator.origins().deviceShadowOrigin;
    RecordingListener listener;
    OrvKit kit(preferences);
    kit.setListener(&listener);
    ASSERT_EQ(kit.open(), 1);
    ASSERT_TRUE(listener.waitForOpen());

    OrvKitDat::CarPositions position;
    position.lon = 139.767125;
    position.lat = 35.681236;
    VxSerialization::Archive archive;
    position.serialize(archive);
    // The block and the path the kit should request, in an order that signs
    // in first and fetches the certificate before the position goes out.
    // success 0: the kit passes no answer on.
    const struct { unsigned long code; std::vector<uint8_t> block; const char* method; const char* path; int status;
                   unsigned long success; } commands[] = {
        {CMD_LOGIN, OrvKitCommands::loginBlock(6, "ORV-NAV20", "0012345", "driver01", "orv-pass-01"),
         "POST", "/api/navi/authorization/v1/local", 200, 0x8003},
        {CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), "GET", "/api/navi/info/v1/summary", 200, 0x8013},
        {CMD_GET_SPOTS, OrvKitCommands::pageBlock(1, 1, 5), "GET", "/api/navi/bookmarks/v1/spots", 200, 0x8023},
        {CMD_GET_FOLDERS, OrvKitCommands::pageBlock(1, 1, 5), "GET", "/api/navi/bookmarks/v1/folders", 200, 0x8033},
        {CMD_GET_DESTINATIONS, OrvKitCommands::noParameters(), "GET", "/api/navi/bookmarks/v1/destinations", 200, 0x8043},
        {CMD_DELETE_DESTINATION, OrvKitCommands::destinationBlock("D0000002"),
         "DELETE", "/api/navi/bookmarks/v1/destinations/D0000002", 204, 0x8047},
        {CMD_GET_PLANS, OrvKitCommands::plansBlock(true), "GET", "/api/navi/driveplans/v1/plans", 200, 0x8053},
        {CMD_DELETE_PLANS, OrvKitCommands::noParameters(), "DELETE", "/api/navi/driveplans/v1/plans", 204, 0x8057},
        {CMD_GET_CERTIFICATE, OrvKitCommands::noParameters(), "POST", "/prod/cert", 200, 0x8065},
        {CMD_UPDATE_SHADOW, archive.bytes(), "POST", "/things/ORV-NAV20-0012345/shadow", 200, 0x8063},
        {CMD_GET_SPOT_DETAIL, OrvKitCommands::noParameters(), "GET", "/api/navi/bookmarks/v1/spots/SM3,AF,396J", 200, 0},
        {CMD_GET_PLANS_SUMMARY, OrvKitCommands::noParameters(), "GET", "/api/navi/driveplans/v1/plans/summary", 200, 0},
        {CMD_GET_GENRES, OrvKitCommands::noParameters(), "GET", "/api/navi/info/v1/genres", 200, 0},
    };
    ASSERT_EQ(sizeof(commands) / sizeof(commands[0]), OrvKitCommands::kCommandCount);
    for (const auto& c : commands) {
        SCOPED_TRACE(c.path);
        const size_t before = simulator.requests().size();
        listener.clear();
        std::vector<uint8_t> bytes = c.block;
        CmdData command{bytes.data(), static_cast<uint32_t>(bytes.size()), c.code};
        ASSERT_EQ(kit.sendCommand(command), 1);
        if (c.success != 0) {
            EXPECT_TRUE(listener.waitForId(c.success, nullptr, 10000));
        }
        // A command whose answer is not passed on shows only at the simulator.
        const auto deadline = std::chrono::steady_clock::now() + scaled(std::chrono::seconds(10));
        while (simulator.requests().size() == before && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const std::vector<OrvCloudSimulator::RequestRecord> records = simulator.requests();
        ASSERT_GT(records.size(), before);
        const OrvCloudSimulator::RequestRecord& record = records[before];
        EXPECT_EQ(record.method, c.method);
        EXPECT_EQ(record.path, c.path);
        EXPECT_EQ(record.status, c.status);
    }
    kit.close();
    EXPECT_TRUE(listener.waitForClose());
}

// A server that no longer takes the stored token, though it has not expired
// (here: a simulator with another key): the kit answers the login from the
// token and the server refuses the next command with 80. The way out is to
// remove the token file and sign in again.
TEST(SimulatorThroughKitTest, AStoredTokenTheServerNoLongerTakesIsRemovedAndTheLoginAsksAgain)
{
    const char* directory = std::getenv("VX_SAVEFILE_DIR");
    const std::string tokenFile = std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini";
    std::remove(tokenFile.c_str());
    using Outcome = OrvKitInbox::Outcome;
    const std::vector<uint8_t> login = OrvKitCommands::loginBlock(6, "ORV-NAV20", "0012345", "driver01", "orv-pass-01");
    for (const bool forgotten : {false, true}) {
        SCOPED_TRACE(forgotten ? "a simulator with another key" : "the first simulator");
        OrvCloudSimulator simulator;
        ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options()));
        OrvKitPreferences preferences;
        preferences.authServerOrigin = simulator.origins().authServerOrigin;
        preferences.apiServerOrigin = simulator.origins().apiServerOrigin;
        OrvKitInbox inbox;
        OrvKit kit(preferences);
        kit.setListener(&inbox);
        ASSERT_EQ(kit.open(), 1);
        ASSERT_TRUE(inbox.waitOpened(std::chrono::seconds(5)));
        OrvKitInbox::Message answer;
        EXPECT_EQ(inbox.send(kit, CMD_LOGIN, login, answer), Outcome::Success);
        EXPECT_EQ(answer.payload.empty(), forgotten) << "an empty login result: answered from the stored token";
        if (forgotten) {
            ASSERT_EQ(inbox.send(kit, CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), answer), Outcome::Failure);
            EXPECT_EQ(answer.code(), RESULT_UNAUTHORIZED);
            ASSERT_EQ(std::remove(tokenFile.c_str()), 0);
            EXPECT_EQ(inbox.send(kit, CMD_LOGIN, login, answer), Outcome::Success);
            EXPECT_FALSE(answer.payload.empty()) << "signed in at the server";
        }
        EXPECT_EQ(inbox.send(kit, CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), answer), Outcome::Success);
        kit.close();
        EXPECT_TRUE(inbox.waitClosed(std::chrono::seconds(5)));
    }
}

} // namespace
