#include "sysdata/SystemInformation.h"

#include "sysdata/OrvLockGuard.h"

#include <cstring>

SystemInformation::SystemInformation() : SystemInformation("SystemInfo")
{
}

SystemInformation::SystemInformation(const char* regionName) : VxSharedMemory<SysInfoStruct, 1>(regionName)
{
    writeDefaults();
}

SystemInformation::~SystemInformation() = default;

void SystemInformation::writeDefaults()
{
    if (!isMapped())
        return;
    OrvLockGuard<VxSharedSyncObject> guard(*this);
    if (!guard.isLocked())
        return;
    unsigned char* record = bytes();
    if (record[SysInfoStruct::kDefaultsWrittenOffset] != 0)
        return;
    for (size_t offset : SysInfoStruct::kTextFieldOffsets)
        record[offset] = '-';
    record[SysInfoStruct::kDefaultsWrittenOffset] = 1;
}

bool SystemInformation::readWord(size_t offset, uint32_t& value)
{
    if (!isMapped())
        return false;
    OrvLockGuard<VxSharedSyncObject> guard(*this);
    if (!guard.isLocked())
        return false;
    std::memcpy(&value, bytes() + offset, sizeof(value));
    return true;
}

bool SystemInformation::getProductKind(uint32_t& kind)
{
    return readWord(SysInfoStruct::kProductKindOffset, kind);
}

bool SystemInformation::getProductSelector(uint32_t& selector)
{
    return readWord(SysInfoStruct::kProductSelectorOffset, selector);
}
