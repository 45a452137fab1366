#ifndef VX_DBG_OUTPUT_H
#define VX_DBG_OUTPUT_H
#include <functional>
#include <string>

// Debug output to standard error. Every line written through this class can
// also be observed through a sink, which tests use to count reports.
class VxDbgOutput
{
public:
    enum Tag { TAG_INFO = 0, TAG_ERROR = 1, TAG_WARNING = 2 };

    static void DbgPrint(const char* file, const char* function, int line, int tag, const char* format, ...)
        __attribute__((format(printf, 5, 6)));
    static void DbgPrint(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void DbgPrintStdErr(const char* file, const char* function, int line, const char* format, ...)
        __attribute__((format(printf, 4, 5)));

    // Host addition: receives each formatted text (after the location
    // prefix) besides standard error. Pass an empty function to remove it.
    using Sink = std::function<void(const std::string& text)>;
    static void setSink(Sink sink);
    // Host addition: silences standard error (the sink still receives).
    static void setQuiet(bool quiet);
    static bool isQuiet();
};
#endif
