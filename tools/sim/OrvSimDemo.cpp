#include "OrvSimDemo.h"

#include "OrvCliCommand.h"
#include "OrvCliParser.h"
#include "OrvCliPrinter.h"
#include "OrvCliResult.h"
#include "OrvCliSession.h"
#include "OrvCliTable.h"

#include <OrvCloudSimulator.h>
#include <OrvKit.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

const char* const kModel = "ORV-NAV20";
const char* const kDeviceNo = "0012345";

struct Fix
{
    const char* lon;
    const char* lat;
    const char* speed;
    const char* direction;
    const char* measuredAt;
};

// Three fixes along the way from Tokyo Station towards Nihonbashi.
const Fix kRoute[] = {
    {"139.767125", "35.681236", "0", "0", "2024-06-15T00:30:00Z"},
    {"139.770350", "35.684020", "28", "35", "2024-06-15T00:31:00Z"},
    {"139.773490", "35.687230", "36", "40", "2024-06-15T00:32:00Z"},
};

std::string makeTemporaryDirectory()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/orvkit-demo-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    return mkdtemp(buffer.data()) != nullptr ? std::string(buffer.data()) : std::string();
}

} // namespace

bool OrvSimDemo::check(bool condition, const std::string& what)
{
    out << (condition ? "   ok: " : "   NOT OK: ") << what << "\n";
    if (!condition) {
        ++failures;
    }
    return condition;
}

bool OrvSimDemo::step(OrvCliSession& session, const std::string& title, const std::vector<std::string>& args,
                      std::vector<unsigned char>* answer)
{
    out << "\n== " << ++stepNumber << ". " << title << " ==\n";
    OrvCliCommand command;
    std::string error;
    if (!OrvCliParser::parseCommand(args, command, error)) {
        err << "demo: " << error << "\n";
        ++failures;
        return false;
    }
    OrvCliCommand::Settings settings;
    settings.timeoutMs = timeoutMs;
    settings.verbose = true;
    const int status = command.run(session, settings, out, err);
    if (answer != nullptr) {
        *answer = command.answer();
    }
    return check(status == OrvCliResult::kExitOk, title + " succeeded");
}

