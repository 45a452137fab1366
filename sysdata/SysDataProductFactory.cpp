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
