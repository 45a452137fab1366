#ifndef ORV_SIM_DEMO_H
#define ORV_SIM_DEMO_H

#include <ostream>
#include <string>
#include <vector>

class OrvCloudSimulator;
class OrvCliSession;

// The guided tour: a simulator on loopback, a fresh save directory, and
// every command of the kit from sign-in to the device shadow read back.
class OrvSimDemo
{
public:
    OrvSimDemo(std::ostream& out, std::ostream& err) : out(out), err(err) {}

    // keepFiles leaves the temporary directory in place. Returns the exit status.
    int run(int timeoutMs, bool keepFiles);

private:
    // Runs one subcommand through the kit; false when it did not succeed.
    bool step(OrvCliSession& session, const std::string& title, const std::vector<std::string>& args,
              std::vector<unsigned char>* answer = nullptr);
    bool check(bool condition, const std::string& what);
    bool waitForRoute(OrvCloudSimulator& simulator, const std::string& route, int& status);

    std::ostream& out;
    std::ostream& err;
    int timeoutMs = 10000;
    int stepNumber = 0;
    int failures = 0;
};

#endif
