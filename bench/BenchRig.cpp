#include "BenchRig.h"

#include "BenchBodies.h"
#include "BenchKitClient.h"

#include <OrvKit.h>

#include <TestHttpsServer.h>
#include <TestPki.h>

#include <cstdio>

namespace {

std::unique_ptr<BenchRig>& slot()
{
    static std::unique_ptr<BenchRig> rig;
    return rig;
}

bool failed = false;

} // namespace

BenchRig* BenchRig::instance()
{
    if (!slot() && !failed) {
        std::unique_ptr<BenchRig> rig(new BenchRig());
        if (rig->start())
            slot() = std::move(rig);
        else
            failed = true;
    }
    return slot().get();
}

void BenchRig::shutdown()
{
    slot().reset();
}

BenchRig::BenchRig() = default;

BenchRig::~BenchRig()
{
    kitClient.reset();
    server.reset();
}

std::string BenchRig::origin() const
{
    return server->origin();
}

std::unique_ptr<BenchKitClient> BenchRig::openKit() const
{
    OrvKitPreferences preferences;
    preferences.apiServerOrigin = server->origin();
    preferences.apiServerTestOrigin = server->origin();
    std::unique_ptr<BenchKitClient> client(new BenchKitClient(preferences));
    client->kit().open();
    if (!client->waitOpen(5000))
        client.reset();
    return client;
}

bool BenchRig::start()
{
    using namespace OrvKitDef;
    struct Plan
    {
        unsigned long command;
        unsigned long resultId;
        std::vector<uint8_t> data;
        const char* path;
        BenchBodies::Kind kind;
    };
    // Sort by name, ascending, 50 entries, no position; the kits refuses empty commands.
    const std::vector<uint8_t> paging{0x00, 0x01, 0x00, 0x00, 0x00, 0x32, 0xFF, 0xFF};
    const std::vector<Plan> plans{
        {CMD_GET_FOLDERS, MSG_FOLDERS_RESULT, paging, "/api/navi/bookmarks/v1/folders", BenchBodies::Folders},
        {CMD_GET_SPOTS, MSG_SPOTS_RESULT, paging, "/api/navi/bookmarks/v1/spots", BenchBodies::Spots},
        {CMD_GET_DESTINATIONS, MSG_DESTINATIONS_RESULT, {0x00}, "/api/navi/bookmarks/v1/destinations",
         BenchBodies::Destinations},
        {CMD_GET_PLANS, MSG_PLANS_RESULT, {0xFF, 0xFF}, "/api/navi/driveplans/v1/plans", BenchBodies::Plans},
        {CMD_GET_INFO_SUMMARY, MSG_INFO_SUMMARY_RESULT, {0x00}, "/api/navi/info/v1/summary",
         BenchBodies::InfoSummary},
    };

    pki.reset(new TestPki());
    server.reset(new TestHttpsServer(TestHttpsServer::tls(*pki)));
    for (const Plan& plan : plans) {
        const std::vector<uint8_t> body = BenchBodies::instance().body(plan.kind, 1024);
        server->route("GET", plan.path, TestHttpsServer::Reply::ok(std::string(body.begin(), body.end())));
    }
    if (!server->start()) {
        std::fprintf(stderr, "bench: the loopback HTTPS server did not start\n");
        return false;
    }

    kitClient = openKit();
    if (!kitClient) {
        std::fprintf(stderr, "bench: the kit did not open\n");
        return false;
    }
    // Each command once through the kit: warms the connection and shows
    // what the baselines must send to make the same request.
    for (const Plan& plan : plans) {
        server->clearRequests();
        if (!kitClient->roundTrip(plan.command, plan.data, plan.resultId, 5000) || server->requestCount() != 1) {
            std::fprintf(stderr, "bench: command 0x%lx did not complete\n", plan.command);
            return false;
        }
        const TestHttpsServer::Request seen = server->lastRequest();
        commands.push_back(Target{plan.command, plan.resultId, plan.data, server->url(seen.target),
                                  seen.header("Authorization"), kitClient->lastPayloadSize()});
    }
    return true;
}
