#include "SaveFileAccess.h"

#include "VxFileSystem.h"

#include <pwd.h>
#include <unistd.h>
#include <vector>

SaveFileAccessBase::SaveFileAccessBase(const std::string& name, const std::string& mode)
    : fileName(name), openMode(mode)
{
}

SaveFileAccessBase::~SaveFileAccessBase() = default;

std::string SaveFileAccessBase::path() const
{
    return directory() + "/" + fileName;
}

std::string SaveFileAccessBase::directory()
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
