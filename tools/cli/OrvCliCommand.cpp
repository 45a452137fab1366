#include "OrvCliCommand.h"

#include "OrvCliPrinter.h"
#include "OrvCliResult.h"
#include "OrvCliSession.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>

namespace {

using namespace OrvKitDef;

struct Entry
{
    unsigned long code;
    unsigned long success; // 0: the library sends no result
};

const std::map<std::string, Entry>& table()
{
    static const std::map<std::string, Entry> commands = {
        {"login", {CMD_LOGIN, MSG_LOGIN_RESULT}},
        {"summary", {CMD_GET_INFO_SUMMARY, MSG_INFO_SUMMARY_RESULT}},
        {"spots", {CMD_GET_SPOTS, MSG_SPOTS_RESULT}},
        {"folders", {CMD_GET_FOLDERS, MSG_FOLDERS_RESULT}},
        {"destinations", {CMD_GET_DESTINATIONS, MSG_DESTINATIONS_RESULT}},
        {"delete-destination", {CMD_DELETE_DESTINATION, MSG_DELETE_DESTINATION_RESULT}},
        {"plans", {CMD_GET_PLANS, MSG_PLANS_RESULT}},
        {"delete-plans", {CMD_DELETE_PLANS, MSG_DELETE_PLANS_RESULT}},
        {"position", {CMD_UPDATE_SHADOW, MSG_SHADOW_RESULT}},
        {"certificate", {CMD_GET_CERTIFICATE, MSG_CERTIFICATE_RESULT}},
        {"spot-detail", {CMD_GET_SPOT_DETAIL, 0}},
        {"plans-summary", {CMD_GET_PLANS_SUMMARY, 0}},
        {"genres", {CMD_GET_GENRES, 0}},
    };
    return commands;
}

// "--name value" and "--flag" options after the subcommand name.
class OptionReader
{
public:
    OptionReader(const std::vector<std::string>& args, std::string& error) : args(args), error(error) {}

    bool next(std::string& option)
    {
        if (index >= args.size()) {
            return false;
        }
        option = args[index++];
        return true;
    }
    bool value(const std::string& option, std::string& out)
    {
        if (index >= args.size()) {
            error = option + " needs a value";
            return false;
        }
        out = args[index++];
        return true;
    }
    bool number(const std::string& option, unsigned long high, unsigned long& out)
    {
        std::string text;
        if (!value(option, text)) {
            return false;
        }
        char* end = nullptr;
        const unsigned long parsed = std::strtoul(text.c_str(), &end, 0);
        if (text.empty() || text[0] == '-' || *end != '\0' || parsed > high) {
            error = option + " needs a number from 0 to " + std::to_string(high);
            return false;
        }
        out = parsed;
        return true;
    }
    bool real(const std::string& option, double low, double high, double& out)
    {
        std::string text;
        if (!value(option, text)) {
            return false;
        }
        char* end = nullptr;
        out = std::strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0' || !(out >= low && out <= high)) {
            error = option + " needs a number from " + std::to_string(low) + " to " + std::to_string(high);
            return false;
        }
        return true;
    }

private:
    const std::vector<std::string>& args;
    std::string& error;
    size_t index = 1;
};

std::string nowUtc()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts {};
    gmtime_r(&now, &parts);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return buffer;
}

} // namespace

std::string OrvCliCommand::usage()
{
    return "subcommands (chain several with --):\n"
           "  login --model M --device D --loginid L --password P [--maker N]\n"
           "  summary\n"
           "  spots   [--sort N] [--order N] [--count N] [--position N]\n"
           "  folders [--sort N] [--order N] [--count N] [--position N]\n"
           "  destinations\n"
           "  delete-destination ID\n"
           "  plans [--paging]\n"
           "  plans-summary\n"
           "  delete-plans\n"
           "  spot-detail\n"
           "  genres\n"
           "  certificate\n"
           "  position --lon X --lat Y [--speed N] [--direction N] [--elevation M] [--accuracy M]\n"
           "           [--road-type N] [--acc-off] [--type T] [--measured-at TIME]\n"
           "  demo [--keep]\n";
}

std::vector<uint8_t> OrvCliCommand::loginBlock(const Identity& identity)
{
    std::vector<uint8_t> block;
    block.push_back(static_cast<uint8_t>(identity.maker));
    for (const std::string* text : {&identity.model, &identity.deviceNo, &identity.loginId, &identity.password}) {
        block.insert(block.end(), text->begin(), text->end());
        block.push_back(0);
    }
    return block;
}

std::vector<uint8_t> OrvCliCommand::words(const std::vector<uint16_t>& values)
{
    std::vector<uint8_t> bytes;
    for (uint16_t value : values) {
        bytes.push_back(static_cast<uint8_t>(value >> 8));
        bytes.push_back(static_cast<uint8_t>(value & 0xFF));
    }
    return bytes;
}

std::vector<uint8_t> OrvCliCommand::positionBytes(const OrvKitDat::CarPositions& position)
{
    VxSerialization::Archive archive;
    position.serialize(archive);
    return archive.bytes();
}

