#include "BenchPostRig.h"

#include "BenchKitClient.h"
#include "BenchPostServer.h"

#include <OrvKit.h>
#include <OrvKitCommands.h>

#include <TestPki.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <strings.h>

namespace {

std::unique_ptr<BenchPostRig>& slot()
{
    static std::unique_ptr<BenchPostRig> rig;
    return rig;
}

bool failed = false;

// Headers that Qt and libcurl add of their own accord or that name the connection.
bool ownHeader(const std::string& name)
{
    for (const char* own : {"Host", "Content-Length", "Connection", "Accept-Encoding", "Accept-Language",
                            "User-Agent", "Accept"}) {
        if (strcasecmp(name.c_str(), own) == 0)
            return true;
    }
    return false;
}

} // namespace

BenchPostRig* BenchPostRig::instance()
{
    if (!slot() && !failed) {
        std::unique_ptr<BenchPostRig> rig(new BenchPostRig());
        if (rig->start())
            slot() = std::move(rig);
        else
            failed = true;
    }
    return slot().get();
}

void BenchPostRig::shutdown()
{
    slot().reset();
}

BenchPostRig::BenchPostRig() = default;

BenchPostRig::~BenchPostRig()
{
    kitClient.reset();
    shadow.reset();
    signIn.reset();
}

bool BenchPostRig::capture(BenchPostServer& server, unsigned long command, unsigned long resultId,
                           const std::vector<uint8_t>& data, Target& target)
{
    server.clearRequests();
    if (!kitClient->roundTrip(command, data, resultId, 5000) || server.requestCount() != 1)
        return false;
    const BenchPostServer::Request seen = server.lastRequest();
    target.command = command;
    target.resultId = resultId;
    target.data = data;
    target.url = server.origin() + seen.target;
    target.body = seen.body;
    target.headers.clear();
    for (const auto& header : seen.headers) {
        if (!ownHeader(header.first))
            target.headers.push_back(header);
    }
    return true;
}

bool BenchPostRig::holdCertificate()
{
    return kitClient->roundTrip(OrvKitDef::CMD_GET_CERTIFICATE, {0}, OrvKitDef::MSG_CERTIFICATE_RESULT, 5000);
}

bool BenchPostRig::start()
{
    using namespace OrvKitDef;
    testPki.reset(new TestPki("ORV-NAV20-0012345"));
    signIn.reset(new BenchPostServer(*testPki, false));
    shadow.reset(new BenchPostServer(*testPki, true));
    // An expiry in the past: every login goes to the server, none is answered from the stored token.
    // Every thing's shadow: the path up to the thing name.
    const std::string shadowPath = OrvKitCommands::findCommand(CMD_UPDATE_SHADOW)->path;
    const std::string shadowPrefix = shadowPath.substr(0, shadowPath.find('{'));
    signIn->route(OrvKitCommands::findCommand(CMD_LOGIN)->path, "{\"access_token\":\"bench-token\",\"refresh_token\":\"r\","
                                                      "\"expires_in\":3600,\"expiration_date\":1,\"role\":\"tlv\"}");
    QJsonObject certificate;
    certificate["caCertificatePem"] = QString::fromStdString(testPki->ca().certificatePem);
    certificate["certificatePem"] = QString::fromStdString(testPki->client().certificatePem);
    certificate["privateKey"] = QString::fromStdString(testPki->client().privateKeyPem);
    signIn->route(OrvKitCommands::findCommand(CMD_GET_CERTIFICATE)->path, QJsonDocument(certificate).toJson(QJsonDocument::Compact).toStdString());
    shadow->route(shadowPrefix, "{\"state\":{\"reported\":{\"ok\":1}}}");
    if (!testPki->isValid() || !signIn->start() || !shadow->start()) {
        std::fprintf(stderr, "bench: the loopback POST servers did not start\n");
        return false;
    }

    OrvKitPreferences preferences;
    preferences.authServerOrigin = signIn->origin();
    preferences.certificateOrigin = signIn->origin();
    preferences.deviceShadowOrigin = shadow->origin();
    kitClient.reset(new BenchKitClient(preferences));
    kitClient->kit().open();
    if (!kitClient->waitOpen(5000)) {
        std::fprintf(stderr, "bench: the kit did not open\n");
        return false;
    }

    const std::vector<uint8_t> identity = OrvKitCommands::loginBlock(6, "ORV-NAV20", "0012345", "driver01", "orv-pass-01");
    OrvKitDat::CarPositions position;
    position.type = "1";
    position.lon = 139.767125;
    position.lat = 35.681236;
    position.speed = 28;
    position.direction = 35;
    position.elevation = 3.5;
    position.accuracy = 4.8;
    position.roadType = 1;
    position.measuredAt = "2024-06-15T00:30:00Z";
    VxSerialization::Archive archive;
    position.serialize(archive);

    // Each command once through the kit: warms the connections and shows
    // what the baselines must send to make the same request.
    const char* failedStep = !capture(*signIn, CMD_LOGIN, MSG_LOGIN_RESULT, identity, loginTarget) ? "login"
                             : !holdCertificate()                                                     ? "certificate"
                             : !capture(*shadow, CMD_UPDATE_SHADOW, MSG_SHADOW_RESULT, archive.bytes(), positionTarget)
                                 ? "position"
                                 : nullptr;
    if (failedStep != nullptr) {
        std::fprintf(stderr, "bench: the %s command did not complete\n", failedStep);
        return false;
    }
    return true;
}
