#ifndef ORV_TEXT_FORMATTER_H
#define ORV_TEXT_FORMATTER_H

#include <string>

// printf-style formatting of request bodies. Numbers always use "." as the
// decimal point, whatever the process's numeric locale.
class OrvTextFormatter
{
public:
    // Empty when formatting fails.
    static std::string format(const char* format, ...) __attribute__((format(printf, 1, 2)));
};

#endif
