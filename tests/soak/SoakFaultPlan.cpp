#include "SoakFaultPlan.h"

#include "SoakCommands.h"

#include <OrvKitDef.h>

#include <cstdint>

using namespace SoakCommands;
using Message = RecordingListener::Message;

namespace {

struct FaultRow
{
    const char* name;
    int weight;
    int status;
    const char* body;
    uint8_t standardCode; // result code of the standard mapper
    uint8_t deviceCode;   // result code of the device mapper
};

// Codes from the server error mapping; Ok, WrongStatus, Malformed, WrongRole
// and Cut depend on the command and are worked out in expected().
const FaultRow kFaults[SoakFaultPlan::FaultCount] = {
    {"ok", 40, 200, nullptr, 0, 0},
    {"wrong success status", 3, 0, nullptr, 0, 0},
    {"malformed JSON", 5, 200, "{\"spots\": [{\"id\": \"SM3,AF", 0, 0},
    {"wrong role", 3, 200, nullptr, 0, 0},
    {"500 E5001001", 4, 500, "{\"error\":{\"code\":\"E5001001\",\"message\":\"internal\"}}", 0x90, 0xC7},
    {"503 I5031001", 4, 503, "{\"error\":{\"code\":\"I5031001\",\"message\":\"maintenance\"}}", 0xA0, 0xC8},
    {"502", 3, 502, "", 0xB2, 0x00},
    {"500 HTML", 3, 500, "<html><body>Internal Server Error</body></html>", 0xB2, 0xC7},
    {"401 E4011001", 3, 401, "{\"error\":{\"code\":\"E4011001\",\"message\":\"expired\"}}", 0x50, 0xC1},
    {"401 E4019", 2, 401, "{\"error\":{\"code\":\"E4019002\",\"message\":\"revoked\"}}", 0x51, 0xC1},
    {"404 E4041001", 3, 404, "{\"error\":{\"code\":\"E4041001\",\"message\":\"no such item\"}}", 0x80, 0x00},
    {"404 short code", 2, 404, "{\"error\":{\"code\":\"E404\"}}", 0x81, 0x00},
    {"400 E4001002", 3, 400, "{\"error\":{\"code\":\"E4001002\",\"message\":\"bad parameter\"}}", 0x61, 0xC0},
    {"403", 3, 403, "", 0x70, 0x00},
    {"429", 3, 429, "", 0xB2, 0xC6},
    {"302", 3, 302, "", 0xB2, 0x00},
    {"cut", 8, 200, nullptr, 0, 0},
};

const int kDelayPercent = 25;
const int kMaxDelayMs = 30;
const int kBigBodyPercent = 5;
const size_t kBigBodyEntries = 3000;

Message failure(int command, uint8_t code)
{
    return Message{SoakCommands::command(command).failureId, std::vector<uint8_t>(1, code)};
}

bool isDelete(int command)
{
    return command == DeleteDestination || command == DeletePlans;
}

} // namespace

SoakFaultPlan::SoakFaultPlan(unsigned int seed)
    : random(seed), serial(0), answered(Count, false), latest(Count), counts(FaultCount, 0), unknown(0)
{
}

const char* SoakFaultPlan::name(Fault fault) { return kFaults[fault].name; }

SoakFaultPlan::Fault SoakFaultPlan::pick(int command)
{
    int total = 0;
    for (const FaultRow& row : kFaults)
        total += row.weight;
    int draw = std::uniform_int_distribution<int>(0, total - 1)(random);
    Fault fault = Ok;
    for (int i = 0; i < FaultCount; ++i) {
        draw -= kFaults[i].weight;
        if (draw < 0) {
            fault = static_cast<Fault>(i);
            break;
        }
    }
    if (fault == WrongRole && command != Login)
        fault = Ok;
    // A certificate that does not parse is answered with silence, which a
    // command-by-command check cannot wait for.
    if (fault == Malformed && command == Certificate)
        fault = ServerError;
    return fault;
}

