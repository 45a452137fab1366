#ifndef VX_DBG_OUTPUT_STATE_H
#define VX_DBG_OUTPUT_STATE_H
#include "VxHostDbgOutput.h"

#include <atomic>
#include <memory>
#include <mutex>

// Where VxDbgOutput writes besides standard error, set through VxHostDbgOutput.
struct VxDbgOutputState {
    std::mutex mutex;
    std::shared_ptr<const VxHostDbgOutput::Sink> sink;
    std::atomic<bool> quiet{false};

    // Never destroyed: singletons report from their destructors at exit.
    static VxDbgOutputState& instance()
    {
        static VxDbgOutputState* const state = new VxDbgOutputState();
        return *state;
    }
};
#endif
