#ifndef ORV_RECORD_ARCHIVE_H
#define ORV_RECORD_ARCHIVE_H

#include "data/OrvArchiveReader.h"
#include "data/OrvArchiveWriter.h"

// Defines serialize and unserialize of a record or element class through its
// field list, so that both directions always follow the same list.
#define ORV_RECORD_ARCHIVE(Class, fields)                                                                             \
    bool Class::serialize(VxSerialization::Archive& archive) const                                                    \
    {                                                                                                                 \
        return OrvArchiveWriter::write(archive, *this, fields);                                                       \
    }                                                                                                                 \
    bool Class::unserialize(VxSerialization::Archive& archive)                                                        \
    {                                                                                                                 \
        return OrvArchiveReader::read(archive, *this, fields);                                                        \
    }

#endif
