#include "SoakWave.h"

#include "SoakCommands.h"

#include <OrvKitDef.h>

#include <cstdio>
#include <utility>

using namespace OrvKitDef;
using namespace SoakCommands;

namespace {

bool isEmpty(const SoakWave::Message& message, unsigned long id)
{
    return message.id == id && message.payload.empty();
}

bool isCode(const SoakWave::Message& message, unsigned long id, uint8_t code)
{
    return message.id == id && message.payload.size() == 1 && message.payload[0] == code;
}

std::string describe(const SoakWave::Message& message)
{
    char text[64];
    std::snprintf(text, sizeof text, "0x%lx with %zu bytes", message.id, message.payload.size());
    std::string out = text;
    if (message.payload.size() == 1) {
        std::snprintf(text, sizeof text, " [0x%02x]", message.payload[0]);
        out += text;
    }
    return out;
}

} // namespace

SoakWave::SoakWave(std::vector<Planned> planned)
    : commands(std::move(planned)), refusals(0), isSettled(false)
{
}

bool SoakWave::isResult(const Message& message)
{
    switch (message.id) {
    case MSG_LOGIN_RESULT:
    case MSG_CERTIFICATE_RESULT:
        // Empty, these are immediate answers: token still valid, certificate already held.
        return !message.payload.empty();
    case MSG_INFO_SUMMARY_RESULT:
    case MSG_SPOTS_RESULT:
    case MSG_FOLDERS_RESULT:
    case MSG_DESTINATIONS_RESULT:
    case MSG_DELETE_DESTINATION_RESULT:
    case MSG_PLANS_RESULT:
    case MSG_DELETE_PLANS_RESULT:
    case MSG_SHADOW_RESULT:
    case MSG_CERTIFICATE_ERROR:
    case MSG_RESULT_ERROR:
    case MSG_LOGIN_RESULT_ERROR:
        return true;
    default:
        return false;
    }
}

bool SoakWave::read(const std::vector<Message>& heard, std::string& error)
{
    owingResult.clear();
    resultMessages.clear();
    refusals = 0;
    isSettled = false;

    size_t next = 0;          // the command whose immediate answer comes next
    bool afterAccept = false; // its acceptance is in; a pool refusal may follow
    const auto started = [&] {
        if (command(commands[next].command).successStatus != 0)
            owingResult.push_back(next);
        ++next;
        afterAccept = false;
    };
    const auto fail = [&](const Message& message, const char* why) {
        error = describe(message) + ": " + why;
        if (next < commands.size())
            error += std::string(" (at command ") + command(commands[next].command).name + ")";
        return false;
    };

    for (const Message& message : heard) {
        if (isResult(message)) {
            // A result is sent after the command that is being answered has
            // returned: no refusal can follow its acceptance any more, and a
            // certificate request without immediate answer has started.
            if (afterAccept)
                started();
            else if (next < commands.size() && commands[next].command == Certificate &&
                     !commands[next].certificatesHeld)
                started();
            resultMessages.push_back(message);
            continue;
        }
        for (;;) {
            if (next >= commands.size())
                return fail(message, "no command of the wave is left to answer");
            const Planned& planned = commands[next];
            const Command& info = command(planned.command);
            if (afterAccept) {
                const unsigned long refusalId = planned.command == Login ? MSG_LOGIN_ERROR : MSG_REQUEST_ERROR;
                if (isCode(message, refusalId, REQUEST_ERROR_NO_REQUEST)) {
                    ++refusals;
                    ++next;
                    afterAccept = false;
                    break;
                }
                started();
                continue;
            }
            if (planned.command == Certificate) {
                if (planned.certificatesHeld) {
                    if (!isEmpty(message, MSG_CERTIFICATE_RESULT))
                        return fail(message, "certificates are held: expected 0x8065 without payload");
                    ++next;
                    break;
                }
                if (isCode(message, MSG_REQUEST_ERROR, REQUEST_ERROR_NO_REQUEST)) {
                    ++refusals;
                    ++next;
                    break;
                }
                started();
                continue;
            }
            if (planned.command == Login && !planned.loginComplete) {
                if (!isCode(message, MSG_LOGIN_ERROR, REQUEST_ERROR_NO_REQUEST))
                    return fail(message, "incomplete login block: expected 0x8075 [0x01]");
                ++next;
                break;
            }
            const unsigned long acceptance = planned.command == Login ? MSG_LOGIN_ACCEPTED : MSG_ACCEPTED | info.code;
            if (!isEmpty(message, acceptance))
                return fail(message, "expected the acceptance without payload");
            afterAccept = true;
            break;
        }
    }
    if (next == commands.size() && !afterAccept) {
        if (resultMessages.size() > owingResult.size()) {
            error = "more results than requests started";
            return false;
        }
        isSettled = resultMessages.size() == owingResult.size();
    }
    return true;
}
