// One run of the library against the simulator: sign-in, the data set
// changing under a deletion, the certificate and the device shadow it keeps.
#include "OrvCloudSimulator.h"
#include "TestTime.h"

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
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace OrvKitDef;

using Message = OrvKitInbox::Message;
using Outcome = OrvKitInbox::Outcome;

const std::vector<uint8_t> kLogin = OrvKitCommands::loginBlock(6, "ORV-NAV20", "0012345", "driver01", "orv-pass-01");

// A kit open on a simulator of its own, without a token stored by an earlier
// run (this simulator would not know it).
class SimulatorThroughKitTest : public ::testing::Test
{
protected:
    static std::string tokenFile()
    {
        const char* directory = std::getenv("VX_SAVEFILE_DIR");
        return std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini";
    }
    void SetUp() override { std::remove(tokenFile().c_str()); }
    void TearDown() override { close(); }

    // Starts a new simulator, with a key of its own, and opens a kit on it.
    void startAndOpen()
    {
        close();
        simulator.reset(new OrvCloudSimulator);
        std::string error;
        ASSERT_TRUE(simulator->start(OrvCloudSimulator::Options(), &error)) << error;
        OrvKitPreferences preferences;
        preferences.authServerOrigin = simulator->origins().authServerOrigin;
        preferences.apiServerOrigin = simulator->origins().apiServerOrigin;
        preferences.certificateOrigin = simulator->origins().certificateOrigin;
        preferences.deviceShadowOrigin = simulator->origins().deviceShadowOrigin;
        kit.reset(new OrvKit(preferences));
        kit->setListener(&inbox);
        ASSERT_EQ(kit->open(), 1);
        ASSERT_TRUE(inbox.waitOpened(scaled(std::chrono::seconds(5))));
    }
    void close()
    {
        if (kit && kit->close() == 1) {
            EXPECT_TRUE(inbox.waitClosed(scaled(std::chrono::seconds(5))));
        }
        kit.reset();
        inbox.clear();
    }
    Outcome send(unsigned long code, const std::vector<uint8_t>& bytes, Message& answer)
    {
        return inbox.send(*kit, code, bytes, answer, scaled(std::chrono::seconds(10)));
    }

    OrvKitInbox inbox; // outlives the kit
    std::unique_ptr<OrvCloudSimulator> simulator;
    std::unique_ptr<OrvKit> kit;
};

TEST_F(SimulatorThroughKitTest, SignInDataAndShadowThroughTheKit)
{
    ASSERT_NO_FATAL_FAILURE(startAndOpen());
    // The body of a success; a failure names what came instead.
    const auto body = [&](unsigned long code, std::vector<uint8_t> bytes) {
        Message answer;
        EXPECT_EQ(send(code, bytes, answer), Outcome::Success) << "command " << code << ": message " << answer.id;
        return answer.payload;
    };
    body(CMD_LOGIN, kLogin);

    OrvKitDat::SummaryResponse before, after;
    EXPECT_TRUE(before.fromJson(body(CMD_GET_INFO_SUMMARY, {0})));
    body(CMD_DELETE_DESTINATION, OrvKitCommands::destinationBlock("D0000001"));
    EXPECT_TRUE(after.fromJson(body(CMD_GET_INFO_SUMMARY, {0})));
    EXPECT_EQ(after.destinationCount + 1, before.destinationCount);
    EXPECT_NE(after.destinationUpdatedAt, before.destinationUpdatedAt);
    EXPECT_EQ(after.spotUpdatedAt, before.spotUpdatedAt);

    body(CMD_GET_CERTIFICATE, {0});
    OrvKitDat::CarPositions position;
    position.lon = 139.767125;
    position.lat = 35.681236;
    position.measuredAt = "2024-06-15T00:30:00Z";
    VxSerialization::Archive archive;
    position.serialize(archive);
    body(CMD_UPDATE_SHADOW, archive.bytes());
    const QJsonObject stored = QJsonDocument::fromJson(QByteArray::fromStdString(simulator->shadowDocument("ORV-NAV20-0012345")))
                                   .object()["state"].toObject()["reported"].toObject();
    EXPECT_EQ(stored["deviceNo"].toString(), "0012345");
    ASSERT_EQ(stored["positions"].toArray().size(), 1);
    EXPECT_DOUBLE_EQ(stored["positions"].toArray().at(0).toObject()["lon"].toDouble(), 139.767125);
}

