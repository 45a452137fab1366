#ifndef ORV_CLI_CHAIN_H
#define ORV_CLI_CHAIN_H

#include "OrvCliCommand.h"

#include <ostream>
#include <vector>

class OrvCliSession;

// Runs the subcommands of one call in order on one open kit. After a
// time-out the kit is reopened before the next subcommand, so that the late
// answer cannot be taken for the next one's, and the earlier login and
// certificate are given to the fresh kit again.
class OrvCliChain
{
public:
    OrvCliChain(OrvCliSession& session, const OrvCliCommand::Settings& settings, bool keepGoing, std::ostream& out,
                std::ostream& err);

    // The exit status: that of the last subcommand that failed, else 0.
    int run(std::vector<OrvCliCommand>& commands);

private:
    // Replays the login and the certificate that succeeded before; false when the kit did not reopen.
    bool reopen();
    void hint(const OrvCliCommand& command) const;

    OrvCliSession& session;
    OrvCliCommand::Settings settings;
    bool keepGoing;
    std::ostream& out;
    std::ostream& err;
    const OrvCliCommand* login = nullptr;       // the last login that succeeded
    const OrvCliCommand* certificate = nullptr; // the certificate fetched since then
};

#endif
