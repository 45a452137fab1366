// orvkit-sim: the simulated cloud as a process, until SIGINT or SIGTERM.
#include "OrvCloudSimulator.h"
#include "OrvSimConsole.h"
#include "OrvSimDemo.h"

#include <QCoreApplication>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

const char* const kUsage =
    "usage: orvkit-sim [options]\n"
    "  --api-port N           production sign-in/API/certificate port (default: any free port)\n"
    "  --api-test-port N      test sign-in/API/certificate port\n"
    "  --shadow-port N        production device-shadow port (mutual TLS)\n"
    "  --shadow-test-port N   test device-shadow port\n"
    "  --seed FILE            seed data (default: the built-in tools/sim/seed.json)\n"
    "  --token-lifetime S     access token lifetime in seconds (default: the seed's, else 3600)\n"
    "  --state-dir DIR        keep the key that signs tokens in DIR/token-key, so that tokens\n"
    "                         stay valid when the simulator starts again (default:\n"
    "                         $XDG_STATE_HOME/orvkit-sim, else ~/.local/state/orvkit-sim)\n"
    "  --fault ROUTE=ITEM[,ITEM...]\n"
    "                         inject a fault; ITEM is STATUS, STATUS:CODE, STATUS:- (no body),\n"
    "                         delay=MS, drop, dead=MS or times=N; may be repeated. dead=MS: for\n"
    "                         MS from the start the link to the route's server is dead without\n"
    "                         a reset (connections accepted, swallowed, never answered, TLS\n"
    "                         handshakes included)\n"
    "  --console-port N       serve the browser console on N (0: any free port)\n"
    "  --console-address A    the console's address (default 127.0.0.1, loopback only)\n"
    "  --print-origins        print the origins as key=value lines on stdout\n"
    "  --origins-file FILE    write the same lines to FILE (for orvkit-cli --origins-from-sim)\n"
    "  --ca-file FILE         write the simulator's CA certificate (PEM) to FILE\n"
    "  --quiet                do not log requests on stderr\n"
    "  --demo [--keep] [--timeout MS]\n"
    "                         guided tour: the kit's commands against a simulator of its own,\n"
    "                         then exit; --keep leaves the temporary directory\n"
    "routes: login summary spots spot-detail folders destinations delete-destination plans\n"
    "        plans-summary delete-plans genres cert shadow shadow-get, or * for all\n";

bool readFile(const std::string& path, std::string& text)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    text = buffer.str();
    return static_cast<bool>(in) || in.eof();
}

// Written aside and renamed into place: a reader sees no file or the whole of it.
bool writeFile(const std::string& path, const std::string& text)
{
    const std::string aside = path + ".new" + std::to_string(getpid());
    std::ofstream out(aside, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out || std::rename(aside.c_str(), path.c_str()) != 0) {
        std::remove(aside.c_str());
        return false;
    }
    return true;
}

// Creates dir and its missing parents (mode 0700); true when it exists.
bool makeDirectory(const std::string& dir)
{
    for (size_t slash = dir.find('/', 1); ; slash = dir.find('/', slash + 1)) {
        const std::string part = dir.substr(0, slash);
        if (!part.empty() && mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            return false;
        }
        if (slash == std::string::npos) {
            return true;
        }
    }
}

std::string defaultStateDir()
{
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state == '/') {
        return std::string(state) + "/orvkit-sim";
    }
    const char* home = std::getenv("HOME");
    return home != nullptr && *home == '/' ? std::string(home) + "/.local/state/orvkit-sim" : std::string();
}

bool toPort(const char* text, int& port)
{
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0 || value > 65535) {
        return false;
    }
    port = static_cast<int>(value);
    return true;
}

