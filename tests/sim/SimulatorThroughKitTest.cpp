// One run of the library against the simulator: sign-in, the data set
// changing under a deletion, the certificate and the device shadow it keeps.
#include "OrvCloudSimulator.h"
#include "RecordingListener.h"

#include <OrvKit.h>

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <cstdlib>

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
    std::vector<uint8_t> login{6};
    for (const std::string text : {"ORV-NAV20", "0012345", "driver01", "orv-pass-01"})
        login.insert(login.end(), text.c_str(), text.c_str() + text.size() + 1);
    send(CMD_LOGIN, login, MSG_LOGIN_RESULT);

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

} // namespace
