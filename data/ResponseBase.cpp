#include <OrvKitDat.h>

namespace OrvKitDat {

ResponseBase::~ResponseBase() = default;

bool ResponseBase::copyFrom(const ResponseBase*)
{
    return false;
}

} // namespace OrvKitDat
