// What the kit cannot reach: empty commands (the facade refuses them), a
// close that comes before the event loop has connected its signals, and the
// window in which commands are taken.
#include "RecordingListener.h"
#include "service/OrvServerService.h"

#include <OrvKit.h>
#include <OrvKitDef.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace OrvKitDef;

namespace {

TEST(ServiceInternals, EmptyDataIsRefusedBeforeAnyAcceptance)
{
    const std::pair<unsigned long, unsigned long> cases[] = {
        {CMD_GET_SPOTS, MSG_REQUEST_ERROR},        {CMD_GET_FOLDERS, MSG_REQUEST_ERROR},
        {CMD_DELETE_DESTINATION, MSG_REQUEST_ERROR}, {CMD_GET_PLANS, MSG_REQUEST_ERROR},
        {CMD_UPDATE_SHADOW, MSG_REQUEST_ERROR},    {CMD_LOGIN, MSG_LOGIN_ERROR},
    };
    OrvKitPreferences preferences;
    OrvServerService service(&preferences, nullptr);
    RecordingListener listener;
    service.setListener(&listener);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        listener.clear();
        service.recvCommand(std::vector<uint8>(), c.first);
        const std::vector<RecordingListener::Message> heard = listener.received();
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_EQ(heard[0].id, c.second);
        EXPECT_EQ(heard[0].payload, std::vector<uint8_t>{REQUEST_ERROR_EMPTY_DATA});
    }
    EXPECT_EQ(service.getNetworkAccessStatus(), 0);
}

TEST(ServiceInternals, CloseBeforeTheLoopStartsStillEndsIt)
{
    OrvKitPreferences preferences;
    RecordingListener listener;
    std::atomic<OrvServerService*> running{nullptr};
    std::thread worker([&] {
        OrvServerService service(&preferences, nullptr);
        service.setListener(&listener);
        running = &service;
        service.close();
        service.eventLoop();
        running = nullptr;
    });
    const bool ended = listener.waitForClose(1, 2000);
    if (!ended) {
        // Unblock the loop so that the test can end.
        if (OrvServerService* service = running.load())
            service->close();
    }
    worker.join();
    EXPECT_TRUE(ended) << "a close requested before the loop was lost";
    EXPECT_EQ(listener.openCount(), 1);
}

// The facade hands a command over only while this holds: before the loop
// has connected its signals a command would be dropped without an answer.
TEST(ServiceInternals, CommandsAreTakenOnlyWhileTheLoopIsConnected)
{
    struct Probe : RecordingListener
    {
        std::atomic<OrvServerService*> service{nullptr};
        std::atomic<int> atOpen{-1};
        std::atomic<int> atClose{-1};
        void onOpenEnd() override
        {
            atOpen = service.load()->acceptsCommands() ? 1 : 0;
            RecordingListener::onOpenEnd();
        }
        void onCloseEnd() override
        {
            atClose = service.load()->acceptsCommands() ? 1 : 0;
            RecordingListener::onCloseEnd();
        }
    };
    OrvKitPreferences preferences;
    Probe probe;
    std::atomic<int> beforeLoop{-1};
    std::thread worker([&] {
        OrvServerService service(&preferences, nullptr);
        service.setListener(&probe);
        probe.service = &service;
        beforeLoop = service.acceptsCommands() ? 1 : 0;
        service.close(); // kept until the loop runs, so the loop ends at once
        service.eventLoop();
    });
    worker.join();
    EXPECT_EQ(beforeLoop, 0);
    EXPECT_EQ(probe.atOpen, 1);
    EXPECT_EQ(probe.atClose, 0);
}

} // namespace
