#include "VxDbgOutput.h"

#include "VxDbgOutputState.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace {

// Longer texts are cut, so a runaway format cannot exhaust memory.
const size_t kMaxText = 64 * 1024;

std::string formatText(const char* format, va_list arguments)
{
    if (format == nullptr)
        return std::string();
    char small[512];
    va_list copy;
    va_copy(copy, arguments);
    const int needed = std::vsnprintf(small, sizeof(small), format, copy);
    va_end(copy);
    if (needed < 0)
        return std::string();
    if (static_cast<size_t>(needed) < sizeof(small))
        return std::string(small, static_cast<size_t>(needed));
    const size_t length = static_cast<size_t>(needed) < kMaxText ? static_cast<size_t>(needed) : kMaxText;
    std::vector<char> large(length + 1);
    std::vsnprintf(large.data(), large.size(), format, arguments);
    return std::string(large.data(), length);
}

std::string locationPrefix(const char* file, const char* function, int line)
{
    std::string prefix = file != nullptr ? file : "?";
    prefix += ':';
    prefix += std::to_string(line);
    prefix += ' ';
    prefix += function != nullptr ? function : "?";
    prefix += ": ";
    return prefix;
}

void emit(const std::string& prefix, const std::string& text)
{
    VxDbgOutputState& output = VxDbgOutputState::instance();
    std::shared_ptr<const VxHostDbgOutput::Sink> sink;
    {
        std::lock_guard<std::mutex> lock(output.mutex);
        if (!output.quiet.load()) {
            // One write per report keeps lines of concurrent threads whole.
            const std::string line = prefix + text;
            std::fwrite(line.data(), 1, line.size(), stderr);
            std::fflush(stderr);
        }
        sink = output.sink;
    }
    // Called outside the lock so that a sink may itself report.
    if (sink && *sink)
        (*sink)(text);
}

} // namespace

void VxDbgOutput::DbgPrint(const char* file, const char* function, int line, int tag, const char* format, ...)
{
    (void)tag;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatText(format, arguments);
    va_end(arguments);
    emit(locationPrefix(file, function, line), text);
}

void VxDbgOutput::DbgPrint(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatText(format, arguments);
    va_end(arguments);
    emit(std::string(), text);
}

void VxDbgOutput::DbgPrintStdErr(const char* file, const char* function, int line, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatText(format, arguments);
    va_end(arguments);
    emit(locationPrefix(file, function, line), text);
}
