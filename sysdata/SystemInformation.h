#ifndef SYSTEM_INFORMATION_H
#define SYSTEM_INFORMATION_H
#include "sysdata/SysInfoStruct.h"
#include "sysdata/VxSharedMemory.h"

#include <cstdint>

// The head unit's system information record, mapped from shared memory
// "SystemInfo". The first instance to see the region fills the text-field
// defaults. Each read takes the region's named lock.
class SystemInformation : public VxSharedMemory<SysInfoStruct, 1>
{
public:
    SystemInformation();
    ~SystemInformation() override;

    // False when the region is not mapped.
    bool getProductKind(uint32_t& kind);
    bool getProductSelector(uint32_t& selector);

private:
    friend class SystemInformationTest;

    // Maps another region of the same layout.
    explicit SystemInformation(const char* regionName);

    void writeDefaults();
    bool readWord(size_t offset, uint32_t& value);
};
#endif
