#include "OrvCliParser.h"

#include "OrvCliPrinter.h"
#include "OrvCliResult.h"

#include <CLI/CLI.hpp>
#include <OrvKitOrigins.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

const char* const kChainFooter =
    "Chain subcommands with --; each run of orvkit-cli is a fresh kit, so chain login first, e.g.\n"
    "  orvkit-cli --origins-from-sim o.txt login --model M --device 1 --loginid driver01 \\\n"
    "             --password orv-pass-01 -- summary -- spots --count 5\n"
    "orvkit-cli SUBCOMMAND --help describes one subcommand.\n"
    "exit status: 0 ok, 1 kit not usable, 2 usage, 3 time-out, 4 refused before sending,\n"
    "  5 undecodable answer, 6 device endpoint failure (code 0), 7 demo check failed,\n"
    "  64-201 the library's result code\n";

std::string nowUtc()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts {};
    gmtime_r(&now, &parts);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return buffer;
}

// What the subcommands' options write into; one per link of the chain.
struct Fields
{
    OrvCliCommand::Identity identity;
    unsigned long sort = 0;
    unsigned long order = 0;
    unsigned long count = 20;
    unsigned long position = OrvKitCommands::kNoPosition;
    bool paging = false;
    std::string id;
    OrvKitDat::CarPositions car;

    Fields()
    {
        car.type = "1";
        car.measuredAt = nowUtc();
    }
};

void addSubcommands(CLI::App& app, Fields& f)
{
    // Ranges go into the descriptions; CLI11's own text for them is hard to read.
    const auto range = [](auto low, auto high) { return CLI::Range(low, high).description(""); };
    const auto word = range(0UL, 0xFFFFUL);

    CLI::App* login = app.add_subcommand("login", "sign in; also gives the kit the device identity (0x01)");
    login->add_option("--model", f.identity.model, "device model")->required();
    login->add_option("--device", f.identity.deviceNo, "device number")->required();
    login->add_option("--loginid", f.identity.loginId, "login id")->required();
    login->add_option("--password", f.identity.password, "password")->required();
    login->add_option("--maker", f.identity.maker, "maker code, 0-255")->capture_default_str()->check(range(0U, 255U));

    app.add_subcommand("summary", "information summary (0x11)");
    for (const char* name : {"spots", "folders"}) {
        CLI::App* list = app.add_subcommand(name, std::string("bookmarked ") + name + (name[0] == 's' ? " (0x21)" : " (0x31)"));
        list->add_option("--sort", f.sort, "sort key, 0-65535")->capture_default_str()->check(word);
        list->add_option("--order", f.order, "sort order, 0-65535")->capture_default_str()->check(word);
        list->add_option("--count", f.count, "how many, 0-65535")->capture_default_str()->check(word);
        list->add_option("--position", f.position, "position flag, 0-65535 (65535: none)")->capture_default_str()->check(word);
    }
    app.add_subcommand("destinations", "destinations (0x41)");
    app.add_subcommand("delete-destination", "delete one destination (0x45)")
        ->add_option("ID", f.id, "destination id")
        ->required();
    app.add_subcommand("plans", "drive plans (0x51)")->add_flag("--paging", f.paging, "ask for the first page");
    app.add_subcommand("plans-summary", "drive plans summary (0x91; the library passes no answer on)");
    app.add_subcommand("delete-plans", "delete the drive plans (0x55)");
    app.add_subcommand("spot-detail", "spot detail (0x81; the library passes no answer on)");
    app.add_subcommand("genres", "genres (0x101; the library passes no answer on)");
    app.add_subcommand("certificate", "device certificate (0x65); needs login earlier in the chain");

    CLI::App* position =
        app.add_subcommand("position", "report the car's position over mutual TLS (0x61); needs login and certificate "
                                       "earlier in the chain");
    position->add_option("--lon", f.car.lon, "longitude, -180 to 180")->required()->check(range(-180.0, 180.0));
    position->add_option("--lat", f.car.lat, "latitude, -90 to 90")->required()->check(range(-90.0, 90.0));
    position->add_option("--speed", f.car.speed, "speed")->capture_default_str();
    position->add_option("--direction", f.car.direction, "direction in degrees, 0-359")->capture_default_str()->check(range(0U, 359U));
    position->add_option("--elevation", f.car.elevation, "elevation in metres, -1000 to 10000")->capture_default_str()
        ->check(range(-1000.0, 10000.0));
    position->add_option("--accuracy", f.car.accuracy, "accuracy in metres, 0-100000")->capture_default_str()->check(range(0.0, 100000.0));
    position->add_option("--road-type", f.car.roadType, "road type")->capture_default_str();
    position->add_flag("--acc-off", f.car.accOff, "the ignition is off");
    position->add_option("--type", f.car.type, "position type")->capture_default_str();
    position->add_option("--measured-at", f.car.measuredAt, "time of the fix (default: now, UTC)");

    app.require_subcommand(1);
}

