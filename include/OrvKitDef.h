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
static const std::string kHeaderUserAgent = "User-Agent";
static const std::string kHeaderContentType = "Content-Type";
static const std::string kHeaderCharset = "Charset";
static const std::string kHeaderConnection = "Connection";

} // namespace OrvKitDef

#endif
