#include "VxHostSingletonFinalizer.h"

#include "VxFinalizerState.h"

void VxHostSingletonFinalizer::finalize()
{
    VxFinalizerState& finalizer = VxFinalizerState::instance();
    for (;;) {
        VxSingletonFinalizer::DestroyFunction function = nullptr;
        {
            std::lock_guard<std::mutex> lock(finalizer.mutex);
            if (finalizer.functions.empty())
                return;
            function = finalizer.functions.back();
            finalizer.functions.pop_back();
        }
        // Outside the lock: a destructor may use, and so register, another
        // singleton, which is then destroyed next.
        function();
    }
}