// The bytes and the description of the subcommand that was given.
bool build(const std::string& name, const Fields& f, OrvCliCommand& command)
{
    std::vector<uint8_t> bytes;
    std::string text;
    if (name == "login") {
        const OrvCliCommand::Identity& id = f.identity;
        bytes = OrvKitCommands::loginBlock(static_cast<uint8_t>(id.maker), id.model, id.deviceNo, id.loginId, id.password);
        char head[32];
        std::snprintf(head, sizeof head, "maker %02u", id.maker);
        text = std::string(head) + ", model " + id.model + ", device " + id.deviceNo + ", login id " + id.loginId +
               ", password " + std::string(id.password.size(), '*');
    } else if (name == "spots" || name == "folders") {
        bytes = OrvKitCommands::pageBlock(static_cast<uint16_t>(f.sort), static_cast<uint16_t>(f.order),
                                          static_cast<uint16_t>(f.count), static_cast<uint16_t>(f.position));
        text = "sort " + std::to_string(f.sort) + ", order " + std::to_string(f.order) + ", count " +
               std::to_string(f.count) + (f.position == OrvKitCommands::kNoPosition ? ", no position" : ", position flag set");
    } else if (name == "plans") {
        bytes = OrvKitCommands::plansBlock(f.paging);
        text = f.paging ? "with paging" : "without paging";
    } else if (name == "delete-destination") {
        bytes = OrvKitCommands::destinationBlock(f.id);
        text = "destination " + f.id;
    } else if (name == "position") {
        bytes = OrvCliCommand::positionBytes(f.car);
        text = "lon " + OrvCliPrinter::coordinate(f.car.lon) + ", lat " + OrvCliPrinter::coordinate(f.car.lat) +
               ", speed " + std::to_string(f.car.speed) + ", direction " + std::to_string(f.car.direction) +
               ", measured at " + f.car.measuredAt + (f.car.accOff ? ", ACC off" : "");
    } else {
        bytes = OrvKitCommands::noParameters();
        text = "no parameters";
    }
    return command.prepare(name, bytes, text);
}

// Parses one link; CLI11 reads its arguments from the back.
void parseLink(CLI::App& app, std::vector<std::string> link)
{
    std::reverse(link.begin(), link.end());
    app.parse(link);
}

const char* const kRunOptions[] = {"--auth", "--auth-test", "--api", "--api-test", "--cert", "--cert-test",
                                   "--shadow", "--shadow-test", "--origins-from-sim", "--ca-bundle", "--save-dir",
                                   "--timeout", "--json", "--verbose", "--keep-going"};

// CLI11 lists the arguments it could not place from the back; name them in the order given.
std::string unexpected(const CLI::App& app, const std::vector<std::string>& link)
{
    std::vector<std::string> extras = app.remaining(true);
    const std::vector<CLI::App*> given = app.get_subcommands();
    const std::string subcommand = given.empty() ? std::string() : given.front()->get_name();
    const auto named = std::find(link.begin(), link.end(), subcommand);
    std::string text;
    bool beforeSubcommand = false;
    bool runOption = false;
    for (auto arg = link.begin(); arg != link.end(); ++arg) {
        auto found = std::find(extras.begin(), extras.end(), *arg);
        if (found == extras.end()) {
            continue;
        }
        extras.erase(found);
        text += " " + *arg;
        beforeSubcommand = beforeSubcommand || arg < named;
        const std::string name = arg->substr(0, arg->find('='));
        runOption = runOption || std::find(std::begin(kRunOptions), std::end(kRunOptions), name) != std::end(kRunOptions);
    }
    std::string message = (subcommand.empty() || beforeSubcommand ? std::string("unexpected") : subcommand + " does not take") +
                          ":" + text;
    if (runOption) {
        message += " (options of the run go before the first subcommand)";
    }
    return message;
}

int usageError(const std::string& message, std::ostream& err)
{
    err << "orvkit-cli: " << message << "\n"
        << "see orvkit-cli --help, or orvkit-cli SUBCOMMAND --help\n";
    return OrvCliResult::kExitUsage;
}

} // namespace

