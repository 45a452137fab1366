#include "OrvCliCommand.h"

#include "OrvCliPrinter.h"
#include "OrvCliResult.h"
#include "OrvCliSession.h"

#include <chrono>
#include <cstdio>
#include <map>

using namespace OrvKitDef;

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
    return row != nullptr && !row->passedOn;
}

bool OrvCliCommand::isDeviceCommand() const
{
    return commandCode == CMD_GET_CERTIFICATE || commandCode == CMD_UPDATE_SHADOW;
}

bool OrvCliCommand::prepare(const std::string& name, const std::vector<uint8_t>& bytes, const std::string& description)
{
    const OrvKitCommands::Command* found = OrvKitCommands::findCommand(name.c_str());
    if (found == nullptr) {
        return false;
    }
    row = found;
    command = name;
    commandCode = found->code;
    data = bytes;
    sentText = description;
    return true;
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
    std::vector<uint8_t> bytes = data;
    OrvKitDef::CmdData sent{bytes.data(), static_cast<uint32_t>(bytes.size()), commandCode};
    if (session.kit().sendCommand(sent) != 1) {
        err << command << ": the kit did not take the command\n";
        return OrvCliResult::kExitInternal;
    }
    OrvKitInbox::Message message;
    const OrvKitInbox::Outcome outcome = session.inbox().waitForOutcome(
        *row, message, std::chrono::milliseconds(settings.timeoutMs), [&](const OrvKitInbox::Message& seen) {
            if (settings.verbose) {
                char idText[16];
                std::snprintf(idText, sizeof idText, "0x%04lX", seen.id);
                out << "<- " << idText << " " << OrvCliResult::messageName(seen.id) << ", " << seen.payload.size()
                    << " bytes" << (seen.payload.empty() ? "" : ": " + hex(seen.payload, 24)) << "\n";
            }
        });
    lastId = message.id;
    const unsigned code = message.payload.empty() ? unsigned(RESULT_UNCLASSIFIED) : unsigned(message.payload[0]);
    switch (outcome) {
    case OrvKitInbox::Outcome::TimedOut:
    case OrvKitInbox::Outcome::NotTaken:
        lastId = 0;
        err << command << ": no answer within " << settings.timeoutMs << " ms\n";
        return OrvCliResult::kExitTimeout;
    case OrvKitInbox::Outcome::AcceptedOnly:
        out << command << ": accepted; the library passes no answer on for this command\n";
        return OrvCliResult::kExitOk;
    case OrvKitInbox::Outcome::Refused:
        lastPayload = message.payload;
        err << command << " refused: " << OrvCliResult::refusalName(code) << "\n";
        return OrvCliResult::kExitRefused;
    case OrvKitInbox::Outcome::Failure:
        lastPayload = message.payload;
        err << command << " failed: result code " << code << " " << OrvCliResult::codeName(code) << "\n";
        return OrvCliResult::exitFor(code);
    case OrvKitInbox::Outcome::Success:
        break;
    }
    lastPayload = message.payload;
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
