#ifndef VX_FINALIZER_STATE_H
#define VX_FINALIZER_STATE_H
#include "VxSingleton.h"

#include <mutex>
#include <vector>

// The destroy functions that VxSingletonFinalizer collects and
// VxHostSingletonFinalizer runs.
struct VxFinalizerState {
    std::mutex mutex;
    std::vector<VxSingletonFinalizer::DestroyFunction> functions;
    bool hooked = false;

    // Never destroyed, so that the exit hook finds it whatever the order of
    // static destruction.
    static VxFinalizerState& instance()
    {
        static VxFinalizerState* const state = new VxFinalizerState();
        return *state;
    }
};
#endif