int OrvCliParser::parse(const std::vector<std::string>& args, Run& run, std::ostream& out, std::ostream& err)
{
    std::vector<std::vector<std::string>> chain(1);
    for (const std::string& arg : args) {
        if (arg == "--") {
            chain.emplace_back();
        } else {
            chain.back().push_back(arg);
        }
    }

    for (size_t i = 0; i < chain.size(); ++i) {
        const bool first = i == 0;
        CLI::App app(first ? "Sends the kit's commands from a shell and prints the answers."
                           : "Next subcommand of the chain.",
                     first ? "orvkit-cli" : "orvkit-cli ... --");
        Fields fields;
        std::string originsFile;
        std::string caBundle;
        OrvKitPreferences explicitOrigins;
        std::vector<std::pair<CLI::Option*, std::string OrvKitPreferences::*>> originOptions;
        if (first) {
            const std::vector<std::pair<const char*, std::string OrvKitPreferences::*>> origins = {
                {"--auth", &OrvKitPreferences::authServerOrigin},
                {"--auth-test", &OrvKitPreferences::authServerTestOrigin},
                {"--api", &OrvKitPreferences::apiServerOrigin},
                {"--api-test", &OrvKitPreferences::apiServerTestOrigin},
                {"--cert", &OrvKitPreferences::certificateOrigin},
                {"--cert-test", &OrvKitPreferences::certificateTestOrigin},
                {"--shadow", &OrvKitPreferences::deviceShadowOrigin},
                {"--shadow-test", &OrvKitPreferences::deviceShadowTestOrigin},
            };
            for (const auto& origin : origins) {
                CLI::Option* option =
                    app.add_option(origin.first, explicitOrigins.*origin.second, "server origin (scheme://host:port)")
                        ->type_name("URL");
                originOptions.emplace_back(option, origin.second);
            }
            app.add_option("--origins-from-sim", originsFile,
                           "all origins and the CA from orvkit-sim --origins-file (the options above win)")
                ->type_name("FILE");
            app.add_option("--ca-bundle", caBundle, "check server certificates against FILE")->type_name("FILE");
            app.add_option("--save-dir", run.saveDir, "where the kit keeps its token (VX_SAVEFILE_DIR)")
                ->type_name("DIR");
            app.add_option("--timeout", run.settings.timeoutMs, "wait at most MS (1-86400000) for each answer")
                ->capture_default_str()
                ->type_name("MS")
                ->check(CLI::Range(1, 86400000).description(""));
            app.add_flag("--json", run.settings.json, "print success bodies as received");
            app.add_flag("--verbose", run.settings.verbose,
                         "show the bytes sent, every message received and the library's log (orvkit.*)");
            app.add_flag("--keep-going", run.keepGoing, "run the rest of the chain after a failure");
        }
        addSubcommands(app, fields);
        if (first) {
            // After the subcommands, which would inherit it.
            app.footer(kChainFooter);
        }

        try {
            parseLink(app, chain[i]);
        } catch (const CLI::CallForHelp& e) {
            app.exit(e, out, err);
            return OrvCliResult::kExitOk;
        } catch (const CLI::ExtrasError&) {
            return usageError(unexpected(app, chain[i]), err);
        } catch (const CLI::ParseError& e) {
            if (args.empty()) {
                err << app.help();
                return OrvCliResult::kExitUsage;
            }
            if (chain[i].empty()) {
                return usageError("empty subcommand in the chain", err);
            }
            return usageError(e.what(), err);
        }

        const std::string name = app.get_subcommands().front()->get_name();
        if (first) {
            std::string error;
            if (!originsFile.empty() && !OrvKitOrigins::load(originsFile, run.preferences, &error)) {
                return usageError(error, err);
            }
            // An origin given on its own wins over the file.
            for (const auto& option : originOptions) {
                if (option.first->count() > 0) {
                    run.preferences.*option.second = explicitOrigins.*option.second;
                }
            }
            if (!caBundle.empty()) {
                run.preferences.verifyServerCertificates = true;
                run.preferences.caBundlePath = caBundle;
            }
        }
        run.commands.emplace_back();
        build(name, fields, run.commands.back());
    }
    return kContinue;
}

bool OrvCliParser::parseCommand(const std::vector<std::string>& args, OrvCliCommand& command, std::string& error)
{
    CLI::App app("", "orvkit-cli");
    Fields fields;
    addSubcommands(app, fields);
    try {
        parseLink(app, args);
    } catch (const CLI::ParseError& e) {
        error = e.what();
        return false;
    }
    return build(app.get_subcommands().front()->get_name(), fields, command);
}
