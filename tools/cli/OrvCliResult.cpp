#include "OrvCliResult.h"

#include <OrvKit.h>

#include <cstdio>

std::string OrvCliResult::messageName(unsigned long id)
{
    using namespace OrvKitDef;
    switch (id) {
    case MSG_LOGIN_ACCEPTED: return "login accepted";
    case MSG_LOGIN_RESULT: return "login result";
    case MSG_INFO_SUMMARY_RESULT: return "summary result";
    case MSG_SPOTS_RESULT: return "spots result";
    case MSG_FOLDERS_RESULT: return "folders result";
    case MSG_DESTINATIONS_RESULT: return "destinations result";
    case MSG_DELETE_DESTINATION_RESULT: return "delete-destination result";
    case MSG_PLANS_RESULT: return "plans result";
    case MSG_DELETE_PLANS_RESULT: return "delete-plans result";
    case MSG_SHADOW_RESULT: return "position result";
    case MSG_CERTIFICATE_RESULT: return "certificate result";
    case MSG_CERTIFICATE_ERROR: return "certificate error";
    case MSG_REQUEST_ERROR: return "request refused";
    case MSG_RESULT_ERROR: return "request failed";
    case MSG_LOGIN_ERROR: return "login refused";
    case MSG_LOGIN_RESULT_ERROR: return "login failed";
    default: break;
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
    switch (code) {
    case 0: return "DEVICE_UNCLASSIFIED (device endpoint failure, unclassified)";
    case 64: return "REPLY_NOT_USABLE (the reply came but did not pass)";
    case 80: return "UNAUTHORIZED (E4011001: token missing or invalid)";
    case 81: return "TOKEN_EXPIRED (E4019xxx)";
    case 82: return "UNAUTHORIZED_I4011001";
    case 83: return "UNAUTHORIZED_I4011002";
    case 84: return "UNAUTHORIZED_I4011004";
    case 96: return "BAD_REQUEST (E4001001)";
    case 97: return "BAD_REQUEST (E4001002)";
    case 112: return "FORBIDDEN (403)";
    case 128: return "NOT_FOUND (E4041001)";
    case 129: return "NOT_FOUND (unrecognised code)";
    case 144: return "SERVER_ERROR (E5001001)";
    case 160: return "UNAVAILABLE (I5031001)";
    case 176: return "NETWORK_FAILURE during login";
    case 177: return "NETWORK_FAILURE";
    case 178: return "UNCLASSIFIED";
    case 192: return "DEVICE_BAD_REQUEST (400)";
    case 193: return "DEVICE_UNAUTHORIZED (401)";
    case 194: return "DEVICE_METHOD_NOT_ALLOWED (405)";
    case 195: return "DEVICE_CONFLICT (409)";
    case 196: return "DEVICE_PAYLOAD_TOO_LARGE (413)";
    case 197: return "DEVICE_UNSUPPORTED_MEDIA_TYPE (415)";
    case 198: return "DEVICE_TOO_MANY_REQUESTS (429)";
    case 199: return "DEVICE_SERVER_ERROR (500)";
    case 200: return "DEVICE_UNAVAILABLE (503)";
    case 201: return "DEVICE_TIMEOUT";
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
    return code < 64 ? kExitDeviceOther : static_cast<int>(code);
}
