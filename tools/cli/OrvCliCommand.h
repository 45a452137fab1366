#ifndef ORV_CLI_COMMAND_H
#define ORV_CLI_COMMAND_H

#include <OrvKit.h>
#include <OrvKitCommands.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

class OrvCliSession;

// One subcommand: its options, the command bytes it makes, and the wait for
// its final answer.
class OrvCliCommand
{
public:
    struct Settings
    {
        int timeoutMs = 35000;
        bool json = false;     // print success bodies as received
        bool verbose = false;  // show the bytes sent and every message
    };

    struct Identity
    {
        unsigned maker = 6;
        std::string model;
        std::string deviceNo;
        std::string loginId;
        std::string password;
    };

    // Sets the subcommand and the bytes it sends; false for an unknown name.
    bool prepare(const std::string& name, const std::vector<uint8_t>& bytes, const std::string& description);
    // Sends the command, waits for its final answer and prints it; returns the exit status.
    int run(OrvCliSession& session, const Settings& settings, std::ostream& out, std::ostream& err);

    const std::string& name() const { return command; }
    unsigned long code() const { return commandCode; }
    const std::vector<uint8_t>& bytes() const { return data; }
    // The final message of the last run.
    unsigned long answerId() const { return lastId; }
    const std::vector<uint8_t>& answer() const { return lastPayload; }
    // True when the library answers this command only with its acceptance.
    bool hasNoResult() const;
    // Certificate and position: they need the identity of a login in the same open period.
    bool isDeviceCommand() const;

    static std::vector<uint8_t> positionBytes(const OrvKitDat::CarPositions& position);
    static std::string hex(const std::vector<uint8_t>& bytes, size_t limit = 48);

private:
    const OrvKitCommands::Command* row = nullptr;
    std::string command;
    unsigned long commandCode = 0;
    std::vector<uint8_t> data;
    std::string sentText;
    unsigned long lastId = 0;
    std::vector<uint8_t> lastPayload;
};

#endif
