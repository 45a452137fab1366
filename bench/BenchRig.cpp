#include "BenchRig.h"

#include "BenchBodies.h"
#include "BenchKitClient.h"

#include <OrvKit.h>
#include <OrvKitCommands.h>

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
        std::vector<uint8_t> data;
        BenchBodies::Kind kind;
        unsigned long resultId() const { return OrvKitCommands::findCommand(command)->success; }
        const char* path() const { return OrvKitCommands::findCommand(command)->path; }
    };
    // Sort by name, ascending, 50 entries, no position.
    const std::vector<uint8_t> paging = OrvKitCommands::pageBlock(1, 0, 50);
    const std::vector<Plan> plans{
        {CMD_GET_FOLDERS, paging, BenchBodies::Folders},
        {CMD_GET_SPOTS, paging, BenchBodies::Spots},
        {CMD_GET_DESTINATIONS, OrvKitCommands::noParameters(), BenchBodies::Destinations},
        {CMD_GET_PLANS, OrvKitCommands::plansBlock(false), BenchBodies::Plans},
        {CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), BenchBodies::InfoSummary},
    };

    pki.reset(new TestPki());
    server.reset(new TestHttpsServer(TestHttpsServer::tls(*pki)));
    for (const Plan& plan : plans) {
        const std::vector<uint8_t> body = BenchBodies::instance().body(plan.kind, 1024);
        server->route("GET", plan.path(), TestHttpsServer::Reply::ok(std::string(body.begin(), body.end())));
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
        if (!kitClient->roundTrip(plan.command, plan.data, plan.resultId(), 5000) || server->requestCount() != 1) {
            std::fprintf(stderr, "bench: command 0x%lx did not complete\n", plan.command);
            return false;
        }
        const TestHttpsServer::Request seen = server->lastRequest();
        commands.push_back(Target{plan.command, plan.resultId(), plan.data, server->url(seen.target),
                                  seen.header("Authorization"), kitClient->lastPayloadSize()});
    }
    return true;
}
