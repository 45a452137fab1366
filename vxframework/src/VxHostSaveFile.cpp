#include "VxHostSaveFile.h"

#include "VxFileSystem.h"

#include <pwd.h>
#include <unistd.h>
#include <vector>

std::string VxHostSaveFile::directory()
{
    const std::string configured = VxFileSystem::environment("VX_SAVEFILE_DIR");
    if (!configured.empty())
        return configured;
    std::string home = VxFileSystem::environment("HOME");
    if (home.empty()) {
        std::vector<char> buffer(16384);
        passwd entry;
        passwd* found = nullptr;
        if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr
            && found->pw_dir != nullptr)
            home = found->pw_dir;
    }
    if (home.empty())
        home = ".";
    return home + "/.local/state/orvkit";
}

std::string VxHostSaveFile::path(const std::string& name)
{
    return directory() + "/" + name;
}
