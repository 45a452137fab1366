// The service's own rules that the end-to-end tests leave open: empty
// commands (the facade refuses them), network failures in both mappers and
// the network access status.
#include "ServiceFixture.h"
#include "service/OrvServerService.h"

#include <atomic>
#include <thread>

namespace {

using OrvServerServiceTest = ServiceFixture;

TEST(OrvServerService, EmptyDataIsRefusedBeforeAnyAcceptance)
{
    OrvKitPreferences preferences;
    OrvServerService service(&preferences, nullptr);
    RecordingListener listener;
    service.setListener(&listener);
    for (unsigned long code : {CMD_GET_SPOTS, CMD_GET_FOLDERS, CMD_DELETE_DESTINATION, CMD_GET_PLANS, CMD_UPDATE_SHADOW,
                               CMD_LOGIN}) {
        listener.clear();
        service.recvCommand(Bytes(), code);
        const std::vector<Message> heard = listener.received();
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_EQ(heard[0].id, code == CMD_LOGIN ? MSG_LOGIN_ERROR : MSG_REQUEST_ERROR);
        EXPECT_EQ(heard[0].payload, Bytes{REQUEST_ERROR_EMPTY_DATA});
    }
    EXPECT_EQ(service.getNetworkAccessStatus(), 0);
}

TEST(OrvServerService, NetworkFailuresInBothMappers)
{
    const struct { unsigned int error, status, context; bool device; uint8_t code; } cases[] = {
        {1, 0, 1, false, 176}, {7, 0, 2, false, 177}, {99, 0, 2, false, 177}, {1, 0, 13, true, 0},
        {4, 0, 2, false, 177}, {5, 0, 2, false, 177}, {5, 200, 2, false, 177}, {4, 0, 1, false, 176},
        {5, 0, 1, false, 176}, {8, 0, 2, false, 178}, {8, 200, 2, false, 64}, // others go by the status
        {4, 0, 13, true, 201}, {5, 0, 12, true, 201}, {5, 429, 13, true, 198}, {2, 0, 13, true, 0},
    };
    OrvKitPreferences preferences;
    OrvServerService service(&preferences, nullptr);
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "error " << c.error << " status " << c.status << " context " << c.context);
        Bytes out;
        if (c.device)
            service.onFinishOrvaneAssistErrorSetAws(c.error, c.status, {}, c.context, out);
        else
            service.onFinishOrvaneAssistErrorSet(c.error, c.status, {}, c.context, out);
        EXPECT_EQ(out, Bytes{c.code});
    }
}

TEST_F(OrvServerServiceTest, NetworkAccessStatusTellsARequestInFlight)
{
    production->route("GET", "/api/navi/info/v1/summary", Reply::delayed(3000, Reply::ok("{}")));
    // Reads the status on the event thread, as the acceptance of a command goes out.
    struct Probe : RecordingListener
    {
        std::atomic<OrvServerService*> service{nullptr};
        std::atomic<int> status{-1};
        void onMessage(CmdData& message) override
        {
            if (message.uniqueID == (MSG_ACCEPTED | CMD_GET_DESTINATIONS))
                status = service.load()->getNetworkAccessStatus();
            RecordingListener::onMessage(message);
        }
    } probe;
    OrvKitPreferences prefs = preferences();
    std::thread worker([&] {
        OrvServerService service(&prefs, nullptr);
        service.setListener(&probe);
        probe.service = &service;
        service.eventLoop();
    });
    ASSERT_TRUE(probe.waitForOpen());
    OrvServerService* service = probe.service.load();
    service->sendCommand({0}, CMD_GET_INFO_SUMMARY);
    const bool inFlight = production->waitForRequests(1, 5000);
    service->sendCommand({0}, 0x71); // unknown: only updates the status
    service->sendCommand({0}, CMD_GET_DESTINATIONS);
    const bool accepted = probe.waitForId(MSG_ACCEPTED | CMD_GET_DESTINATIONS);
    service->close();
    worker.join();
    ASSERT_TRUE(inFlight);
    ASSERT_TRUE(accepted);
    EXPECT_EQ(probe.status, 1);
}

} // namespace
