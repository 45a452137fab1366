#ifndef ORV_SIM_FAULT_H
#define ORV_SIM_FAULT_H

#include <chrono>
#include <string>
#include <vector>

// What the simulator does instead of (or before) answering a route:
// wait, drop the connection, answer with an error status and code, or let
// the link go dead for a while.
class OrvSimFault
{
public:
    int status = 0;         // 0: answer normally (after the delay)
    std::string code;       // error code in the body; empty: the usual one for status
    bool emptyBody = false; // answer status with no body at all
    int delayMs = 0;
    bool drop = false;      // close the connection without an answer
    int times = -1;         // requests it applies to; -1: all
    // For this long from the moment the rule is set, the link to the route's
    // server is dead without a reset: a request for the route and every new
    // connection to that server (a TLS handshake does not name its route yet)
    // are accepted, swallowed and never answered until the client closes them.
    int deadMs = 0;
    std::chrono::steady_clock::time_point deadUntil; // set by the simulator

    bool isEmpty() const { return status == 0 && delayMs == 0 && !drop && deadMs == 0; }

    // "ROUTE=ITEM[,ITEM...]" where ITEM is STATUS, STATUS:CODE, STATUS:- (no
    // body), delay=MS, drop, dead=MS or times=N. ROUTE is one of routes() or "*".
    static bool parse(const std::string& text, std::string& route, OrvSimFault& fault, std::string& error);

    // The items in the same grammar, e.g. "503:I5031001,delay=200,times=2".
    std::string text() const;

    static const std::vector<std::string>& routes();
    static bool isRoute(const std::string& route);
    static bool isShadowRoute(const std::string& route);

    // The code a real server sends with status ("" when it sends none).
    static std::string usualCode(int status);
};

#endif
