#ifndef ORV_CLI_PRINTER_H
#define ORV_CLI_PRINTER_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

// Decodes a success body with the OrvKitDat record of its command and
// prints it for a person: tables for lists, key/value lines otherwise.
class OrvCliPrinter
{
public:
    // False when the record does not accept the body.
    static bool print(unsigned long commandCode, const std::vector<uint8_t>& body, std::ostream& out);

    static std::string coordinate(double value);
    static std::string epochText(uint32_t seconds);
};

#endif
