#include "OrvCliResult.h"

#include <OrvKit.h>
#include <OrvKitCommands.h>

#include <cstdio>

std::string OrvCliResult::messageName(unsigned long id)
{
    using namespace OrvKitDef;
    using OrvKitCommands::MessageKind;
    const OrvKitCommands::MessageInfo info = OrvKitCommands::lookupMessage(id);
    const bool login = info.command != nullptr && info.command->code == CMD_LOGIN;
    switch (info.kind) {
    case MessageKind::Success: return std::string(info.command->name) + " result";
    case MessageKind::Failure:
        return login ? "login failed" : info.command != nullptr ? "certificate error" : "request failed";
    case MessageKind::Refused: return login ? "login refused" : "request refused";
    case MessageKind::Accepted:
        if (login)
            return "login accepted";
        break;
    case MessageKind::Unknown: break;
    }
    if ((id & 0xFFFF8000UL) == MSG_ACCEPTED) {
        char text[32];
        std::snprintf(text, sizeof text, "command 0x%02lX accepted", id & 0x7FFFUL);
        return text;
    }
    return "unknown message";
}

std::string OrvCliResult::codeName(unsigned code)
{
    using namespace OrvKitDef;
    switch (code) {
    case DEVICE_RESULT_UNCLASSIFIED: return "DEVICE_UNCLASSIFIED (device endpoint failure, unclassified)";
    case RESULT_REPLY_NOT_USABLE: return "REPLY_NOT_USABLE (the reply came but did not pass)";
    case RESULT_UNAUTHORIZED: return "UNAUTHORIZED (E4011001: token missing or invalid)";
    case RESULT_TOKEN_EXPIRED: return "TOKEN_EXPIRED (E4019xxx)";
    case RESULT_UNAUTHORIZED_I4011001: return "UNAUTHORIZED_I4011001";
    case RESULT_UNAUTHORIZED_I4011002: return "UNAUTHORIZED_I4011002";
    case RESULT_UNAUTHORIZED_I4011004: return "UNAUTHORIZED_I4011004";
    case RESULT_BAD_REQUEST_E4001001: return "BAD_REQUEST (E4001001)";
    case RESULT_BAD_REQUEST_E4001002: return "BAD_REQUEST (E4001002)";
    case RESULT_FORBIDDEN: return "FORBIDDEN (403)";
    case RESULT_NOT_FOUND: return "NOT_FOUND (E4041001)";
    case RESULT_NOT_FOUND_UNRECOGNISED: return "NOT_FOUND (unrecognised code)";
    case RESULT_SERVER_ERROR: return "SERVER_ERROR (E5001001)";
    case RESULT_UNAVAILABLE: return "UNAVAILABLE (I5031001)";
    case RESULT_LOGIN_NETWORK_FAILURE: return "NETWORK_FAILURE during login";
    case RESULT_NETWORK_FAILURE: return "NETWORK_FAILURE";
    case RESULT_UNCLASSIFIED: return "UNCLASSIFIED";
    case DEVICE_RESULT_BAD_REQUEST: return "DEVICE_BAD_REQUEST (400)";
    case DEVICE_RESULT_UNAUTHORIZED: return "DEVICE_UNAUTHORIZED (401)";
    case DEVICE_RESULT_METHOD_NOT_ALLOWED: return "DEVICE_METHOD_NOT_ALLOWED (405)";
    case DEVICE_RESULT_CONFLICT: return "DEVICE_CONFLICT (409)";
    case DEVICE_RESULT_PAYLOAD_TOO_LARGE: return "DEVICE_PAYLOAD_TOO_LARGE (413)";
    case DEVICE_RESULT_UNSUPPORTED_MEDIA_TYPE: return "DEVICE_UNSUPPORTED_MEDIA_TYPE (415)";
    case DEVICE_RESULT_TOO_MANY_REQUESTS: return "DEVICE_TOO_MANY_REQUESTS (429)";
    case DEVICE_RESULT_SERVER_ERROR: return "DEVICE_SERVER_ERROR (500)";
    case DEVICE_RESULT_UNAVAILABLE: return "DEVICE_UNAVAILABLE (503)";
    case DEVICE_RESULT_TIMEOUT: return "DEVICE_TIMEOUT";
    default: return "UNKNOWN_CODE";
    }
}

std::string OrvCliResult::refusalName(unsigned payload)
{
    switch (payload) {
    case OrvKitDef::REQUEST_ERROR_NO_REQUEST: return "NO_REQUEST (no request object free, or identity incomplete)";
    case OrvKitDef::REQUEST_ERROR_EMPTY_DATA: return "EMPTY_DATA (the command needs parameters)";
    default: return "UNKNOWN_REFUSAL";
    }
}

int OrvCliResult::exitFor(unsigned code)
{
    return code < OrvKitDef::RESULT_REPLY_NOT_USABLE ? kExitDeviceOther : static_cast<int>(code);
}
