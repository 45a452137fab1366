#include "VxFileSystem.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

bool VxFileSystem::makeDirectories(const std::string& path)
{
    if (path.empty())
        return false;
    struct stat info;
    if (stat(path.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode);
    size_t position = 0;
    while (position != std::string::npos) {
        position = path.find('/', position + 1);
        const std::string prefix = path.substr(0, position);
        if (prefix.empty())
            continue;
        if (mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST)
            return false;
    }
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string VxFileSystem::environment(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? std::string(value) : std::string();
}