std::string SoakFaultPlan::successBody(int command)
{
    const std::string n = std::to_string(++serial);
    switch (command) {
    case Login:
        // Already expired, so that every login asks the server again.
        return "{\"access_token\":\"token-" + n + "\",\"refresh_token\":\"refresh-" + n +
               "\",\"expires_in\":3600,\"expiration_date\":1,\"role\":\"tlv\"}";
    case Certificate:
        return "{\"caCertificatePem\":\"ca-" + n + "\",\"certificatePem\":\"certificate-" + n +
               "\",\"privateKey\":\"key-" + n + "\"}";
    case Shadow:
        return "{\"state\":{\"reported\":{\"positions\":[]}},\"version\":" + n + "}";
    case DeleteDestination:
    case DeletePlans:
        return std::string();
    case InfoSummary:
        return "{\"spot\":{\"count\":10,\"updatedAt\":\"2024-06-08T07:10:00+09:00\"},\"folder\":{\"count\":4,"
               "\"updatedAt\":\"2024-06-01T19:05:44+09:00\"},\"serial\":" + n + "}";
    default:
        break;
    }
    std::string body = "{\"all\":1,\"number\":1,\"serial\":" + n +
                       ",\"spots\":[{\"id\":\"SM3,AF,396J\",\"name\":\"東京スカイツリー\",\"lon\":139.8107,\"lat\":35.710063}";
    // Now and then a body far larger than one read of the transport.
    if (std::uniform_int_distribution<int>(0, 99)(random) < kBigBodyPercent)
        for (size_t i = 0; i < kBigBodyEntries; ++i)
            body += ",{\"id\":\"S" + std::to_string(i) + "\",\"memo\":\"展望デッキは混むので平日の朝に\"}";
    return body + "]}";
}

TestHttpsServer::Reply SoakFaultPlan::answer(const TestHttpsServer::Request& request)
{
    std::lock_guard<std::mutex> lock(mutex);
    const int command = forRequest(request.method, request.path);
    if (command < 0) {
        ++unknown;
        return TestHttpsServer::Reply::withStatus(404);
    }
    const Fault fault = pick(command);
    ++counts[fault];
    const FaultRow& row = kFaults[fault];
    TestHttpsServer::Reply reply;
    Answer answer{fault, std::string()};
    switch (fault) {
    case Ok:
        answer.body = successBody(command);
        reply = TestHttpsServer::Reply::ok(answer.body);
        if (isDelete(command))
            reply.status = 204;
        else if (command == Certificate && std::uniform_int_distribution<int>(0, 1)(random) == 1)
            reply.status = 201;
        break;
    case WrongStatus:
        // A delete answered like a read, anything else like a delete.
        reply = isDelete(command) ? TestHttpsServer::Reply::ok("{}") : TestHttpsServer::Reply::withStatus(204);
        break;
    case WrongRole:
        reply = TestHttpsServer::Reply::ok("{\"access_token\":\"t\",\"expiration_date\":1,\"role\":\"other\"}");
        break;
    case Redirect:
        reply = TestHttpsServer::Reply::redirect("https://127.0.0.1:1/moved");
        break;
    case Cut: {
        const std::string body = successBody(command) + "                                        ";
        reply = TestHttpsServer::Reply::truncated(body, static_cast<long long>(body.size() / 2));
        break;
    }
    default:
        answer.body = row.body;
        reply = TestHttpsServer::Reply::withStatus(row.status, row.body);
        break;
    }
    if (std::uniform_int_distribution<int>(0, 99)(random) < kDelayPercent)
        reply = TestHttpsServer::Reply::delayed(std::uniform_int_distribution<int>(1, kMaxDelayMs)(random), reply);
    answered[command] = true;
    latest[command] = answer;
    return reply;
}

void SoakFaultPlan::clearLog()
{
    std::lock_guard<std::mutex> lock(mutex);
    answered.assign(Count, false);
}

bool SoakFaultPlan::lastAnswer(int command, Answer& out) const
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!answered[command])
        return false;
    out = latest[command];
    return true;
}


Message SoakFaultPlan::expected(int command, const Answer& answer)
{
    const Command& info = SoakCommands::command(command);
    const bool device = info.device;
    switch (answer.fault) {
    case Ok:
        return Message{info.successId, std::vector<uint8_t>(answer.body.begin(), answer.body.end())};
    case Malformed:
        // Read bodies pass unparsed; a login must parse, a delete wants 204.
        if (command != Login && !isDelete(command))
            return Message{info.successId, std::vector<uint8_t>(answer.body.begin(), answer.body.end())};
        return failure(command, 0x40);
    case WrongRole:
        return failure(command, 0x40);
    case WrongStatus:
        if (device)
            return failure(command, 0x00);
        return failure(command, isDelete(command) ? 0x40 : 0xB2);
    case Cut:
        return networkFailure(command);
    default:
        return failure(command, device ? kFaults[answer.fault].deviceCode : kFaults[answer.fault].standardCode);
    }
}

Message SoakFaultPlan::networkFailure(int command)
{
    if (SoakCommands::command(command).device)
        return failure(command, 0x00);
    return failure(command, command == Login ? 0xB0 : 0xB1);
}
