#ifndef VX_HOST_SINGLETON_FINALIZER_H
#define VX_HOST_SINGLETON_FINALIZER_H
#include "VxHostGuard.h"

// The host runs the singleton finaliser at process exit; tests may run it
// earlier.
class VxHostSingletonFinalizer
{
public:
    static void finalize();
};
#endif
