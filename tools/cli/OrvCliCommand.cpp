#include "OrvCliCommand.h"

#include "OrvCliPrinter.h"
#include "OrvCliResult.h"
#include "OrvCliSession.h"

#include <chrono>
#include <cstdio>
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

} // namespace

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

bool OrvCliCommand::isDeviceCommand() const
{
    return commandCode == CMD_GET_CERTIFICATE || commandCode == CMD_UPDATE_SHADOW;
}

bool OrvCliCommand::prepare(const std::string& name, const std::vector<uint8_t>& bytes, const std::string& description)
{
    auto found = table().find(name);
    if (found == table().end()) {
        return false;
    }
    command = name;
    commandCode = found->second.code;
    data = bytes;
    sentText = description;
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
        const unsigned code = message.payload.empty() ? unsigned(RESULT_UNCLASSIFIED) : unsigned(message.payload[0]);
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
