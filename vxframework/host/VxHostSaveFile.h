#ifndef VX_HOST_SAVE_FILE_H
#define VX_HOST_SAVE_FILE_H
#include "VxHostGuard.h"

#include <string>

// Where the host keeps save files: the directory named by VX_SAVEFILE_DIR,
// else $HOME/.local/state/orvkit, created on the first Flush.
class VxHostSaveFile
{
public:
    static std::string directory();
    static std::string path(const std::string& name);
};
#endif
