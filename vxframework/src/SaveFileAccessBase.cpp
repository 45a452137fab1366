#include "SaveFileAccess.h"

SaveFileAccessBase::SaveFileAccessBase(const std::string& name, const std::string& mode)
    : fileName(name), openMode(mode)
{
}

SaveFileAccessBase::~SaveFileAccessBase() = default;