// Every command of the kit's table meets a simulator route that answers it
// with the method, path and success status the table gives.
TEST_F(SimulatorThroughKitTest, EveryCommandMeetsItsRouteAsTheTableDescribesIt)
{
    ASSERT_NO_FATAL_FAILURE(startAndOpen());
    OrvKitDat::CarPositions position;
    position.lon = 139.767125;
    position.lat = 35.681236;
    VxSerialization::Archive archive;
    position.serialize(archive);
    // The block and the path the kit should request, in an order that signs
    // in first and fetches the certificate before the position goes out;
    // the message that ends the exchange: the acceptance where the kit
    // passes no answer on.
    const struct { unsigned long code; std::vector<uint8_t> block; const char* method; const char* path; int status;
                   unsigned long last; } commands[] = {
        {CMD_LOGIN, kLogin, "POST", "/api/navi/authorization/v1/local", 200, 0x8003},
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
        {CMD_GET_SPOT_DETAIL, OrvKitCommands::noParameters(), "GET", "/api/navi/bookmarks/v1/spots/SM3,AF,396J", 200, 0x8081},
        {CMD_GET_PLANS_SUMMARY, OrvKitCommands::noParameters(), "GET", "/api/navi/driveplans/v1/plans/summary", 200, 0x8091},
        {CMD_GET_GENRES, OrvKitCommands::noParameters(), "GET", "/api/navi/info/v1/genres", 200, 0x8101},
    };
    ASSERT_EQ(sizeof(commands) / sizeof(commands[0]), OrvKitCommands::kCommandCount);
    for (const auto& c : commands) {
        SCOPED_TRACE(c.path);
        const size_t before = simulator->requests().size();
        Message answer;
        const Outcome outcome = send(c.code, c.block, answer);
        EXPECT_TRUE(outcome == Outcome::Success || outcome == Outcome::AcceptedOnly);
        EXPECT_EQ(answer.id, c.last);
        // A command whose answer is not passed on shows only at the simulator.
        const auto deadline = std::chrono::steady_clock::now() + scaled(std::chrono::seconds(10));
        while (simulator->requests().size() == before && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const std::vector<OrvCloudSimulator::RequestRecord> records = simulator->requests();
        ASSERT_GT(records.size(), before);
        const OrvCloudSimulator::RequestRecord& record = records[before];
        EXPECT_EQ(record.method, c.method);
        EXPECT_EQ(record.path, c.path);
        EXPECT_EQ(record.status, c.status);
    }
}

// A server that no longer takes the stored token, though it has not expired
// (here: a simulator with another key): the kit answers the login from the
// token and the server refuses the next command with 80. The way out is to
// remove the token file and sign in again.
TEST_F(SimulatorThroughKitTest, AStoredTokenTheServerNoLongerTakesIsRemovedAndTheLoginAsksAgain)
{
    for (const bool forgotten : {false, true}) {
        SCOPED_TRACE(forgotten ? "a simulator with another key" : "the first simulator");
        ASSERT_NO_FATAL_FAILURE(startAndOpen());
        Message answer;
        EXPECT_EQ(send(CMD_LOGIN, kLogin, answer), Outcome::Success);
        EXPECT_EQ(answer.payload.empty(), forgotten) << "an empty login result: answered from the stored token";
        if (forgotten) {
            ASSERT_EQ(send(CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), answer), Outcome::Failure);
            EXPECT_EQ(answer.code(), RESULT_UNAUTHORIZED);
            ASSERT_EQ(std::remove(tokenFile().c_str()), 0);
            EXPECT_EQ(send(CMD_LOGIN, kLogin, answer), Outcome::Success);
            EXPECT_FALSE(answer.payload.empty()) << "signed in at the server";
        }
        EXPECT_EQ(send(CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), answer), Outcome::Success);
    }
}

} // namespace
