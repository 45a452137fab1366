#include "VxCallStack.h"

#include "VxHostDbgOutput.h"

#include <execinfo.h>
#include <unistd.h>

void VxCallStack::dumpDirectly(int depth)
{
    if (depth == 0 || VxHostDbgOutput::isQuiet())
        return;
    void* frames[128];
    const int count = backtrace(frames, static_cast<int>(sizeof(frames) / sizeof(frames[0])));
    // Frame 0 is this function.
    int shown = count - 1;
    if (depth > 0 && depth < shown)
        shown = depth;
    if (shown > 0)
        backtrace_symbols_fd(frames + 1, shown, STDERR_FILENO);
}