std::string originLines(const OrvCloudSimulator::Origins& o, const std::string& consoleOrigin, const std::string& caFile)
{
    std::string text = "authServerOrigin=" + o.authServerOrigin + "\n" + "authServerTestOrigin=" +
                       o.authServerTestOrigin + "\n" + "apiServerOrigin=" + o.apiServerOrigin + "\n" +
                       "apiServerTestOrigin=" + o.apiServerTestOrigin + "\n" + "certificateOrigin=" +
                       o.certificateOrigin + "\n" + "certificateTestOrigin=" + o.certificateTestOrigin + "\n" +
                       "deviceShadowOrigin=" + o.deviceShadowOrigin + "\n" + "deviceShadowTestOrigin=" +
                       o.deviceShadowTestOrigin + "\n";
    if (!consoleOrigin.empty()) {
        text += "consoleOrigin=" + consoleOrigin + "\n";
    }
    if (!caFile.empty()) {
        text += "caCertificateFile=" + caFile + "\n";
    }
    return text;
}


// The guided tour; returns its exit status.
int runDemo(int argc, char** argv)
{
    bool keep = false;
    int timeoutMs = 10000;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--keep") {
            keep = true;
        } else if (arg == "--timeout" && i + 1 < argc && std::atoi(argv[i + 1]) > 0) {
            timeoutMs = std::atoi(argv[++i]);
        } else {
            std::cerr << "orvkit-sim: --demo takes only --keep and --timeout MS\n";
            return 2;
        }
    }
    QCoreApplication app(argc, argv);
    OrvSimDemo demo(std::cout, std::cerr);
    return demo.run(timeoutMs, keep);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::string(argv[1]) == "--demo") {
        return runDemo(argc, argv);
    }
    OrvCloudSimulator::Options options;
    std::vector<std::string> faults;
    std::string seedPath;
    std::string originsFile;
    std::string caFile;
    std::string stateDir = defaultStateDir();
    bool stateDirGiven = false;
    std::string consoleAddress = "127.0.0.1";
    int consolePort = -1;
    bool printOrigins = false;
    bool quiet = false;

    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        auto portOption = [&](int& port) {
            if (!hasValue || !toPort(argv[++i], port)) {
                std::cerr << "orvkit-sim: " << arg << " needs a port number\n";
                std::exit(2);
            }
        };
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (arg == "--api-port") {
            portOption(options.apiPort);
        } else if (arg == "--api-test-port") {
            portOption(options.apiTestPort);
        } else if (arg == "--shadow-port") {
            portOption(options.shadowPort);
        } else if (arg == "--shadow-test-port") {
            portOption(options.shadowTestPort);
        } else if (arg == "--seed" && hasValue) {
            seedPath = argv[++i];
        } else if (arg == "--token-lifetime" && hasValue) {
            options.tokenLifetime = std::atoll(argv[++i]);
            if (options.tokenLifetime <= 0) {
                std::cerr << "orvkit-sim: --token-lifetime needs a positive number of seconds\n";
                return 2;
            }
        } else if (arg == "--state-dir" && hasValue && *argv[i + 1] != '\0') {
            stateDir = argv[++i];
            stateDirGiven = true;
        } else if (arg == "--fault" && hasValue) {
            faults.push_back(argv[++i]);
        } else if (arg == "--console-port") {
            portOption(consolePort);
        } else if (arg == "--console-address" && hasValue) {
            consoleAddress = argv[++i];
        } else if (arg == "--print-origins") {
            printOrigins = true;
        } else if (arg == "--origins-file" && hasValue) {
            originsFile = argv[++i];
        } else if (arg == "--ca-file" && hasValue) {
            caFile = argv[++i];
        } else if (arg == "--quiet") {
            quiet = true;
        } else {
            std::cerr << "orvkit-sim: unknown or incomplete option " << arg << "\n" << kUsage;
            return 2;
        }
    }
    for (const std::string& fault : faults) {
        std::string route;
        std::string error;
        OrvSimFault parsed;
        if (!OrvSimFault::parse(fault, route, parsed, error)) {
            std::cerr << "orvkit-sim: --fault " << fault << ": " << error << "\n";
            return 2;
        }
    }
    if (!seedPath.empty() && !readFile(seedPath, options.seedText)) {
        std::cerr << "orvkit-sim: cannot read " << seedPath << "\n";
        return 1;
    }

    if (!stateDir.empty() && makeDirectory(stateDir)) {
        options.tokenKeyFile = stateDir + "/token-key";
    } else if (stateDirGiven) {
        std::cerr << "orvkit-sim: cannot create " << stateDir << "\n";
        return 1;
    } else {
        std::cerr << "orvkit-sim: no state directory: tokens end with this run\n";
    }

    // Block the stop signals before any server thread exists, then wait for them here.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    static std::mutex logMutex;
    if (!quiet) {
        options.onRequest = [](const OrvCloudSimulator::RequestRecord& r) {
            const std::time_t seconds = static_cast<std::time_t>(r.receivedAtUs / 1000000);
            std::tm local {};
            localtime_r(&seconds, &local);
            char clock[16];
            std::strftime(clock, sizeof clock, "%H:%M:%S", &local);
            std::lock_guard<std::mutex> lock(logMutex);
            std::fprintf(stderr, "%s.%06ld [%s] %s %s%s%s -> %d%s%s%s %.2f ms%s%s%s%s\n", clock,
                         static_cast<long>(r.receivedAtUs % 1000000),
                         r.environment == OrvCloudSimulator::Test ? "test" : "prod", r.method.c_str(), r.path.c_str(),
                         r.query.empty() ? "" : "?", r.query.c_str(), r.status, r.status == 0 ? " (dropped)" : "",
                         r.serverCode.empty() ? "" : " ", r.serverCode.c_str(), r.elapsedMs,
                         r.requester.empty() ? "" : " by ", r.requester.c_str(), r.fault.empty() ? "" : " fault ",
                         r.fault.c_str());
        };
    }

    OrvCloudSimulator simulator;
    std::string error;
    if (!simulator.start(options, &error)) {
        std::cerr << "orvkit-sim: " << error << "\n";
        return 1;
    }
    for (const std::string& fault : faults) {
        if (!simulator.addFault(fault, &error)) {
            std::cerr << "orvkit-sim: --fault " << fault << ": " << error << "\n";
            return 2;
        }
    }
    OrvSimConsole console(simulator);
    if (consolePort >= 0 && !console.start(consoleAddress, consolePort, error)) {
        std::cerr << "orvkit-sim: " << error << "\n";
        return 1;
    }
    const std::string consoleOrigin = consolePort >= 0 ? console.origin() : std::string();
    if (!caFile.empty() && !writeFile(caFile, simulator.caCertificatePem())) {
        std::cerr << "orvkit-sim: cannot write " << caFile << "\n";
        return 1;
    }
    const std::string lines = originLines(simulator.origins(), consoleOrigin, caFile);
    if (!originsFile.empty() && !writeFile(originsFile, lines)) {
        std::cerr << "orvkit-sim: cannot write " << originsFile << "\n";
        return 1;
    }
    if (printOrigins) {
        std::cout << lines << std::flush;
    }
    const OrvCloudSimulator::Origins origins = simulator.origins();
    std::cerr << "orvkit-sim: production API " << origins.apiServerOrigin << ", shadow "
              << origins.deviceShadowOrigin << "; test API " << origins.apiServerTestOrigin << ", shadow "
              << origins.deviceShadowTestOrigin << "\n";
    if (!consoleOrigin.empty()) {
        std::cerr << "orvkit-sim: console " << consoleOrigin << "/\n";
    }
    std::cerr << "orvkit-sim: running until SIGINT or SIGTERM\n";

    int received = 0;
    sigwait(&stopSignals, &received);
    std::cerr << "orvkit-sim: " << (received == SIGINT ? "SIGINT" : "SIGTERM") << ", stopping\n";
    console.stop();
    simulator.stop();
    return 0;
}
