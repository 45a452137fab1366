#ifndef ORVKIT_COMMANDS_H
#define ORVKIT_COMMANDS_H

/// @file
/// Every command of the kit in one table, and the encoders of their parameter
/// blocks. Header-only and free of Qt and of the framework: applications,
/// tools and the kit itself read the same rows.

#include "OrvKitDef.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

/// The command table and the parameter-block encoders.
namespace OrvKitCommands {

/// The HTTP method of a command's request.
enum class Method {
    Get,    ///< GET
    Post,   ///< POST
    Delete  ///< DELETE
};

/// Which server a command goes to; each has a production and a test origin.
enum class Origin {
    Auth,         ///< The sign-in server.
    Api,          ///< The service's API server.
    Certificate,  ///< The device-certificate endpoint.
    DeviceShadow  ///< The device shadow, reached over mutual TLS.
};

/// One command. A path may hold one "{...}" segment that the kit fills in:
/// the destination id, the thing name or the fixed spot id.
struct Command
{
    unsigned long code;      ///< The command code (OrvKitDef::CMD_*).
    const char* name;        ///< Its name as orvkit-cli spells it
    Method method;           ///< HTTP method of the request.
    Origin origin;           ///< Server the request goes to.
    const char* path;        ///< Production path
    const char* testPath;    ///< Path on the test server (differs only for the certificate)
    bool needsData;          ///< Refused with an empty block
    unsigned long accepted;  ///< Acceptance message, 0 when none is sent up front
    unsigned long success;   ///< Result message that carries the server's body
    unsigned long failure;   ///< Result message that carries a one-byte code
    unsigned long refused;   ///< Message for a command refused before any request
    unsigned int successStatus; ///< The HTTP status that counts as success
    bool passedOn;           ///< False when the kit sends no result for this command
};

/// The spot-detail command always asks for this one spot.
constexpr const char kFixedSpotId[] = "SM3,AF,396J";
/// A position flag of this value leaves the position parameters out.
constexpr uint16_t kNoPosition = 0xFFFF;
/// A paging word of this value leaves the paging parameters out.
constexpr uint16_t kNoPaging = 0xFFFF;

using namespace OrvKitDef;

/// The table: one row per command the kit knows.
constexpr Command kCommands[] = {
    {CMD_LOGIN, "login", Method::Post, Origin::Auth, "/api/navi/authorization/v1/local",
     "/api/navi/authorization/v1/local", true, MSG_LOGIN_ACCEPTED, MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR,
     MSG_LOGIN_ERROR, 200, true},
    {CMD_GET_INFO_SUMMARY, "summary", Method::Get, Origin::Api, "/api/navi/info/v1/summary",
     "/api/navi/info/v1/summary", false, MSG_ACCEPTED | CMD_GET_INFO_SUMMARY, MSG_INFO_SUMMARY_RESULT,
     MSG_RESULT_ERROR, MSG_REQUEST_ERROR, 200, true},
    {CMD_GET_SPOTS, "spots", Method::Get, Origin::Api, "/api/navi/bookmarks/v1/spots",
     "/api/navi/bookmarks/v1/spots", true, MSG_ACCEPTED | CMD_GET_SPOTS, MSG_SPOTS_RESULT, MSG_RESULT_ERROR,
     MSG_REQUEST_ERROR, 200, true},
    {CMD_GET_FOLDERS, "folders", Method::Get, Origin::Api, "/api/navi/bookmarks/v1/folders",
     "/api/navi/bookmarks/v1/folders", true, MSG_ACCEPTED | CMD_GET_FOLDERS, MSG_FOLDERS_RESULT,
     MSG_RESULT_ERROR, MSG_REQUEST_ERROR, 200, true},
    {CMD_GET_DESTINATIONS, "destinations", Method::Get, Origin::Api, "/api/navi/bookmarks/v1/destinations",
     "/api/navi/bookmarks/v1/destinations", false, MSG_ACCEPTED | CMD_GET_DESTINATIONS,
     MSG_DESTINATIONS_RESULT, MSG_RESULT_ERROR, MSG_REQUEST_ERROR, 200, true},
    {CMD_DELETE_DESTINATION, "delete-destination", Method::Delete, Origin::Api,
     "/api/navi/bookmarks/v1/destinations/{id}", "/api/navi/bookmarks/v1/destinations/{id}", true,
     MSG_ACCEPTED | CMD_DELETE_DESTINATION, MSG_DELETE_DESTINATION_RESULT, MSG_RESULT_ERROR, MSG_REQUEST_ERROR,
     204, true},
    {CMD_GET_PLANS, "plans", Method::Get, Origin::Api, "/api/navi/driveplans/v1/plans",
     "/api/navi/driveplans/v1/plans", true, MSG_ACCEPTED | CMD_GET_PLANS, MSG_PLANS_RESULT, MSG_RESULT_ERROR,
     MSG_REQUEST_ERROR, 200, true},
    {CMD_DELETE_PLANS, "delete-plans", Method::Delete, Origin::Api, "/api/navi/driveplans/v1/plans",
     "/api/navi/driveplans/v1/plans", false, MSG_ACCEPTED | CMD_DELETE_PLANS, MSG_DELETE_PLANS_RESULT,
     MSG_RESULT_ERROR, MSG_REQUEST_ERROR, 204, true},
    {CMD_UPDATE_SHADOW, "position", Method::Post, Origin::DeviceShadow, "/things/{thing}/shadow",
     "/things/{thing}/shadow", true, MSG_ACCEPTED | CMD_UPDATE_SHADOW, MSG_SHADOW_RESULT, MSG_RESULT_ERROR,
     MSG_REQUEST_ERROR, 200, true},
    {CMD_GET_CERTIFICATE, "certificate", Method::Post, Origin::Certificate, "/prod/cert", "/dev/cert", false, 0,
     MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, MSG_REQUEST_ERROR, 200, true},
    {CMD_GET_SPOT_DETAIL, "spot-detail", Method::Get, Origin::Api, "/api/navi/bookmarks/v1/spots/{spot}",
     "/api/navi/bookmarks/v1/spots/{spot}", false, MSG_ACCEPTED | CMD_GET_SPOT_DETAIL, 0, 0, MSG_REQUEST_ERROR,
     200, false},
    {CMD_GET_PLANS_SUMMARY, "plans-summary", Method::Get, Origin::Api, "/api/navi/driveplans/v1/plans/summary",
     "/api/navi/driveplans/v1/plans/summary", false, MSG_ACCEPTED | CMD_GET_PLANS_SUMMARY, 0, 0,
     MSG_REQUEST_ERROR, 200, false},
    {CMD_GET_GENRES, "genres", Method::Get, Origin::Api, "/api/navi/info/v1/genres", "/api/navi/info/v1/genres",
     false, MSG_ACCEPTED | CMD_GET_GENRES, 0, 0, MSG_REQUEST_ERROR, 200, false},
};

/// Number of rows in kCommands.
constexpr std::size_t kCommandCount = sizeof(kCommands) / sizeof(kCommands[0]);

/// True when the zero-terminated texts a and b are equal; usable in constant expressions.
constexpr bool sameText(const char* a, const char* b)
{
    return *a == *b && (*a == '\0' || sameText(a + 1, b + 1));
}

/// The row of a command code, or null for a code the kit does not know.
constexpr const Command* findCommand(unsigned long code)
{
    for (const Command& command : kCommands)
        if (command.code == code)
            return &command;
    return nullptr;
}

/// The row of a command named as orvkit-cli spells it, or null for an unknown name.
constexpr const Command* findCommand(const char* name)
{
    for (const Command& command : kCommands)
        if (sameText(command.name, name))
            return &command;
    return nullptr;
}

/// The method as it appears on the request line: "GET", "POST" or "DELETE".
constexpr const char* methodName(Method method)
{
    return method == Method::Get ? "GET" : method == Method::Post ? "POST" : "DELETE";
}

/// What a received message is. Refusals and failures of most commands share
/// one id; for those, command is null and the application knows which command
/// it is waiting for.
enum class MessageKind {
    Unknown,   ///< Not a message of the table.
    Accepted,  ///< A command's acceptance.
    Success,   ///< A result carrying the server's body.
    Failure,   ///< A result carrying a one-byte code.
    Refused    ///< A command refused before any request.
};

/// The command and kind of one message id, as lookupMessage() gives them.
struct MessageInfo
{
    const Command* command;  ///< Its command's row; null when the id is shared by several commands.
    MessageKind kind;        ///< What the message is.
};

/// Classifies a message id received through onMessage.

constexpr MessageInfo lookupMessage(unsigned long uniqueID)
{
    for (const Command& command : kCommands) {
        if (command.accepted != 0 && command.accepted == uniqueID)
            return {&command, MessageKind::Accepted};
        if (command.success != 0 && command.success == uniqueID)
            return {&command, MessageKind::Success};
    }
    switch (uniqueID) {
    case MSG_LOGIN_RESULT_ERROR: return {findCommand(CMD_LOGIN), MessageKind::Failure};
    case MSG_CERTIFICATE_ERROR: return {findCommand(CMD_GET_CERTIFICATE), MessageKind::Failure};
    case MSG_LOGIN_ERROR: return {findCommand(CMD_LOGIN), MessageKind::Refused};
    case MSG_RESULT_ERROR: return {nullptr, MessageKind::Failure};
    case MSG_REQUEST_ERROR: return {nullptr, MessageKind::Refused};
    default: return {nullptr, MessageKind::Unknown};
    }
}

/// True when a message ends the exchange of the command: its result, its
/// failure or its refusal.
constexpr bool isFinal(const Command& command, unsigned long uniqueID)
{
    return (command.success != 0 && uniqueID == command.success) ||
           (command.failure != 0 && uniqueID == command.failure) || uniqueID == command.refused;
}

// ---------------------------------------------------------------------------
// Parameter blocks. Words are 16-bit big-endian; texts end in a zero byte.

/// Appends text and its terminating zero byte to block.
inline void appendText(std::vector<uint8_t>& block, const std::string& text)
{
    block.insert(block.end(), text.begin(), text.end());
    block.push_back(0);
}

/// CMD_LOGIN: maker byte, then model, device number, login id and password.
inline std::vector<uint8_t> loginBlock(uint8_t maker, const std::string& model, const std::string& deviceNo,
                                       const std::string& loginId, const std::string& password)
{
    std::vector<uint8_t> block{maker};
    for (const std::string* text : {&model, &deviceNo, &loginId, &password})
        appendText(block, *text);
    return block;
}

/// CMD_GET_SPOTS and CMD_GET_FOLDERS: sort key, sort order, count and the
/// position flag (kNoPosition leaves the position parameters out).
inline std::vector<uint8_t> pageBlock(uint16_t sort, uint16_t order, uint16_t number,
                                      uint16_t position = kNoPosition)
{
    const uint16_t words[] = {sort, order, number, position};
    std::vector<uint8_t> block(sizeof(words));
    for (std::size_t i = 0; i < 4; ++i) {
        block[2 * i] = static_cast<uint8_t>(words[i] >> 8);
        block[2 * i + 1] = static_cast<uint8_t>(words[i] & 0xFF);
    }
    return block;
}

/// CMD_GET_PLANS: with paging the kit asks for the first ten plans.
inline std::vector<uint8_t> plansBlock(bool paging)
{
    const uint16_t word = paging ? 1 : kNoPaging;
    return std::vector<uint8_t>{static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word & 0xFF)};
}

/// CMD_DELETE_DESTINATION: the id itself, without a terminating zero.
inline std::vector<uint8_t> destinationBlock(const std::string& destinationId)
{
    return std::vector<uint8_t>(destinationId.begin(), destinationId.end());
}

/// Commands that read no parameters still need one byte: the kit takes no
/// empty command.
inline std::vector<uint8_t> noParameters()
{
    return std::vector<uint8_t>(1, 0);
}

// CMD_UPDATE_SHADOW carries an archived OrvKitDat::CarPositions record.

} // namespace OrvKitCommands

#endif
