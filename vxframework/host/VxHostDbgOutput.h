#ifndef VX_HOST_DBG_OUTPUT_H
#define VX_HOST_DBG_OUTPUT_H
#include "VxHostGuard.h"

#include <functional>
#include <string>

// Observes and silences the host's debug output (VxDbgOutput, VxCallStack).
class VxHostDbgOutput
{
public:
    // Receives each formatted text, after the location prefix, besides
    // standard error. An empty function removes the sink.
    using Sink = std::function<void(const std::string& text)>;
    static void setSink(Sink sink);
    // Silences standard error; the sink still receives.
    static void setQuiet(bool quiet);
    static bool isQuiet();
};
#endif
