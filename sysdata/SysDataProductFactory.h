#ifndef SYS_DATA_PRODUCT_FACTORY_H
#define SYS_DATA_PRODUCT_FACTORY_H
#include <SaveFileAccess.h>
#include <VxSingleton.h>

#include <cstddef>

// Process-wide owner of the product data's save-file handles. Callers
// serialise access to a handle with the lock of the data it holds.
class SysDataProductFactory : public VxSingleton<SysDataProductFactory>
{
    friend class VxSingleton<SysDataProductFactory>;

public:
    // The "OrvToken.ini" handle, created on first use; null only when it
    // cannot be created. Use it under SysDataOrvToken's lock.
    SaveFileAccessMetaText* getOrvTokenFile();

private:
    friend class SysDataOrvTokenTest;

    static constexpr size_t kFileCount = 31;
    static constexpr size_t kExtraFileCount = 7;
    static constexpr size_t kOrvTokenSlot = 27;

    SysDataProductFactory();
    ~SysDataProductFactory() override;

    SaveFileAccessBase* files[kFileCount];
    SaveFileAccessBase* extraFiles[kExtraFileCount];
};
#endif
