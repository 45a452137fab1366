#ifndef ORV_CLI_RESULT_H
#define ORV_CLI_RESULT_H

#include <string>

// Readable names of the library's result messages and result codes, and the
// client's exit statuses.
class OrvCliResult
{
public:
    enum Exit {
        kExitOk = 0,
        kExitInternal = 1,     // the kit could not be opened or took no command
        kExitUsage = 2,
        kExitTimeout = 3,      // no final answer in time
        kExitRefused = 4,      // refused before any network traffic (0x8071, 0x8075)
        kExitUndecodable = 5,  // a success body the records could not decode
        kExitDeviceOther = 6,  // device endpoint failure with result code 0 (or below 64)
        kExitDemoStep = 7      // a demo step did not show what it should
        // A failure with result code 64 to 201 exits with that code.
    };

    static std::string messageName(unsigned long id);
    // "E4011001 unauthorised" style text for a one-byte result code.
    static std::string codeName(unsigned code);
    static std::string refusalName(unsigned payload);
    static int exitFor(unsigned code);
};

#endif
