#include "service/OrvAccessoryInfo.h"

#include "util/OrvArrayUtils.h"

OrvAccessoryInfo OrvAccessoryInfo::fromBlock(const std::vector<uint8_t>& data)
{
    std::string fields[4];
    unsigned int offset = 1;
    for (std::string& field : fields) {
        OrvArrayUtils::byteArrayToString(data, field, offset);
        if (field.empty())
            return OrvAccessoryInfo();
        offset += static_cast<unsigned int>(field.size()) + 1;
    }
    OrvAccessoryInfo info;
    info.makerCode = data[0];
    info.model = fields[0];
    info.deviceNo = fields[1];
    info.loginId = fields[2];
    info.password = fields[3];
    return info;
}
