#include "util/OrvLogger.h"

OrvLogger::OrvLogger() = default;

OrvLogger::~OrvLogger() = default;

void OrvLogger::log(const std::string& text)
{
    (void)text;
}

void OrvLogger::flush()
{
}

void OrvLogger::getLog(std::string& out) const
{
    (void)out;
}
