#include "VxHostDbgOutput.h"

#include "VxDbgOutputState.h"

void VxHostDbgOutput::setSink(Sink sink)
{
    VxDbgOutputState& output = VxDbgOutputState::instance();
    std::shared_ptr<const Sink> shared;
    if (sink)
        shared = std::make_shared<const Sink>(std::move(sink));
    std::lock_guard<std::mutex> lock(output.mutex);
    output.sink = std::move(shared);
}

void VxHostDbgOutput::setQuiet(bool quiet)
{
    VxDbgOutputState::instance().quiet.store(quiet);
}

bool VxHostDbgOutput::isQuiet()
{
    return VxDbgOutputState::instance().quiet.load();
}
