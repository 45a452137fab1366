#include "data/OrvTextFormatter.h"

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <locale.h>

namespace {

locale_t numericCLocale()
{
    // Created once and kept for the life of the process.
    static const locale_t locale = newlocale(LC_NUMERIC_MASK, "C", static_cast<locale_t>(0));
    return locale;
}

} // namespace

std::string OrvTextFormatter::format(const char* format, ...)
{
    const locale_t cLocale = numericCLocale();
    const locale_t previous = cLocale != static_cast<locale_t>(0) ? uselocale(cLocale) : static_cast<locale_t>(0);

    char* buffer = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&buffer, format, arguments);
    va_end(arguments);

    if (previous != static_cast<locale_t>(0))
        uselocale(previous);

    // On failure the buffer pointer is unspecified and must not be freed.
    if (length < 0)
        return std::string();
    std::string text;
    try {
        text.assign(buffer, static_cast<size_t>(length));
    } catch (...) {
        text.clear();
    }
    std::free(buffer);
    return text;
}
