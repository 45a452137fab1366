#ifndef ORV_LOGGER_H
#define ORV_LOGGER_H
#include <sstream>
#include <string>

// Collects log text in memory. Logging is switched off: every operation
// does nothing and getLog leaves its argument unchanged.
class OrvLogger
{
public:
    OrvLogger();
    ~OrvLogger();
    OrvLogger(const OrvLogger&) = delete;
    OrvLogger& operator=(const OrvLogger&) = delete;

    void log(const std::string& text);
    void flush();
    void getLog(std::string& out) const;

private:
    std::ostringstream buffer;
};
#endif
