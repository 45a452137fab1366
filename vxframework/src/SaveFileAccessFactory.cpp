#include "SaveFileAccess.h"

#include <new>

SaveFileAccessFactory* SaveFileAccessFactory::GetInstance()
{
    static SaveFileAccessFactory instance;
    return &instance;
}

SaveFileAccessMetaText* SaveFileAccessFactory::CreateMetaText(const char* name, const char* mode)
{
    if (name == nullptr || name[0] == '\0')
        return nullptr;
    return new (std::nothrow) SaveFileAccessMetaText(name, mode != nullptr ? mode : "r");
}
