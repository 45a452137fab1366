#ifndef ORV_ACCESSORY_INFO_H
#define ORV_ACCESSORY_INFO_H

#include <cstdint>
#include <string>
#include <vector>

// The head unit's identity as the last login command delivered it.
struct OrvAccessoryInfo
{
    uint32_t makerCode = 0;
    std::string model;
    std::string deviceNo;
    std::string loginId;
    std::string password;

    // Reads a login block: the maker byte, then four zero-terminated texts.
    // Any text missing or empty gives the empty identity; nothing is kept
    // from a partial block.
    static OrvAccessoryInfo fromBlock(const std::vector<uint8_t>& data);
};

#endif
