#include "sysdata/SysDataProductFactory.h"

SysDataProductFactory::SysDataProductFactory() : files(), extraFiles()
{
}

SysDataProductFactory::~SysDataProductFactory()
{
    for (SaveFileAccessBase*& handle : files) {
        delete handle;
        handle = nullptr;
    }
    for (SaveFileAccessBase*& handle : extraFiles) {
        delete handle;
        handle = nullptr;
    }
}

SaveFileAccessMetaText* SysDataProductFactory::getOrvTokenFile()
{
    SaveFileAccessBase*& slot = files[kOrvTokenSlot];
    if (slot == nullptr)
        slot = SaveFileAccessFactory::GetInstance()->CreateMetaText("OrvToken.ini", "a+");
    return dynamic_cast<SaveFileAccessMetaText*>(slot);
}

SaveFileAccessBase* SysDataProductFactory::file(size_t index) const
{
    return index < kFileCount ? files[index] : nullptr;
}

void SysDataProductFactory::setFile(size_t index, SaveFileAccessBase* handle)
{
    if (index >= kFileCount) {
        delete handle;
        return;
    }
    if (files[index] != handle)
        delete files[index];
    files[index] = handle;
}
