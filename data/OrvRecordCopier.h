#ifndef ORV_RECORD_COPIER_H
#define ORV_RECORD_COPIER_H

#include <OrvKitDat.h>

#include <utility>

// copyFrom of every response record: only a source of the record's own class
// is copied, and the target is left as it was when the copy cannot be made.
class OrvRecordCopier
{
public:
    template <class Record>
    static bool copy(Record& target, const OrvKitDat::ResponseBase* source)
    {
        const Record* typed = dynamic_cast<const Record*>(source);
        if (typed == nullptr)
            return false;
        if (typed == &target)
            return true;
        try {
            Record copy(*typed);
            target = std::move(copy);
        } catch (...) {
            return false;
        }
        return true;
    }
};

#endif
