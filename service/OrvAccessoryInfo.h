#ifndef ORV_ACCESSORY_INFO_H
#define ORV_ACCESSORY_INFO_H

#include <cstdint>
#include <string>

// The head unit's identity as the last login command delivered it.
struct OrvAccessoryInfo
{
    uint32_t makerCode = 0;
    std::string model;
    std::string deviceNo;
    std::string loginId;
    std::string password;
};

#endif
