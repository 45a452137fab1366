#include "VxSingleton.h"

#include <cstdlib>
#include <mutex>
#include <vector>

namespace {

struct FinalizerState {
    std::mutex mutex;
    std::vector<VxSingletonFinalizer::DestroyFunction> functions;
    bool hooked = false;
};

// Never destroyed, so that the exit hook finds it whatever the order of
// static destruction.
FinalizerState& state()
{
    static FinalizerState* const instance = new FinalizerState();
    return *instance;
}

void finalizeAtExit()
{
    VxSingletonFinalizer::finalize();
}

} // namespace

void VxSingletonFinalizer::addDestroyFunction(DestroyFunction function)
{
    if (function == nullptr)
        return;
    FinalizerState& finalizer = state();
    std::lock_guard<std::mutex> lock(finalizer.mutex);
    finalizer.functions.push_back(function);
    if (!finalizer.hooked) {
        finalizer.hooked = true;
        std::atexit(&finalizeAtExit);
    }
}

void VxSingletonFinalizer::finalize()
{
    FinalizerState& finalizer = state();
    for (;;) {
        DestroyFunction function = nullptr;
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
