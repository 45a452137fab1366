// orvkit-cli: the kit's commands from a shell, one run = one fresh kit.
#include "OrvCliCommand.h"
#include "OrvCliDemo.h"
#include "OrvCliResult.h"
#include "OrvCliSession.h"

#include <OrvKit.h>

#include <QCoreApplication>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

const char* const kGlobalUsage =
    "usage: orvkit-cli [options] SUBCOMMAND [options] [-- SUBCOMMAND [options] ...]\n"
    "options (before the first subcommand):\n"
    "  --auth URL, --auth-test URL      authentication server origins (production, test)\n"
    "  --api URL, --api-test URL        API server origins\n"
    "  --cert URL, --cert-test URL      certificate endpoint origins\n"
    "  --shadow URL, --shadow-test URL  device-shadow endpoint origins\n"
    "  --origins-from-sim FILE          all origins (and the CA) from orvkit-sim --origins-file\n"
    "  --ca-bundle FILE                 check server certificates against FILE\n"
    "  --save-dir DIR                   where the kit keeps its token (VX_SAVEFILE_DIR)\n"
    "  --timeout MS                     wait at most MS for each answer (default 35000)\n"
    "  --json                           print success bodies as received\n"
    "  --verbose                        show the bytes sent and every message received\n"
    "  --keep-going                     run the rest of the chain after a failure\n"
    "Each run is a fresh kit: chain login first, e.g.\n"
    "  orvkit-cli --origins-from-sim o.txt login --model M --device 1 --loginid driver01 \\\n"
    "             --password orv-pass-01 -- summary -- spots --count 5\n"
    "exit status: 0 ok, 1 kit not usable, 2 usage, 3 time-out, 4 refused before sending,\n"
    "  5 undecodable answer, 6 device endpoint failure (code 0), 7 demo check failed,\n"
    "  64-201 the library's result code\n";

bool readOrigins(const std::string& path, OrvKitPreferences& preferences, std::string& error)
{
    std::ifstream in(path);
    if (!in) {
        error = "cannot read " + path;
        return false;
    }
    const std::map<std::string, std::string*> fields = {
        {"authServerOrigin", &preferences.authServerOrigin},
        {"authServerTestOrigin", &preferences.authServerTestOrigin},
        {"apiServerOrigin", &preferences.apiServerOrigin},
        {"apiServerTestOrigin", &preferences.apiServerTestOrigin},
        {"certificateOrigin", &preferences.certificateOrigin},
        {"certificateTestOrigin", &preferences.certificateTestOrigin},
        {"deviceShadowOrigin", &preferences.deviceShadowOrigin},
        {"deviceShadowTestOrigin", &preferences.deviceShadowTestOrigin},
    };
    std::string line;
    while (std::getline(in, line)) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string key = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        auto field = fields.find(key);
        if (field != fields.end()) {
            *field->second = value;
        } else if (key == "caCertificateFile" && !value.empty()) {
            preferences.verifyServerCertificates = true;
            preferences.caBundlePath = value;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    OrvKitPreferences preferences;
    OrvCliCommand::Settings settings;
    std::string saveDir;
    bool keepGoing = false;

    const std::map<std::string, std::string*> originOptions = {
        {"--auth", &preferences.authServerOrigin},       {"--auth-test", &preferences.authServerTestOrigin},
        {"--api", &preferences.apiServerOrigin},         {"--api-test", &preferences.apiServerTestOrigin},
        {"--cert", &preferences.certificateOrigin},      {"--cert-test", &preferences.certificateTestOrigin},
        {"--shadow", &preferences.deviceShadowOrigin},   {"--shadow-test", &preferences.deviceShadowTestOrigin},
    };
    size_t i = 0;
    for (; i < args.size() && args[i].compare(0, 2, "--") == 0 && args[i] != "--"; ++i) {
        const std::string& option = args[i];
        const bool hasValue = i + 1 < args.size();
        std::string error;
        if (option == "--help" || option == "-h") {
            std::cout << kGlobalUsage << OrvCliCommand::usage();
            return OrvCliResult::kExitOk;
        } else if (originOptions.count(option) != 0 && hasValue) {
            *originOptions.at(option) = args[++i];
        } else if (option == "--origins-from-sim" && hasValue) {
            if (!readOrigins(args[++i], preferences, error)) {
                std::cerr << "orvkit-cli: " << error << "\n";
                return OrvCliResult::kExitUsage;
            }
        } else if (option == "--ca-bundle" && hasValue) {
            preferences.verifyServerCertificates = true;
            preferences.caBundlePath = args[++i];
        } else if (option == "--save-dir" && hasValue) {
            saveDir = args[++i];
        } else if (option == "--timeout" && hasValue) {
            settings.timeoutMs = std::atoi(args[++i].c_str());
            if (settings.timeoutMs <= 0) {
                std::cerr << "orvkit-cli: --timeout needs a positive number of milliseconds\n";
                return OrvCliResult::kExitUsage;
            }
        } else if (option == "--json") {
            settings.json = true;
        } else if (option == "--verbose") {
            settings.verbose = true;
        } else if (option == "--keep-going") {
            keepGoing = true;
        } else {
            std::cerr << "orvkit-cli: unknown or incomplete option " << option << "\n" << kGlobalUsage;
            return OrvCliResult::kExitUsage;
        }
    }

    std::vector<std::vector<std::string>> chain(1);
    for (; i < args.size(); ++i) {
        if (args[i] == "--") {
            chain.emplace_back();
        } else {
            chain.back().push_back(args[i]);
        }
    }
    if (chain.front().empty()) {
        std::cerr << kGlobalUsage << OrvCliCommand::usage();
        return OrvCliResult::kExitUsage;
    }

    if (chain.front().front() == "demo") {
        const bool keep = chain.size() == 1 && chain.front().size() == 2 && chain.front()[1] == "--keep";
        if (chain.size() > 1 || (chain.front().size() > 1 && !keep)) {
            std::cerr << "orvkit-cli: demo takes only --keep and runs alone\n";
            return OrvCliResult::kExitUsage;
        }
        QCoreApplication app(argc, argv);
        OrvCliDemo demo(std::cout, std::cerr);
        return demo.run(settings.timeoutMs < 35000 ? settings.timeoutMs : 10000, keep);
    }

    std::vector<OrvCliCommand> commands(chain.size());
    for (size_t c = 0; c < chain.size(); ++c) {
        std::string error;
        if (chain[c].empty() || !commands[c].parse(chain[c], error)) {
            std::cerr << "orvkit-cli: " << (chain[c].empty() ? "empty subcommand in the chain" : error) << "\n"
                      << OrvCliCommand::usage();
            return OrvCliResult::kExitUsage;
        }
    }

    // The kit reads the save directory when it first touches its token file.
    if (!saveDir.empty()) {
        setenv("VX_SAVEFILE_DIR", saveDir.c_str(), 1);
    }
    QCoreApplication app(argc, argv);
    OrvCliSession session(preferences);
    if (!session.open(5000)) {
        std::cerr << "orvkit-cli: the kit did not open\n";
        return OrvCliResult::kExitInternal;
    }
    int status = OrvCliResult::kExitOk;
    for (OrvCliCommand& command : commands) {
        const int result = command.run(session, settings, std::cout, std::cerr);
        if (result != OrvCliResult::kExitOk) {
            status = result;
            if (!keepGoing) {
                break;
            }
        }
    }
    if (commands.back().hasNoResult()) {
        // Its request is still under way; give it a moment before the kit closes.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    session.close(3000);
    return status;
}
