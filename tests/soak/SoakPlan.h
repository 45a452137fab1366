#ifndef ORVKIT_SOAK_PLAN_H
#define ORVKIT_SOAK_PLAN_H

#include "TestHttpsServer.h"

#include <OrvKitDef.h>
#include <OrvKitCommands.h>
#include <OrvKitInbox.h>

#include <mutex>
#include <random>
#include <regex>
#include <string>
#include <vector>

// The soak's commands, and its server side: each request is answered with a
// fault drawn at random (a plain success included), and the plan knows the one
// result that answer calls for. Each kind draws from a generator of its own, so
// a seed replays the same faults in whatever order a wave's requests arrive.
namespace Soak {

using Message = OrvKitInbox::Message;

enum Kind { Login, InfoSummary, Spots, SpotDetail, Folders, Destinations, DeleteDestination,
            PlansSummary, Plans, DeletePlans, Genres, Certificate, Shadow, KindCount };

// A kind's row of the command table, as the soak's server side reads it.
struct Command
{
    unsigned long code;
    const char* method;
    std::regex path;         // the table's path (either server's), a placeholder matching any id
    unsigned long successId; // 0: the completion sends no message at all
    unsigned long failureId;
    bool device;             // the certificate and shadow endpoints' error mapping
};

inline const Command& command(int kind)
{
    using namespace OrvKitDef;
    static const unsigned long kCodes[KindCount] = {
        CMD_LOGIN, CMD_GET_INFO_SUMMARY, CMD_GET_SPOTS, CMD_GET_SPOT_DETAIL, CMD_GET_FOLDERS,
        CMD_GET_DESTINATIONS, CMD_DELETE_DESTINATION, CMD_GET_PLANS_SUMMARY, CMD_GET_PLANS, CMD_DELETE_PLANS,
        CMD_GET_GENRES, CMD_GET_CERTIFICATE, CMD_UPDATE_SHADOW};
    static const std::vector<Command> kCommands = [] {
        const std::regex placeholder("\\{[a-z]+\\}");
        std::vector<Command> rows;
        for (unsigned long code : kCodes) {
            const OrvKitCommands::Command& row = *OrvKitCommands::findCommand(code);
            const std::string paths = std::string("(") + row.path + "|" + row.testPath + ")";
            const bool device = row.origin == OrvKitCommands::Origin::Certificate ||
                                row.origin == OrvKitCommands::Origin::DeviceShadow;
            rows.push_back({code, OrvKitCommands::methodName(row.method),
                            std::regex(std::regex_replace(paths, placeholder, ".+")),
                            row.passedOn ? row.success : 0, row.passedOn ? row.failure : 0, device});
        }
        return rows;
    }();
    return kCommands[static_cast<size_t>(kind)];
}

class FaultPlan
{
public:
    explicit FaultPlan(unsigned int seed)
    {
        for (unsigned int kind = 0; kind < KindCount; ++kind) random.emplace_back(seed + kind);
        clear();
    }

