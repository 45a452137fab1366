// The first-hour helpers without a server: which message ends a command's
// exchange, and what the origins file yields.
#include <OrvKitInbox.h>
#include <OrvKitOrigins.h>

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fstream>

namespace {

using namespace OrvKitDef;
using Outcome = OrvKitInbox::Outcome;

struct Sent
{
    unsigned long id;
    std::vector<uint8_t> payload;
};

TEST(OrvKitInboxTest, TheCommandsOwnFinalMessageAfterItsAcceptanceEndsTheWait)
{
    const struct { unsigned long code; std::vector<Sent> messages; Outcome outcome; unsigned long finalId; } cases[] = {
        {CMD_GET_INFO_SUMMARY, {{0x8011, {}}, {0x8013, {'{', '}'}}}, Outcome::Success, 0x8013},
        // A failure before the acceptance belongs to an earlier command.
        {CMD_GET_INFO_SUMMARY, {{0x8073, {177}}, {0x8011, {}}, {0x8073, {80}}}, Outcome::Failure, 0x8073},
        {CMD_GET_INFO_SUMMARY, {{0x8033, {}}, {0x8011, {}}, {0x8013, {}}}, Outcome::Success, 0x8013},
        {CMD_GET_SPOTS, {{0x8071, {2}}}, Outcome::Refused, 0x8071},
        {CMD_GET_SPOTS, {{0x8021, {}}, {0x8071, {1}}}, Outcome::Refused, 0x8071},
        {CMD_LOGIN, {{0x8001, {}}, {0x8003, {}}}, Outcome::Success, 0x8003},
        {CMD_LOGIN, {{0x8071, {1}}, {0x8075, {1}}}, Outcome::Refused, 0x8075},
        {CMD_LOGIN, {{0x8001, {}}, {0x8073, {80}}, {0x8077, {176}}}, Outcome::Failure, 0x8077},
        // No acceptance: the certificate's result comes straight away.
        {CMD_GET_CERTIFICATE, {{0x8065, {}}}, Outcome::Success, 0x8065},
        {CMD_GET_CERTIFICATE, {{0x8067, {193}}}, Outcome::Failure, 0x8067},
        {CMD_GET_GENRES, {{0x8101, {}}}, Outcome::AcceptedOnly, 0x8101},
        {CMD_GET_PLANS_SUMMARY, {{0x8091, {}}}, Outcome::AcceptedOnly, 0x8091},
        {CMD_GET_SPOT_DETAIL, {{0x8081, {}}}, Outcome::AcceptedOnly, 0x8081},
        {CMD_GET_INFO_SUMMARY, {{0x8011, {}}}, Outcome::TimedOut, 0},
    };
    for (const auto& c : cases) {
        OrvKitInbox inbox;
        for (Sent message : c.messages) {
            CmdData data{message.payload.data(), static_cast<uint32_t>(message.payload.size()), message.id};
            inbox.onMessage(data);
        }
        size_t seen = 0;
        OrvKitInbox::Message answer;
        const Outcome outcome = inbox.waitForOutcome(*OrvKitCommands::findCommand(c.code), answer,
                                                     std::chrono::milliseconds(20), [&](const OrvKitInbox::Message&) { ++seen; });
        SCOPED_TRACE("command " + std::to_string(c.code) + ", " + std::to_string(c.messages.size()) + " messages");
        EXPECT_EQ(static_cast<int>(outcome), static_cast<int>(c.outcome));
        EXPECT_EQ(answer.id, c.finalId);
        EXPECT_EQ(seen, c.messages.size());
        if (outcome != Outcome::TimedOut) {
            EXPECT_EQ(answer.payload, c.messages.back().payload);
        }
    }
}

TEST(OrvKitInboxTest, OpenAndCloseWaitsFollowTheLastCallback)
{
    OrvKitInbox inbox;
    EXPECT_TRUE(inbox.waitClosed(std::chrono::milliseconds(0))) << "never opened";
    EXPECT_FALSE(inbox.waitOpened(std::chrono::milliseconds(0)));
    inbox.onOpenEnd();
    EXPECT_TRUE(inbox.waitOpened(std::chrono::milliseconds(0)));
    EXPECT_FALSE(inbox.waitClosed(std::chrono::milliseconds(0)));
    inbox.onCloseEnd();
    EXPECT_FALSE(inbox.isOpen());
    inbox.onOpenEnd();
    EXPECT_TRUE(inbox.isOpen()) << "opened again";
}

TEST(OrvKitOriginsTest, FillsTheOriginsAndTheCaAndNamesWhatIsMissing)
{
    QTemporaryDir directory;
    const std::string path = directory.filePath("origins").toStdString();
    const char* const keys[] = {"authServerOrigin", "authServerTestOrigin", "apiServerOrigin", "apiServerTestOrigin",
                                "certificateOrigin", "certificateTestOrigin", "deviceShadowOrigin", "deviceShadowTestOrigin"};
    {
        std::ofstream out(path);
        for (int i = 0; i < 8; ++i)
            out << keys[i] << "=https://127.0.0.1:" << 1000 + i << "\n";
        out << "consoleOrigin=http://127.0.0.1:9\ncaCertificateFile=/tmp/ca.pem\n";
    }
    OrvKitPreferences preferences;
    std::string error;
    ASSERT_TRUE(OrvKitOrigins::load(path, preferences, &error)) << error;
    EXPECT_EQ(preferences.authServerOrigin, "https://127.0.0.1:1000");
    EXPECT_EQ(preferences.apiServerTestOrigin, "https://127.0.0.1:1003");
    EXPECT_EQ(preferences.deviceShadowTestOrigin, "https://127.0.0.1:1007");
    EXPECT_TRUE(preferences.verifyServerCertificates);
    EXPECT_EQ(preferences.caBundlePath, "/tmp/ca.pem");

    std::ofstream(path) << "authServerOrigin=https://a:1\napiServerOrigin=https://b:2\n";
    OrvKitPreferences partial;
    EXPECT_FALSE(OrvKitOrigins::load(path, partial, &error));
    EXPECT_EQ(error, path + " has no authServerTestOrigin");
    EXPECT_EQ(partial.apiServerOrigin, "https://b:2");
    EXPECT_FALSE(partial.verifyServerCertificates);
    EXPECT_FALSE(OrvKitOrigins::load(path + ".missing", partial, &error));
    EXPECT_EQ(error, "cannot read " + path + ".missing");
}

} // namespace
