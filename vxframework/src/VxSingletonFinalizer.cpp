#include "VxSingleton.h"

#include "VxFinalizerState.h"
#include "VxHostSingletonFinalizer.h"

#include <cstdlib>

namespace {

void finalizeAtExit()
{
    VxHostSingletonFinalizer::finalize();
}

} // namespace

void VxSingletonFinalizer::addDestroyFunction(DestroyFunction function)
{
    if (function == nullptr)
        return;
    VxFinalizerState& finalizer = VxFinalizerState::instance();
    std::lock_guard<std::mutex> lock(finalizer.mutex);
    finalizer.functions.push_back(function);
    if (!finalizer.hooked) {
        finalizer.hooked = true;
        std::atexit(&finalizeAtExit);
    }
}
