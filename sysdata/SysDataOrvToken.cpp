#include "sysdata/SysDataOrvToken.h"

#include "sysdata/SysDataProductFactory.h"
#include "sysdata/SystemInformation.h"

#include <cstdint>

namespace {

// Product defaults apply only when the record's selector holds this value.
const uint32_t kSelectorWithProductDefaults = 12;

// Default token per product kind; no product has one in this version.
const char* const kDefaultTokens[] = {
    "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
};
const uint32_t kProductKinds = sizeof(kDefaultTokens) / sizeof(kDefaultTokens[0]);

SaveFileAccessMetaText* openTokenFile()
{
    SaveFileAccessMetaText* file = SysDataProductFactory::GetInstance()->getOrvTokenFile();
    if (file != nullptr)
        file->FOpen();
    return file;
}

} // namespace

std::string SysDataOrvToken::productDefaultToken()
{
    SystemInformation information;
    uint32_t kind = 0;
    uint32_t selector = 0;
    const bool haveKind = information.getProductKind(kind);
    const bool haveSelector = information.getProductSelector(selector);
    if (haveKind && haveSelector && selector == kSelectorWithProductDefaults && kind < kProductKinds)
        return kDefaultTokens[kind];
    return std::string();
}

std::string SysDataOrvToken::getTokenAccess() const
{
    VxSyncGuard guard(sync);
    std::string result;
    SaveFileAccessMetaText* file = openTokenFile();
    if (file == nullptr)
        return result;
    if (file->Get(kTokenAccessKey, &result) != 0) {
        result = productDefaultToken();
        file->Set(kTokenAccessKey, result);
        file->Flush();
    }
    file->FClose();
    return result;
}

bool SysDataOrvToken::readTokenExpiration(int& out) const
{
    VxSyncGuard guard(sync);
    SaveFileAccessMetaText* file = openTokenFile();
    if (file == nullptr)
        return false;
    int value = 0;
    const bool found = file->Get(kTokenExpirationKey, &value) == 0;
    file->FClose();
    if (found)
        out = value;
    return found;
}

void SysDataOrvToken::storeTokenExpiration(int value)
{
    VxSyncGuard guard(sync);
    SaveFileAccessMetaText* file = openTokenFile();
    if (file == nullptr)
        return;
    file->Set(kTokenExpirationKey, value);
    file->Flush();
    file->FClose();
}

void SysDataOrvToken::storeTokenAccess(const std::string& token)
{
    VxSyncGuard guard(sync);
    SaveFileAccessMetaText* file = openTokenFile();
    if (file == nullptr)
        return;
    file->Set(kTokenAccessKey, token);
    file->Flush();
    file->FClose();
}

VxSync& SysDataOrvToken::lock()
{
    return sync;
}

SaveFileAccessMetaText* SysDataOrvToken::tokenFile()
{
    return SysDataProductFactory::GetInstance()->getOrvTokenFile();
}
