#ifndef ORV_SIM_CONSOLE_ASSETS_H
#define ORV_SIM_CONSOLE_ASSETS_H

#include <vector>

// The console page's files (console/ in the source tree), compiled in so
// that the page needs nothing from outside the binary.
class OrvSimConsoleAssets
{
public:
    struct Asset
    {
        const char* path;
        const char* contentType;
        const char* body;
    };

    static const std::vector<Asset>& all();
};

#endif
