#ifndef ORVKIT_SOAK_FAULT_PLAN_H
#define ORVKIT_SOAK_FAULT_PLAN_H

#include "RecordingListener.h"
#include "TestHttpsServer.h"

#include <mutex>
#include <random>
#include <string>
#include <vector>

// The server side of the soak: answers every request with a fault drawn at
// random (a plain success included), remembers what it answered per
// command, and knows the one result message each answer must produce.
class SoakFaultPlan
{
public:
    enum Fault {
        Ok,                // the command's success status and a realistic body
        WrongStatus,       // a success, but with the status another command expects
        Malformed,         // 200 with a body that is not JSON
        WrongRole,         // login only: a token for another maker
        ServerError,       // 500 E5001001
        Unavailable,       // 503 I5031001
        BadGateway,        // 502, no body
        HtmlError,         // 500 with an HTML page
        TokenExpired,      // 401 E4011001
        TokenFamily,       // 401 E4019...
        NotFound,          // 404 E4041001
        NotFoundShortCode, // 404 with a code of the wrong length
        BadRequest,        // 400 E4001002
        Forbidden,         // 403
        TooMany,           // 429
        Redirect,          // 302, never followed
        Cut,               // status and half the body, then the connection is cut
        FaultCount
    };

    struct Answer
    {
        Fault fault;
        std::string body;
    };

    explicit SoakFaultPlan(unsigned int seed);

    // The handler of every route of the faulty server.
    TestHttpsServer::Reply answer(const TestHttpsServer::Request& request);

    // Forgets what was answered so far.
    void clearLog();
    // What answered the latest request of this command since clearLog().
    bool lastAnswer(int command, Answer& out) const;
    int unknownRequests() const { std::lock_guard<std::mutex> lock(mutex); return unknown; }
    std::vector<int> faultCounts() const { std::lock_guard<std::mutex> lock(mutex); return counts; }
    static const char* name(Fault fault);

    // The result message owed for a command that got this answer.
    static RecordingListener::Message expected(int command, const Answer& answer);
    // ... for a command whose connection failed before any HTTP.
    static RecordingListener::Message networkFailure(int command);

private:
    Fault pick(int command);
    std::string successBody(int command);

    mutable std::mutex mutex;
    std::mt19937 random;
    unsigned int serial;
    std::vector<bool> answered;
    std::vector<Answer> latest;
    std::vector<int> counts;
    int unknown;
};

#endif
