#ifndef ORVKIT_DEF_H
#define ORVKIT_DEF_H

/// @file
/// The command and message carrier, the command codes, the message
/// identifiers and the result codes.

#include <cstdint>
#include <string>

/// Definitions the application shares with the kit.
namespace OrvKitDef {

/// The one carrier for both directions: commands into the kit and result
/// messages out of it. It never owns its bytes.
struct CmdData
{
    unsigned char* data;     ///< First byte; multi-byte integers are big-endian, strings end in a zero byte.
    uint32_t size;           ///< Number of bytes at data.
    unsigned long uniqueID;  ///< Command code (CMD_*) on the way in, message identifier (MSG_*) on the way out.
};

/// Command codes (CmdData::uniqueID on the way in). Each is answered first
/// by its acceptance, MSG_ACCEPTED | code, with an empty payload.
enum : unsigned long {
    CMD_LOGIN = 0x01,  ///< Sign in (POST to the sign-in server). Bytes: maker byte, model, device number, login id, password, each text zero-terminated. Answers MSG_LOGIN_RESULT or MSG_LOGIN_RESULT_ERROR.
    CMD_GET_INFO_SUMMARY = 0x11,  ///< Information summary (GET; the path is in OrvKitCommands::kCommands). Bytes not read. Answers MSG_INFO_SUMMARY_RESULT, decoded with OrvKitDat::SummaryResponse.
    CMD_GET_SPOTS = 0x21,  ///< Bookmarked spots (GET; the path is in OrvKitCommands::kCommands). Bytes: 16-bit words sort, order, count, position flag (0xFFFF: none). Answers MSG_SPOTS_RESULT, decoded with OrvKitDat::BookmarksSpotsResponse.
    CMD_GET_FOLDERS = 0x31,  ///< Bookmark folders (GET; the path is in OrvKitCommands::kCommands). Bytes as CMD_GET_SPOTS. Answers MSG_FOLDERS_RESULT, decoded with OrvKitDat::BookmarksFoldersResponse.
    CMD_GET_DESTINATIONS = 0x41,  ///< Destinations (GET; the path is in OrvKitCommands::kCommands). Bytes not read. Answers MSG_DESTINATIONS_RESULT, decoded with OrvKitDat::BookmarksDestsResponse.
    CMD_DELETE_DESTINATION = 0x45,  ///< Deletes one destination (DELETE; the path, ending in the id, is in OrvKitCommands::kCommands). Bytes: the id, no terminator. Answers MSG_DELETE_DESTINATION_RESULT (status 204).
    CMD_GET_PLANS = 0x51,  ///< Drive plans (GET; the path is in OrvKitCommands::kCommands). Bytes: 16-bit word paging flag (0xFFFF: none). Answers MSG_PLANS_RESULT, decoded with OrvKitDat::PlansResponse.
    CMD_DELETE_PLANS = 0x55,  ///< Deletes the drive plans (DELETE; the path is in OrvKitCommands::kCommands). Bytes not read. Answers MSG_DELETE_PLANS_RESULT (status 204).
    CMD_UPDATE_SHADOW = 0x61,  ///< Position report to the device shadow, over mutual TLS with the certificate from CMD_GET_CERTIFICATE. Bytes: an archived OrvKitDat::CarPositions. Answers MSG_SHADOW_RESULT.
    CMD_GET_CERTIFICATE = 0x65,  ///< Device certificate (POST to the certificate endpoint). Bytes not read; no acceptance. Answers MSG_CERTIFICATE_RESULT (empty at once when one is held) or MSG_CERTIFICATE_ERROR.
    CMD_GET_SPOT_DETAIL = 0x81,  ///< Spot detail (GET; the path is in OrvKitCommands::kCommands). Bytes not read. Accepted, but no result message follows.
    CMD_GET_PLANS_SUMMARY = 0x91,  ///< Drive plan start times (GET; the path is in OrvKitCommands::kCommands). Bytes not read. Accepted, but no result message follows.
    CMD_GET_GENRES = 0x101  ///< Genre tree (GET; the path is in OrvKitCommands::kCommands). Bytes not read. Accepted, but no result message follows.
};

/// Result message identifiers (CmdData::uniqueID on the way out).
enum : unsigned long {
    MSG_ACCEPTED = 0x8000,  ///< Base of the acceptances: MSG_ACCEPTED | command code, empty payload, sent as the command's request is created.
    MSG_LOGIN_ACCEPTED = 0x8001,  ///< CMD_LOGIN accepted.
    MSG_LOGIN_RESULT = 0x8003,  ///< Signed in: the sign-in server's body (OrvKitDat::AuthResponse), or empty when the stored token is still valid.
    MSG_INFO_SUMMARY_RESULT = 0x8013,  ///< Body of CMD_GET_INFO_SUMMARY (OrvKitDat::SummaryResponse).
    MSG_SPOTS_RESULT = 0x8023,  ///< Body of CMD_GET_SPOTS (OrvKitDat::BookmarksSpotsResponse).
    MSG_FOLDERS_RESULT = 0x8033,  ///< Body of CMD_GET_FOLDERS (OrvKitDat::BookmarksFoldersResponse).
    MSG_DESTINATIONS_RESULT = 0x8043,  ///< Body of CMD_GET_DESTINATIONS (OrvKitDat::BookmarksDestsResponse).
    MSG_DELETE_DESTINATION_RESULT = 0x8047,  ///< CMD_DELETE_DESTINATION done; the server's body, usually empty.
    MSG_PLANS_RESULT = 0x8053,  ///< Body of CMD_GET_PLANS (OrvKitDat::PlansResponse).
    MSG_DELETE_PLANS_RESULT = 0x8057,  ///< CMD_DELETE_PLANS done; the server's body, usually empty.
    MSG_SHADOW_RESULT = 0x8063,  ///< CMD_UPDATE_SHADOW done; the device shadow's body.
    MSG_CERTIFICATE_RESULT = 0x8065,  ///< CMD_GET_CERTIFICATE done: the certificate endpoint's body (OrvKitDat::CertificateResponse), or empty when a certificate is already held.
    MSG_CERTIFICATE_ERROR = 0x8067,  ///< CMD_GET_CERTIFICATE failed; one byte, a DeviceResultCode.
    MSG_REQUEST_ERROR = 0x8071,  ///< A command refused before any traffic; one byte, REQUEST_ERROR_NO_REQUEST or REQUEST_ERROR_EMPTY_DATA.
    MSG_RESULT_ERROR = 0x8073,  ///< A request failed; one byte, a ResultCode (a DeviceResultCode after CMD_UPDATE_SHADOW).
    MSG_LOGIN_ERROR = 0x8075,  ///< CMD_LOGIN refused before any traffic; one byte: 0x01 identity incomplete or no request object free, 0x02 no bytes.
    MSG_LOGIN_RESULT_ERROR = 0x8077  ///< CMD_LOGIN failed; one byte, a ResultCode.
};

/// Payload bytes of MSG_REQUEST_ERROR and MSG_LOGIN_ERROR.
enum : unsigned char {
    REQUEST_ERROR_NO_REQUEST = 0x01,  ///< Every request object of the command's HTTP method is busy (may follow an acceptance).
    REQUEST_ERROR_EMPTY_DATA = 0x02  ///< The command needs bytes and came without (CMD_GET_SPOTS, CMD_GET_FOLDERS, CMD_DELETE_DESTINATION, CMD_GET_PLANS, CMD_UPDATE_SHADOW).
};

/// One-byte result codes carried by MSG_LOGIN_RESULT_ERROR and MSG_RESULT_ERROR
/// for the sign-in and navigation API servers.
enum ResultCode : unsigned char {
    RESULT_REPLY_NOT_USABLE = 64,  ///< status 200 but the reply did not pass
    RESULT_UNAUTHORIZED = 80,  ///< 401 E4011001
    RESULT_TOKEN_EXPIRED = 81,  ///< 401 E4019xxx
    RESULT_UNAUTHORIZED_I4011001 = 82,  ///< 401 I4011001
    RESULT_UNAUTHORIZED_I4011002 = 83,  ///< 401 I4011002
    RESULT_UNAUTHORIZED_I4011004 = 84,  ///< 401 I4011004
    RESULT_BAD_REQUEST_E4001001 = 96,  ///< 400 E4001001
    RESULT_BAD_REQUEST_E4001002 = 97,  ///< 400 E4001002
    RESULT_FORBIDDEN = 112,  ///< 403
    RESULT_NOT_FOUND = 128,  ///< 404 E4041001
    RESULT_NOT_FOUND_UNRECOGNISED = 129,  ///< 404 with a code not 8 characters long
    RESULT_SERVER_ERROR = 144,  ///< 500 E5001001
    RESULT_UNAVAILABLE = 160,  ///< 503 I5031001
    RESULT_LOGIN_NETWORK_FAILURE = 176,  ///< network failure (refused, closed, host not found, time-out, TLS handshake, ...) during sign-in
    RESULT_NETWORK_FAILURE = 177,  ///< network failure on any other request
    RESULT_UNCLASSIFIED = 178  ///< any other failure
};

/// One-byte result codes carried by MSG_CERTIFICATE_ERROR and, for position
/// reports, MSG_RESULT_ERROR: the certificate and device-shadow endpoints.
enum DeviceResultCode : unsigned char {
    DEVICE_RESULT_UNCLASSIFIED = 0,  ///< any other failure, network failures included
    DEVICE_RESULT_BAD_REQUEST = 192,  ///< 400
    DEVICE_RESULT_UNAUTHORIZED = 193,  ///< 401
    DEVICE_RESULT_METHOD_NOT_ALLOWED = 194,  ///< 405
    DEVICE_RESULT_CONFLICT = 195,  ///< 409
    DEVICE_RESULT_PAYLOAD_TOO_LARGE = 196,  ///< 413
    DEVICE_RESULT_UNSUPPORTED_MEDIA_TYPE = 197,  ///< 415
    DEVICE_RESULT_TOO_MANY_REQUESTS = 198,  ///< 429
    DEVICE_RESULT_SERVER_ERROR = 199,  ///< 500
    DEVICE_RESULT_UNAVAILABLE = 200,  ///< 503
    DEVICE_RESULT_TIMEOUT = 201  ///< time-out or cancelled, no status
};

/// @name Server codes, the maker code and HTTP header names
/// Texts the kit compares with the server's error code (ErrorResponse::code)
/// and sends in its requests.
/// @{
static const std::string kCodeE4001001 = "E4001001";  ///< Bad request (status 400).
static const std::string kCodeE4001002 = "E4001002";  ///< Bad request, second kind (status 400).
static const std::string kCodeE4011001 = "E4011001";  ///< Not authorised (status 401).
static const std::string kCodeE4019 = "E4019";  ///< Prefix of the expired-token codes E4019xxx (status 401).
static const std::string kCodeI4011001 = "I4011001";  ///< Information code with status 401.
static const std::string kCodeI4011002 = "I4011002";  ///< Information code with status 401.
static const std::string kCodeI4011004 = "I4011004";  ///< Information code with status 401.
static const std::string kCodeE4041001 = "E4041001";  ///< Not found (status 404).
static const std::string kCodeE5001001 = "E5001001";  ///< Server error (status 500).
static const std::string kCodeI5031001 = "I5031001";  ///< Service unavailable (status 503).
static const std::string kMakerCode = "tlv";  ///< The maker value of sign-in requests; also the only role a sign-in accepts.
static const std::string kHeaderUserAgent = "User-Agent";  ///< HTTP header name; kept for the platform interface, the kit does not use it.
static const std::string kHeaderContentType = "Content-Type";  ///< HTTP header name; kept for the platform interface, the kit does not use it.
static const std::string kHeaderCharset = "Charset";  ///< HTTP header name; kept for the platform interface, the kit does not use it.
static const std::string kHeaderConnection = "Connection";  ///< HTTP header name; kept for the platform interface, the kit does not use it.
/// @}

} // namespace OrvKitDef

#endif
