#ifndef ORVKIT_DEF_H
#define ORVKIT_DEF_H

#include <cstdint>
#include <string>

namespace OrvKitDef {

// The one carrier for both directions: commands into the library and
// result messages out of it.
struct CmdData
{
    unsigned char* data;
    uint32_t size;
    unsigned long uniqueID;
};

// Command codes (CmdData::uniqueID on the way in).
enum : unsigned long {
    CMD_LOGIN = 0x01,
    CMD_GET_INFO_SUMMARY = 0x11,
    CMD_GET_SPOTS = 0x21,
    CMD_GET_FOLDERS = 0x31,
    CMD_GET_DESTINATIONS = 0x41,
    CMD_DELETE_DESTINATION = 0x45,
    CMD_GET_PLANS = 0x51,
    CMD_DELETE_PLANS = 0x55,
    CMD_UPDATE_SHADOW = 0x61,
    CMD_GET_CERTIFICATE = 0x65,
    CMD_GET_SPOT_DETAIL = 0x81,
    CMD_GET_PLANS_SUMMARY = 0x91,
    CMD_GET_GENRES = 0x101
};

// Result message identifiers (CmdData::uniqueID on the way out). An
// accepted command answers 0x8000 | its code with an empty payload.
enum : unsigned long {
    MSG_ACCEPTED = 0x8000,
    MSG_LOGIN_ACCEPTED = 0x8001,
    MSG_LOGIN_RESULT = 0x8003,
    MSG_INFO_SUMMARY_RESULT = 0x8013,
    MSG_SPOTS_RESULT = 0x8023,
    MSG_FOLDERS_RESULT = 0x8033,
    MSG_DESTINATIONS_RESULT = 0x8043,
    MSG_DELETE_DESTINATION_RESULT = 0x8047,
    MSG_PLANS_RESULT = 0x8053,
    MSG_DELETE_PLANS_RESULT = 0x8057,
    MSG_SHADOW_RESULT = 0x8063,
    MSG_CERTIFICATE_RESULT = 0x8065,
    MSG_CERTIFICATE_ERROR = 0x8067,
    MSG_REQUEST_ERROR = 0x8071,
    MSG_RESULT_ERROR = 0x8073,
    MSG_LOGIN_ERROR = 0x8075,
    MSG_LOGIN_RESULT_ERROR = 0x8077
};

// Payload bytes of MSG_REQUEST_ERROR and MSG_LOGIN_ERROR.
enum : unsigned char {
    REQUEST_ERROR_NO_REQUEST = 0x01,
    REQUEST_ERROR_EMPTY_DATA = 0x02
};

// One-byte result codes carried by MSG_LOGIN_RESULT_ERROR and MSG_RESULT_ERROR
// for the sign-in and navigation API servers.
enum ResultCode : unsigned char {
    RESULT_REPLY_NOT_USABLE = 64,       // status 200 but the reply did not pass
    RESULT_UNAUTHORIZED = 80,           // 401 E4011001
    RESULT_TOKEN_EXPIRED = 81,          // 401 E4019xxx
    RESULT_UNAUTHORIZED_I4011001 = 82,
    RESULT_UNAUTHORIZED_I4011002 = 83,
    RESULT_UNAUTHORIZED_I4011004 = 84,
    RESULT_BAD_REQUEST_E4001001 = 96,
    RESULT_BAD_REQUEST_E4001002 = 97,
    RESULT_FORBIDDEN = 112,             // 403
    RESULT_NOT_FOUND = 128,             // 404 E4041001
    RESULT_NOT_FOUND_UNRECOGNISED = 129, // 404 with a code not 8 characters long
    RESULT_SERVER_ERROR = 144,          // 500 E5001001
    RESULT_UNAVAILABLE = 160,           // 503 I5031001
    RESULT_LOGIN_NETWORK_FAILURE = 176,
    RESULT_NETWORK_FAILURE = 177,
    RESULT_UNCLASSIFIED = 178
};

// One-byte result codes carried by MSG_CERTIFICATE_ERROR and, for position
// reports, MSG_RESULT_ERROR: the certificate and device-shadow endpoints.
enum DeviceResultCode : unsigned char {
    DEVICE_RESULT_UNCLASSIFIED = 0,
    DEVICE_RESULT_BAD_REQUEST = 192,           // 400
    DEVICE_RESULT_UNAUTHORIZED = 193,          // 401
    DEVICE_RESULT_METHOD_NOT_ALLOWED = 194,    // 405
    DEVICE_RESULT_CONFLICT = 195,              // 409
    DEVICE_RESULT_PAYLOAD_TOO_LARGE = 196,     // 413
    DEVICE_RESULT_UNSUPPORTED_MEDIA_TYPE = 197, // 415
    DEVICE_RESULT_TOO_MANY_REQUESTS = 198,     // 429
    DEVICE_RESULT_SERVER_ERROR = 199,          // 500
    DEVICE_RESULT_UNAVAILABLE = 200,           // 503
    DEVICE_RESULT_TIMEOUT = 201                // time-out or cancelled, no status
};

// Server codes, the maker code and header names shared by the library.
static const std::string kCodeE4001001 = "E4001001";
static const std::string kCodeE4001002 = "E4001002";
static const std::string kCodeE4011001 = "E4011001";
static const std::string kCodeE4019 = "E4019";
static const std::string kCodeI4011001 = "I4011001";
static const std::string kCodeI4011002 = "I4011002";
static const std::string kCodeI4011004 = "I4011004";
static const std::string kCodeE4041001 = "E4041001";
static const std::string kCodeE5001001 = "E5001001";
static const std::string kCodeI5031001 = "I5031001";
static const std::string kMakerCode = "tlv";
// The header names are kept for the platform interface; the kit does not use them.
static const std::string kHeaderUserAgent = "User-Agent";
static const std::string kHeaderContentType = "Content-Type";
static const std::string kHeaderCharset = "Charset";
static const std::string kHeaderConnection = "Connection";

} // namespace OrvKitDef

#endif
