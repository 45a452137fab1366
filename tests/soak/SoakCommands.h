#ifndef ORVKIT_SOAK_COMMANDS_H
#define ORVKIT_SOAK_COMMANDS_H

#include <OrvKitDef.h>

#include <cstddef>
#include <string>

// The thirteen commands as the soak drives them: how the server sees each
// request, and which result messages answer it.
namespace SoakCommands {

enum Index {
    Login, InfoSummary, Spots, SpotDetail, Folders, Destinations, DeleteDestination,
    PlansSummary, Plans, DeletePlans, Genres, Certificate, Shadow, Count
};

enum class Mapper { Standard, Device };

struct Command
{
    const char* name;
    unsigned long code;
    unsigned int successStatus; // 0: the completion sends no message at all
    unsigned long successId;
    unsigned long failureId;
    Mapper mapper;
    bool usesGetPool;
};

inline const Command& command(int index)
{
    using namespace OrvKitDef;
    static const Command kCommands[Count] = {
        {"login", CMD_LOGIN, 200, MSG_LOGIN_RESULT, MSG_LOGIN_RESULT_ERROR, Mapper::Standard, false},
        {"info summary", CMD_GET_INFO_SUMMARY, 200, MSG_INFO_SUMMARY_RESULT, MSG_RESULT_ERROR, Mapper::Standard, true},
        {"spots", CMD_GET_SPOTS, 200, MSG_SPOTS_RESULT, MSG_RESULT_ERROR, Mapper::Standard, true},
        {"spot detail", CMD_GET_SPOT_DETAIL, 0, 0, 0, Mapper::Standard, true},
        {"folders", CMD_GET_FOLDERS, 200, MSG_FOLDERS_RESULT, MSG_RESULT_ERROR, Mapper::Standard, true},
        {"destinations", CMD_GET_DESTINATIONS, 200, MSG_DESTINATIONS_RESULT, MSG_RESULT_ERROR, Mapper::Standard, true},
        {"delete destination", CMD_DELETE_DESTINATION, 204, MSG_DELETE_DESTINATION_RESULT, MSG_RESULT_ERROR,
         Mapper::Standard, false},
        {"plans summary", CMD_GET_PLANS_SUMMARY, 0, 0, 0, Mapper::Standard, true},
        {"plans", CMD_GET_PLANS, 200, MSG_PLANS_RESULT, MSG_RESULT_ERROR, Mapper::Standard, true},
        {"delete plans", CMD_DELETE_PLANS, 204, MSG_DELETE_PLANS_RESULT, MSG_RESULT_ERROR, Mapper::Standard, false},
        {"genres", CMD_GET_GENRES, 0, 0, 0, Mapper::Standard, true},
        {"certificate", CMD_GET_CERTIFICATE, 200, MSG_CERTIFICATE_RESULT, MSG_CERTIFICATE_ERROR, Mapper::Device, false},
        {"shadow", CMD_UPDATE_SHADOW, 200, MSG_SHADOW_RESULT, MSG_RESULT_ERROR, Mapper::Device, false},
    };
    return kCommands[index];
}

// Which command a request served, from its method and decoded path; -1 for
// a request that no command sends.
inline int forRequest(const std::string& method, const std::string& path)
{
    const std::string bookmarks = "/api/navi/bookmarks/v1/";
    const std::string plans = "/api/navi/driveplans/v1/plans";
    const auto startsWith = [&path](const std::string& prefix) { return path.compare(0, prefix.size(), prefix) == 0; };
    if (method == "POST") {
        if (path == "/api/navi/authorization/v1/local")
            return Login;
        if (path == "/prod/cert" || path == "/dev/cert")
            return Certificate;
        if (startsWith("/things/") && path.size() > 15 && path.compare(path.size() - 7, 7, "/shadow") == 0)
            return Shadow;
        return -1;
    }
    if (method == "DELETE") {
        if (startsWith(bookmarks + "destinations/"))
            return DeleteDestination;
        return path == plans ? DeletePlans : -1;
    }
    if (method != "GET")
        return -1;
    if (path == "/api/navi/info/v1/summary")
        return InfoSummary;
    if (path == "/api/navi/info/v1/genres")
        return Genres;
    if (path == bookmarks + "spots")
        return Spots;
    if (path == bookmarks + "spots/SM3,AF,396J")
        return SpotDetail;
    if (path == bookmarks + "folders")
        return Folders;
    if (path == bookmarks + "destinations")
        return Destinations;
    if (path == plans)
        return Plans;
    if (path == plans + "/summary")
        return PlansSummary;
    return -1;
}

} // namespace SoakCommands

#endif
