#ifndef ORV_SIM_FAULT_H
#define ORV_SIM_FAULT_H

#include <string>
#include <vector>

// What the simulator does instead of (or before) answering a route:
// wait, drop the connection, or answer with an error status and code.
class OrvSimFault
{
public:
    int status = 0;         // 0: answer normally (after the delay)
    std::string code;       // error code in the body; empty: the usual one for status
    bool emptyBody = false; // answer status with no body at all
    int delayMs = 0;
    bool drop = false;      // close the connection without an answer
    int times = -1;         // requests it applies to; -1: all

    bool isEmpty() const { return status == 0 && delayMs == 0 && !drop; }

    // "ROUTE=ITEM[,ITEM...]" where ITEM is STATUS, STATUS:CODE, STATUS:- (no
    // body), delay=MS, drop or times=N. ROUTE is one of routes() or "*".
    static bool parse(const std::string& text, std::string& route, OrvSimFault& fault, std::string& error);

    // The items in the same grammar, e.g. "503:I5031001,delay=200,times=2".
    std::string text() const;

    static const std::vector<std::string>& routes();
    static bool isRoute(const std::string& route);

    // The code a real server sends with status ("" when it sends none).
    static std::string usualCode(int status);
};

#endif