    // Forgets what was served: a wave asks only about its own requests. One
    // that the server never answers (a failed handshake, a kept-alive
    // connection closed as it was sent, a cut) is owed the transport failure.
    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex);
        owing.clear();
        using namespace OrvKitDef;
        for (int kind = 0; kind < KindCount; ++kind) {
            const uint8_t code = kind == Login ? RESULT_LOGIN_NETWORK_FAILURE : RESULT_NETWORK_FAILURE;
            owing.push_back(failure(kind, command(kind).device ? uint8_t(DEVICE_RESULT_UNCLASSIFIED) : code));
        }
    }

    // The result owed to the latest request of this kind.
    Message owed(int kind) const { std::lock_guard<std::mutex> lock(mutex); return owing[static_cast<size_t>(kind)]; }

    TestHttpsServer::Reply answer(const TestHttpsServer::Request& request)
    {
        using Reply = TestHttpsServer::Reply;
        using namespace OrvKitDef;
        enum { OwnSuccess = 1, Unusable, Cut };
        struct Fault { int weight, status; const char* body; uint8_t standard, device; }; // weights add up to 100
        static const Fault kFaults[] = {
            {55, OwnSuccess, "", 0, 0},
            {10, Unusable, "", RESULT_REPLY_NOT_USABLE, DEVICE_RESULT_UNCLASSIFIED}, // 200, but not JSON or a token for another maker
            {5, 500, "{\"error\":{\"code\":\"E5001001\"}}", RESULT_SERVER_ERROR, DEVICE_RESULT_SERVER_ERROR},
            {4, 500, "<html><body>Internal Server Error</body></html>", RESULT_UNCLASSIFIED, DEVICE_RESULT_SERVER_ERROR},
            {4, 401, "{\"error\":{\"code\":\"E4019002\"}}", RESULT_TOKEN_EXPIRED, DEVICE_RESULT_UNAUTHORIZED},
            {4, 404, "{\"error\":{\"code\":\"E4041001\"}}", RESULT_NOT_FOUND, DEVICE_RESULT_UNCLASSIFIED},
            {3, 204, "", RESULT_UNCLASSIFIED, DEVICE_RESULT_UNCLASSIFIED}, // the success status of a delete
            {4, 502, "", RESULT_UNCLASSIFIED, DEVICE_RESULT_UNCLASSIFIED},
            {3, 302, "", RESULT_UNCLASSIFIED, DEVICE_RESULT_UNCLASSIFIED},
            {8, Cut, "", 0, 0},
        };
        std::lock_guard<std::mutex> lock(mutex);
        int kind = 0;
        while (kind < KindCount && (request.method != command(kind).method ||
                                    !std::regex_match(request.path, command(kind).path)))
            ++kind;
        if (kind == KindCount)
            return Reply::withStatus(404); // no command sends it: a result then differs from the one owed
        std::mt19937& r = random[static_cast<size_t>(kind)];
        const Fault* fault = kFaults;
        for (int draw = static_cast<int>(r() % 100); draw >= fault->weight; draw -= (fault++)->weight) {}
        const bool isDelete = command(kind).method[0] == 'D';
        // 204 is a delete's success; a certificate that does not parse gets no answer, which a wave cannot wait for.
        if ((fault->status == Unusable && kind == Certificate) || (fault->status == 204 && isDelete))
            fault = &kFaults[2];
        Message& out = owing[static_cast<size_t>(kind)];
        if (fault->status != Cut)
            out = failure(kind, command(kind).device ? fault->device : fault->standard);
        Reply reply = fault->status == 302 ? Reply::redirect("https://127.0.0.1:1/moved") : Reply::withStatus(fault->status, fault->body);
        if (fault->status == OwnSuccess || fault->status == Unusable) {
            // Read bodies pass unparsed; a login must parse, a delete wants 204.
            const bool own = fault->status == OwnSuccess;
            const std::string body = !own ? (kind == Login ? "{\"access_token\":\"t\",\"role\":\"other\"}" : "{\"spots\": [{\"id")
                                          : isDelete ? "" : successBody(kind, r);
            if (own || (kind != Login && !isDelete))
                out = Message{command(kind).successId, std::vector<uint8_t>(body.begin(), body.end())};
            reply = Reply::ok(body);
            reply.status = own && isDelete ? 204 : own && kind == Certificate && r() % 2 ? 201 : 200;
        } else if (fault->status == Cut) {
            const std::string body = successBody(kind, r) + std::string(40, ' ');
            reply = Reply::truncated(body, static_cast<long long>(body.size() / 2));
        }
        return r() % 4 == 0 ? Reply::delayed(1 + static_cast<int>(r() % 30), reply) : reply;
    }

private:
    static Message failure(int kind, uint8_t code) { return Message{command(kind).failureId, std::vector<uint8_t>(1, code)}; }

    static std::string successBody(int kind, std::mt19937& r)
    {
        const std::string n = std::to_string(r());
        if (kind == Login) // already expired, so that every login asks the server again
            return "{\"access_token\":\"token-" + n + "\",\"expiration_date\":1,\"role\":\"tlv\"}";
        if (kind == Certificate)
            return "{\"caCertificatePem\":\"ca-" + n + "\",\"certificatePem\":\"c-" + n + "\",\"privateKey\":\"k-" + n + "\"}";
        std::string body = "{\"serial\":" + n + ",\"spots\":[{\"id\":\"SM3,AF,396J\",\"name\":\"東京スカイツリー\"}";
        for (int i = r() % 20 == 0 ? 0 : 3000; i < 3000; ++i) // now and then far more than one read of the transport
            body += ",{\"id\":\"S" + std::to_string(i) + "\",\"memo\":\"展望デッキは混むので平日の朝に\"}";
        return body + "]}";
    }

    mutable std::mutex mutex;
    std::vector<std::mt19937> random;
    std::vector<Message> owing;
};

} // namespace Soak

#endif
