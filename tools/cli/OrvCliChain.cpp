#include "OrvCliChain.h"

#include "OrvCliResult.h"
#include "OrvCliSession.h"

#include <chrono>
#include <sstream>
#include <thread>

OrvCliChain::OrvCliChain(OrvCliSession& session, const OrvCliCommand::Settings& settings, bool keepGoing,
                         std::ostream& out, std::ostream& err)
    : session(session), settings(settings), keepGoing(keepGoing), out(out), err(err)
{
}

int OrvCliChain::run(std::vector<OrvCliCommand>& commands)
{
    int status = OrvCliResult::kExitOk;
    for (size_t i = 0; i < commands.size(); ++i) {
        OrvCliCommand& command = commands[i];
        const int result = command.run(session, settings, out, err);
        if (result == OrvCliResult::kExitOk) {
            if (command.code() == OrvKitDef::CMD_LOGIN) {
                login = &command;
                // A sign-in at the server drops the kit's certificate; one answered from the stored token keeps it.
                if (!command.answer().empty()) {
                    certificate = nullptr;
                }
            } else if (command.code() == OrvKitDef::CMD_GET_CERTIFICATE) {
                certificate = &command;
            }
            continue;
        }
        status = result;
        if (command.isDeviceCommand()) {
            hint(command);
        }
        if (!keepGoing) {
            break;
        }
        if (result == OrvCliResult::kExitTimeout && i + 1 < commands.size() && !reopen()) {
            err << "orvkit-cli: the kit did not open again after the time-out\n";
            return OrvCliResult::kExitInternal;
        }
    }
    if (!commands.empty() && commands.back().hasNoResult()) {
        // Its request is still under way; give it a moment before the kit closes.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    return status;
}

bool OrvCliChain::reopen()
{
    if (settings.verbose) {
        out << "   (the kit is closed and opened again: the late answer must not reach the next command)\n";
    }
    if (!session.reopen(5000)) {
        return false;
    }
    // The fresh service has neither the identity nor the certificate.
    for (const OrvCliCommand* earlier : {login, certificate}) {
        if (earlier == nullptr) {
            continue;
        }
        OrvCliCommand again = *earlier;
        std::ostringstream quiet;
        if (settings.verbose) {
            out << "   (" << again.name() << " again on the fresh kit)\n";
        }
        if (again.run(session, settings, settings.verbose ? out : quiet, err) != OrvCliResult::kExitOk) {
            break;
        }
    }
    return true;
}

void OrvCliChain::hint(const OrvCliCommand& command) const
{
    const bool position = command.code() == OrvKitDef::CMD_UPDATE_SHADOW;
    if (login != nullptr && (!position || certificate != nullptr)) {
        return;
    }
    err << "hint: the kit keeps the signed-in identity" << (position ? " and the device certificate" : "")
        << " only while it is open, and each orvkit-cli call opens a fresh kit: chain "
        << (position ? "login ... -- certificate -- position ..." : "login ... -- certificate") << "\n";
}
