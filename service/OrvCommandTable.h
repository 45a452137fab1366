#ifndef ORV_COMMAND_TABLE_H
#define ORV_COMMAND_TABLE_H

#include <OrvKitCommands.h>

#include <cstdint>
#include <vector>

class OrvQtHttpRequest;

// What the service needs to know of a command beyond the public row: the
// request context it runs under, how its failures are mapped and which
// query parameters it reads from its block.
struct OrvCommandRow
{
    enum class Mapper { None, Server, Device };

    const OrvKitCommands::Command& command;
    unsigned int context;          // 1..13; its request slot is context - 1
    Mapper mapper;
    unsigned int otherSuccessStatus; // a second status that counts as success, or 0
    // Adds the command's own query parameters; null when it has none.
    void (*addParameters)(const std::vector<uint8_t>& data, OrvQtHttpRequest& request);

    bool succeeds(unsigned int httpStatus) const
    {
        return httpStatus == command.successStatus || (otherSuccessStatus != 0 && httpStatus == otherSuccessStatus);
    }

    static const OrvCommandRow* byCode(unsigned long code);
    static const OrvCommandRow* byContext(unsigned int context);
};

enum OrvContext : unsigned int {
    CONTEXT_LOGIN = 1,
    CONTEXT_CERTIFICATE = 12,
    CONTEXT_SHADOW = 13
};

#endif
