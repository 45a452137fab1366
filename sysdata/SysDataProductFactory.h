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
    static constexpr size_t kFileCount = 31;
    static constexpr size_t kExtraFileCount = 7;
    static constexpr size_t kOrvTokenSlot = 27;

    // The "OrvToken.ini" handle, created on first use; null only when it
    // cannot be created.
    SaveFileAccessMetaText* getOrvTokenFile();

    // The handle in a slot of the first table, or null.
    SaveFileAccessBase* file(size_t index) const;
    // Puts a handle into a slot, deleting the one it replaces. The factory
    // owns the handle from then on.
    void setFile(size_t index, SaveFileAccessBase* handle);

private:
    SysDataProductFactory();
    ~SysDataProductFactory() override;

    SaveFileAccessBase* files[kFileCount];
    SaveFileAccessBase* extraFiles[kExtraFileCount];
};
#endif