std::string OrvCliCommand::hex(const std::vector<uint8_t>& bytes, size_t limit)
{
    std::string text;
    char pair[4];
    for (size_t i = 0; i < bytes.size() && i < limit; ++i) {
        std::snprintf(pair, sizeof pair, i == 0 ? "%02X" : " %02X", bytes[i]);
        text += pair;
    }
    if (bytes.size() > limit) {
        text += " …";
    }
    return text;
}

bool OrvCliCommand::hasNoResult() const
{
    auto found = table().find(command);
    return found != table().end() && found->second.success == 0;
}

bool OrvCliCommand::parse(const std::vector<std::string>& args, std::string& error)
{
    if (args.empty()) {
        error = "missing subcommand";
        return false;
    }
    auto found = table().find(args[0]);
    if (found == table().end()) {
        error = "unknown subcommand \"" + args[0] + "\"";
        return false;
    }
    command = args[0];
    commandCode = found->second.code;
    OptionReader reader(args, error);
    std::string option;

    if (command == "login") {
        Identity identity;
        unsigned long maker = identity.maker;
        while (reader.next(option)) {
            const bool ok = option == "--maker"      ? reader.number(option, 255, maker)
                            : option == "--model"    ? reader.value(option, identity.model)
                            : option == "--device"   ? reader.value(option, identity.deviceNo)
                            : option == "--loginid"  ? reader.value(option, identity.loginId)
                            : option == "--password" ? reader.value(option, identity.password)
                                                     : (error = "login: unknown option " + option, false);
            if (!ok) {
                return false;
            }
        }
        identity.maker = static_cast<unsigned>(maker);
        if (identity.model.empty() || identity.deviceNo.empty() || identity.loginId.empty() ||
            identity.password.empty()) {
            error = "login needs --model, --device, --loginid and --password";
            return false;
        }
        data = loginBlock(identity);
        char head[32];
        std::snprintf(head, sizeof head, "maker %02u", identity.maker);
        sentText = std::string(head) + ", model " + identity.model + ", device " + identity.deviceNo + ", login id " +
                   identity.loginId + ", password " + std::string(identity.password.size(), '*');
    } else if (command == "spots" || command == "folders") {
        unsigned long sort = 0;
        unsigned long order = 0;
        unsigned long count = 20;
        unsigned long position = 0xFFFF;
        while (reader.next(option)) {
            const bool ok = option == "--sort"       ? reader.number(option, 0xFFFF, sort)
                            : option == "--order"    ? reader.number(option, 0xFFFF, order)
                            : option == "--count"    ? reader.number(option, 0xFFFF, count)
                            : option == "--position" ? reader.number(option, 0xFFFF, position)
                                                     : (error = command + ": unknown option " + option, false);
            if (!ok) {
                return false;
            }
        }
        data = words({static_cast<uint16_t>(sort), static_cast<uint16_t>(order), static_cast<uint16_t>(count),
                      static_cast<uint16_t>(position)});
        sentText = "sort " + std::to_string(sort) + ", order " + std::to_string(order) + ", count " +
                   std::to_string(count) + (position == 0xFFFF ? ", no position" : ", position flag set");
    } else if (command == "plans") {
        bool paging = false;
        while (reader.next(option)) {
            if (option != "--paging") {
                error = "plans: unknown option " + option;
                return false;
            }
            paging = true;
        }
        data = words({static_cast<uint16_t>(paging ? 0x0001 : 0xFFFF)});
        sentText = paging ? "with paging" : "without paging";
    } else if (command == "delete-destination") {
        std::string id;
        if (!reader.next(id) || id.empty() || id[0] == '-' || reader.next(option)) {
            error = "delete-destination needs exactly one destination id";
            return false;
        }
        data.assign(id.begin(), id.end());
        sentText = "destination " + id;
    } else if (command == "position") {
        OrvKitDat::CarPositions position;
        bool hasLon = false;
        bool hasLat = false;
        unsigned long number = 0;
        position.measuredAt = nowUtc();
        position.type = "1";
        while (reader.next(option)) {
            bool ok = true;
            if (option == "--lon") {
                ok = reader.real(option, -180.0, 180.0, position.lon);
                hasLon = true;
            } else if (option == "--lat") {
                ok = reader.real(option, -90.0, 90.0, position.lat);
                hasLat = true;
            } else if (option == "--speed" && (ok = reader.number(option, 0xFFFFFFFFUL, number))) {
                position.speed = static_cast<uint32_t>(number);
            } else if (option == "--direction" && (ok = reader.number(option, 359, number))) {
                position.direction = static_cast<uint32_t>(number);
            } else if (option == "--road-type" && (ok = reader.number(option, 0xFFFFFFFFUL, number))) {
                position.roadType = static_cast<uint32_t>(number);
            } else if (option == "--elevation") {
                ok = reader.real(option, -1000.0, 10000.0, position.elevation);
            } else if (option == "--accuracy") {
                ok = reader.real(option, 0.0, 100000.0, position.accuracy);
            } else if (option == "--acc-off") {
                position.accOff = true;
            } else if (option == "--type") {
                ok = reader.value(option, position.type);
            } else if (option == "--measured-at") {
                ok = reader.value(option, position.measuredAt);
            } else if (option != "--speed" && option != "--direction" && option != "--road-type") {
                error = "position: unknown option " + option;
                return false;
            }
            if (!ok) {
                return false;
            }
        }
        if (!hasLon || !hasLat) {
            error = "position needs --lon and --lat";
            return false;
        }
        data = positionBytes(position);
        sentText = "lon " + OrvCliPrinter::coordinate(position.lon) + ", lat " +
                   OrvCliPrinter::coordinate(position.lat) + ", speed " + std::to_string(position.speed) +
                   ", direction " + std::to_string(position.direction) + ", measured at " + position.measuredAt +
                   (position.accOff ? ", ACC off" : "");
    } else {
        if (reader.next(option)) {
            error = command + " takes no options";
            return false;
        }
        // The kit takes no empty command, even where the bytes are not read.
        data.assign(1, 0);
        sentText = "no parameters";
    }
    return true;
}