bool OrvSimDemo::waitForRoute(OrvCloudSimulator& simulator, const std::string& route, int& status)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        for (const auto& entry : simulator.requests()) {
            if (entry.route == route) {
                status = entry.status;
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

int OrvSimDemo::run(int timeout, bool keepFiles)
{
    timeoutMs = timeout;
    const auto started = std::chrono::steady_clock::now();
    const std::string directory = makeTemporaryDirectory();
    if (directory.empty()) {
        err << "demo: cannot make a temporary directory\n";
        return OrvCliResult::kExitInternal;
    }
    // The kit reads these when it first touches its save files and locks.
    setenv("VX_SAVEFILE_DIR", (directory + "/save").c_str(), 1);
    setenv("VX_LOCK_DIR", (directory + "/locks").c_str(), 1);
    std::filesystem::create_directories(directory + "/locks");

    OrvCloudSimulator simulator;
    std::string error;
    if (!simulator.start(OrvCloudSimulator::Options(), &error)) {
        err << "demo: the simulator did not start: " << error << "\n";
        return OrvCliResult::kExitInternal;
    }
    const OrvCloudSimulator::Origins origins = simulator.origins();
    const std::string caFile = directory + "/simulator-ca.pem";
    std::ofstream(caFile) << simulator.caCertificatePem();

    OrvKitPreferences preferences;
    preferences.authServerOrigin = origins.authServerOrigin;
    preferences.authServerTestOrigin = origins.authServerTestOrigin;
    preferences.apiServerOrigin = origins.apiServerOrigin;
    preferences.apiServerTestOrigin = origins.apiServerTestOrigin;
    preferences.certificateOrigin = origins.certificateOrigin;
    preferences.certificateTestOrigin = origins.certificateTestOrigin;
    preferences.deviceShadowOrigin = origins.deviceShadowOrigin;
    preferences.deviceShadowTestOrigin = origins.deviceShadowTestOrigin;
    preferences.verifyServerCertificates = true;
    preferences.caBundlePath = caFile;

    out << "OrvKit demo\n"
        << "  simulator API      " << origins.apiServerOrigin << " (test " << origins.apiServerTestOrigin << ")\n"
        << "  simulator shadow   " << origins.deviceShadowOrigin << " (mutual TLS)\n"
        << "  save directory     " << directory << "/save\n"
        << "  server certificates checked against " << caFile << "\n";

    {
        OrvCliSession session(preferences);
        if (!session.open(5000)) {
            err << "demo: the kit did not open\n";
            simulator.stop();
            return OrvCliResult::kExitInternal;
        }

        std::vector<unsigned char> body;
        if (!step(session, "Sign in",
                  {"login", "--maker", "6", "--model", kModel, "--device", kDeviceNo, "--loginid", "driver01",
                   "--password", "orv-pass-01"})) {
            err << "demo: without a sign-in the rest of the tour cannot work\n";
            session.close(3000);
            simulator.stop();
            return OrvCliResult::kExitDemoStep;
        }

        OrvKitDat::SummaryResponse before;
        if (step(session, "Information summary", {"summary"}, &body)) {
            check(before.fromJson(body), "the summary decodes");
        }
        step(session, "Spots by reading, first five", {"spots", "--sort", "2", "--order", "0", "--count", "5"});
        step(session, "Folders, newest first", {"folders", "--sort", "0", "--order", "1", "--count", "10"});

        std::string victim;
        OrvKitDat::BookmarksDestsResponse destinations;
        if (step(session, "Destinations", {"destinations"}, &body) && destinations.fromJson(body) &&
            !destinations.dests.empty()) {
            victim = destinations.dests.front().id;
        }
        if (check(!victim.empty(), "a destination to delete")) {
            out << "   deleting " << victim << " (" << destinations.dests.front().name << ")\n";
            step(session, "Delete a destination", {"delete-destination", victim});
        }
        OrvKitDat::SummaryResponse after;
        if (step(session, "Summary after the deletion", {"summary"}, &body) && after.fromJson(body)) {
            out << "   destinations " << before.destinationCount << " -> " << after.destinationCount
                << ", updated at " << before.destinationUpdatedAt << " -> " << after.destinationUpdatedAt << "\n";
            check(after.destinationCount + 1 == before.destinationCount, "one destination fewer");
            check(after.destinationUpdatedAt != before.destinationUpdatedAt, "the destinations' update time moved");
            check(after.spotCount == before.spotCount, "the other counts stayed");
        }

        step(session, "Drive plans", {"plans", "--paging"});

        if (step(session, "Genres", {"genres"})) {
            int status = 0;
            const bool seen = waitForRoute(simulator, "genres", status);
            check(seen && status == 200, "the simulator answered the genre request with 200");
        }

        OrvKitDat::CertificateResponse certificate;
        if (step(session, "Device certificate", {"certificate"}, &body)) {
            check(certificate.fromJson(body) &&
                      certificate.privateKey.find("BEGIN RSA PRIVATE KEY") != std::string::npos,
                  "a certificate and an RSA key came back");
        }

        for (const Fix& fix : kRoute) {
            step(session, std::string("Position report over mutual TLS (") + fix.lon + ", " + fix.lat + ")",
                 {"position", "--lon", fix.lon, "--lat", fix.lat, "--speed", fix.speed, "--direction", fix.direction,
                  "--elevation", "3.5", "--accuracy", "4.8", "--road-type", "1", "--type", "1", "--measured-at",
                  fix.measuredAt});
        }
        session.close(3000);
    }

    out << "\n== " << ++stepNumber << ". Positions read back from the simulator ==\n";
    const std::string thing = std::string(kModel) + "-" + kDeviceNo;
    const QJsonObject shadow = QJsonDocument::fromJson(QByteArray::fromStdString(simulator.shadowDocument(thing))).object();
    const QJsonObject reported = shadow.value("state").toObject().value("reported").toObject();
    const QJsonArray positions = reported.value("positions").toArray();
    out << "   thing " << thing << ", shadow version " << shadow.value("version").toInt() << ", maker "
        << reported.value("maker").toString().toStdString() << "\n";
    OrvCliTable table({"#", "lon", "lat", "speed", "direction", "measured at", "accOff"});
    bool matches = positions.size() == static_cast<int>(sizeof kRoute / sizeof kRoute[0]);
    for (int i = 0; i < positions.size(); ++i) {
        const QJsonObject p = positions.at(i).toObject();
        table.add({std::to_string(i + 1), OrvCliPrinter::coordinate(p.value("lon").toDouble()),
                   OrvCliPrinter::coordinate(p.value("lat").toDouble()), std::to_string(p.value("speed").toInt()),
                   std::to_string(p.value("direction").toInt()), p.value("measuredAt").toString().toStdString(),
                   p.value("accOff").toBool() ? "true" : "false"});
        if (matches) {
            matches = OrvCliPrinter::coordinate(p.value("lon").toDouble()) ==
                          OrvCliPrinter::coordinate(std::atof(kRoute[i].lon)) &&
                      p.value("measuredAt").toString().toStdString() == kRoute[i].measuredAt;
        }
    }
    table.print(out, "   ");
    check(matches, "the simulator holds the three positions in the order sent");
    check(reported.value("model").toString().toStdString() == kModel &&
              reported.value("deviceNo").toString().toStdString() == kDeviceNo,
          "the report names the signed-in device");

    simulator.stop();
    if (!keepFiles) {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    const auto seconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started).count() / 1000.0;
    if (failures == 0) {
        out << "\nDemo finished: every step succeeded (" << seconds << " s).\n";
        return OrvCliResult::kExitOk;
    }
    err << "\nDemo finished with " << failures << " failed check(s) (" << seconds << " s).\n";
    return OrvCliResult::kExitDemoStep;
}
