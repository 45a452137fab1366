#ifndef ORVKIT_SOAK_COMMANDS_H
#define ORVKIT_SOAK_COMMANDS_H

#include <OrvKitDef.h>

#include <regex>
#include <string>

// The thirteen commands as the soak drives them: the request each one sends,
// and which result messages answer it.
namespace SoakCommands {

enum Index {
    Login, InfoSummary, Spots, SpotDetail, Folders, Destinations, DeleteDestination,
    PlansSummary, Plans, DeletePlans, Genres, Certificate, Shadow, Count
};

struct Command
{
    const char* name;
    unsigned long code;
    const char* method;
    const char* path;           // a regular expression over the decoded path
    unsigned int successStatus; // 0: the completion sends no message at all
    unsigned long successId;
    unsigned long failureId;
    bool device;                // answered through the device endpoint's error mapping
};

inline const Command& command(int index)
{
    using namespace OrvKitDef;
    static const Command kCommands[Count] = {
        {"login", CMD_LOGIN, "POST", "/api/navi/authorization/v1/local", 200, MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, false},
        {"info summary", CMD_GET_INFO_SUMMARY, "GET", "/api/navi/info/v1/summary", 200, MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR, false},
        {"spots", CMD_GET_SPOTS, "GET", "/api/navi/bookmarks/v1/spots", 200, MSG_SPOTS_RESULT, MSG_RESULT_ERROR, false},
        {"spot detail", CMD_GET_SPOT_DETAIL, "GET", "/api/navi/bookmarks/v1/spots/SM3,AF,396J", 0, 0, 0, false},
        {"folders", CMD_GET_FOLDERS, "GET", "/api/navi/bookmarks/v1/folders", 200, MSG_FOLDERS_RESULT, MSG_RESULT_ERROR, false},
        {"destinations", CMD_GET_DESTINATIONS, "GET", "/api/navi/bookmarks/v1/destinations", 200, MSG_DESTINATIONS_RESULT,
         MSG_RESULT_ERROR, false},
        {"delete destination", CMD_DELETE_DESTINATION, "DELETE", "/api/navi/bookmarks/v1/destinations/.+", 204,
         MSG_DELETE_DESTINATION_RESULT, MSG_RESULT_ERROR, false},
        {"plans summary", CMD_GET_PLANS_SUMMARY, "GET", "/api/navi/driveplans/v1/plans/summary", 0, 0, 0, false},
        {"plans", CMD_GET_PLANS, "GET", "/api/navi/driveplans/v1/plans", 200, MSG_PLANS_RESULT, MSG_RESULT_ERROR, false},
        {"delete plans", CMD_DELETE_PLANS, "DELETE", "/api/navi/driveplans/v1/plans", 204, MSG_DELETE_PLANS_RESULT,
         MSG_RESULT_ERROR, false},
        {"genres", CMD_GET_GENRES, "GET", "/api/navi/info/v1/genres", 0, 0, 0, false},
        {"certificate", CMD_GET_CERTIFICATE, "POST", "/(prod|dev)/cert", 200, MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, true},
        {"shadow", CMD_UPDATE_SHADOW, "POST", "/things/.+/shadow", 200, MSG_SHADOW_RESULT, MSG_RESULT_ERROR, true},
    };
    return kCommands[index];
}

// Which command a request served; -1 for a request that no command sends.
inline int forRequest(const std::string& method, const std::string& path)
{
    for (int i = 0; i < Count; ++i) {
        if (method == command(i).method && std::regex_match(path, std::regex(command(i).path))) {
            return i;
        }
    }
    return -1;
}

} // namespace SoakCommands

#endif