bool OrvCliCommand::isFinal(unsigned long id) const
{
    auto found = table().find(command);
    if (found != table().end() && found->second.success == id) {
        return true;
    }
    switch (commandCode) {
    case CMD_LOGIN: return id == MSG_LOGIN_ERROR || id == MSG_LOGIN_RESULT_ERROR;
    case CMD_GET_CERTIFICATE: return id == MSG_REQUEST_ERROR || id == MSG_CERTIFICATE_ERROR;
    default: return id == MSG_REQUEST_ERROR || id == MSG_RESULT_ERROR;
    }
}

int OrvCliCommand::run(OrvCliSession& session, const Settings& settings, std::ostream& out, std::ostream& err)
{
    lastId = 0;
    lastPayload.clear();
    char codeText[16];
    std::snprintf(codeText, sizeof codeText, "0x%02lX", commandCode);
    if (settings.verbose) {
        out << "-> " << command << " (command " << codeText << "): " << sentText << "\n"
            << "   " << data.size() << " bytes: " << hex(data) << "\n";
    }
    if (!session.send(commandCode, data)) {
        err << command << ": the kit did not take the command\n";
        return OrvCliResult::kExitInternal;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(settings.timeoutMs);
    // Commands other than the certificate are accepted before their result;
    // a final message seen earlier belongs to an abandoned command.
    bool accepted = commandCode == CMD_GET_CERTIFICATE;
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        OrvCliSession::Message message;
        if (left.count() <= 0 || !session.next(message, static_cast<int>(left.count()))) {
            err << command << ": no answer within " << settings.timeoutMs << " ms\n";
            return OrvCliResult::kExitTimeout;
        }
        if (settings.verbose) {
            char idText[16];
            std::snprintf(idText, sizeof idText, "0x%04lX", message.id);
            out << "<- " << idText << " " << OrvCliResult::messageName(message.id) << ", " << message.payload.size()
                << " bytes" << (message.payload.empty() ? "" : ": " + hex(message.payload, 24)) << "\n";
        }
        // The certificate has no acceptance: its result id is the one an acceptance would carry.
        if (commandCode != CMD_GET_CERTIFICATE && message.id == (MSG_ACCEPTED | commandCode)) {
            accepted = true;
            if (hasNoResult()) {
                lastId = message.id;
                out << command << ": accepted; the library passes no answer on for this command\n";
                return OrvCliResult::kExitOk;
            }
            continue;
        }
        const bool refusal = message.id == MSG_REQUEST_ERROR || message.id == MSG_LOGIN_ERROR;
        if (!isFinal(message.id) || (!accepted && !refusal)) {
            continue;
        }
        lastId = message.id;
        lastPayload = message.payload;
        const unsigned code = message.payload.empty() ? 178 : message.payload[0];
        if (refusal) {
            err << command << " refused: " << OrvCliResult::refusalName(code) << "\n";
            return OrvCliResult::kExitRefused;
        }
        if (message.id == MSG_RESULT_ERROR || message.id == MSG_LOGIN_RESULT_ERROR ||
            message.id == MSG_CERTIFICATE_ERROR) {
            err << command << " failed: result code " << code << " " << OrvCliResult::codeName(code) << "\n";
            return OrvCliResult::exitFor(code);
        }
        if (message.payload.empty() && commandCode == CMD_LOGIN) {
            out << command << ": the stored token is still valid; no sign-in was needed\n";
            return OrvCliResult::kExitOk;
        }
        if (message.payload.empty() && commandCode == CMD_GET_CERTIFICATE) {
            out << command << ": the kit already holds a certificate\n";
            return OrvCliResult::kExitOk;
        }
        if (settings.json) {
            out << std::string(message.payload.begin(), message.payload.end()) << "\n";
            return OrvCliResult::kExitOk;
        }
        out << command << ":\n";
        if (!OrvCliPrinter::print(commandCode, message.payload, out)) {
            err << command << ": the answer could not be decoded: "
                << std::string(message.payload.begin(), message.payload.end()).substr(0, 200) << "\n";
            return OrvCliResult::kExitUndecodable;
        }
        return OrvCliResult::kExitOk;
    }
}
