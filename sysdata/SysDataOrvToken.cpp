#include "sysdata/SysDataOrvToken.h"

#include "sysdata/OrvLockGuard.h"
#include "sysdata/SysDataProductFactory.h"
#include "sysdata/SystemInformation.h"
#include "util/OrvLogging.h"

#include <SaveFileAccess.h>

#include <cstdint>

namespace {

const char kTokenAccessKey[] = "TokenAccess";
const char kTokenExpirationKey[] = "TokenExpiration";

// Product defaults apply only when the record's selector holds this value.
const uint32_t kSelectorWithProductDefaults = 12;

// Default token per product kind; no product has one in this version.
const char* const kDefaultTokens[] = {
    "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
};
const uint32_t kProductKinds = sizeof(kDefaultTokens) / sizeof(kDefaultTokens[0]);

} // namespace

void SysDataOrvToken::access(const std::function<void(SaveFileAccessMetaText& file)>& steps) const
{
    OrvLockGuard<VxSync> guard(sync);
    if (!guard.isLocked()) {
        qCInfo(lcOrvToken, "OrvToken.ini: the token lock could not be taken");
        return;
    }
    SaveFileAccessMetaText* file = SysDataProductFactory::GetInstance()->getOrvTokenFile();
    if (file == nullptr) {
        qCInfo(lcOrvToken, "OrvToken.ini: no handle");
        return;
    }
    // Read as empty when it fails; the steps go on, so a write may still
    // put a file in place of whatever was there.
    if (file->FOpen() != 0)
        qCInfo(lcOrvToken, "OrvToken.ini could not be read");
    steps(*file);
    file->FClose();
}

void SysDataOrvToken::flush(SaveFileAccessMetaText& file)
{
    if (file.Flush() != 0)
        qCInfo(lcOrvToken, "OrvToken.ini could not be written");
}

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
    std::string result;
    access([&result](SaveFileAccessMetaText& file) {
        if (file.Get(kTokenAccessKey, &result) == 0)
            return;
        qCDebug(lcOrvToken, "TokenAccess missing: the product default is stored");
        result = productDefaultToken();
        file.Set(kTokenAccessKey, result);
        flush(file);
    });
    return result;
}

int SysDataOrvToken::getTokenExpiration()
{
    int expiration = 0;
    access([&expiration](SaveFileAccessMetaText& file) {
        if (file.Get(kTokenExpirationKey, &expiration) == 0)
            return;
        qCDebug(lcOrvToken, "TokenExpiration missing: 0 is stored");
        // Creates and initialises the system record if no process has yet.
        { SystemInformation information; }
        expiration = 0;
        file.Set(kTokenExpirationKey, 0);
        flush(file);
    });
    return expiration;
}

void SysDataOrvToken::storeTokenAccess(const std::string& token)
{
    access([&token](SaveFileAccessMetaText& file) {
        file.Set(kTokenAccessKey, token);
        flush(file);
    });
}

void SysDataOrvToken::storeTokenExpiration(int expiration)
{
    access([expiration](SaveFileAccessMetaText& file) {
        file.Set(kTokenExpirationKey, expiration);
        flush(file);
    });
}
