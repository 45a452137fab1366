#ifndef VX_FILE_SYSTEM_H
#define VX_FILE_SYSTEM_H
#include <string>

// File helpers shared by the save-file store and the named locks.
class VxFileSystem
{
public:
    // Creates the directory and its missing parents; true when it exists.
    static bool makeDirectories(const std::string& path);
    // The value of an environment variable, or empty when unset.
    static std::string environment(const char* name);
};
#endif
