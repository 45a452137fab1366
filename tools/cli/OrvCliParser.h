#ifndef ORV_CLI_PARSER_H
#define ORV_CLI_PARSER_H

#include "OrvCliCommand.h"

#include <OrvKit.h>

#include <ostream>
#include <string>
#include <vector>

// The command line: options of the run, then a chain of subcommands
// separated by "--". Each link is parsed on its own by CLI11, so every
// subcommand has its own --help and its own error messages.
class OrvCliParser
{
public:
    struct Run
    {
        OrvKitPreferences preferences;
        OrvCliCommand::Settings settings;
        std::string saveDir;
        bool keepGoing = false;
        std::vector<OrvCliCommand> commands;
    };

    // kContinue when the run should go ahead; otherwise the exit status after
    // help (0) or a usage error (2), both already printed.
    static const int kContinue = -1;
    static int parse(const std::vector<std::string>& args, Run& run, std::ostream& out, std::ostream& err);

    // One link without the run's options, e.g. {"spots", "--count", "5"}.
    static bool parseCommand(const std::vector<std::string>& args, OrvCliCommand& command, std::string& error);
};

#endif
