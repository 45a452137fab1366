#ifndef VX_HOST_ARCHIVE_H
#define VX_HOST_ARCHIVE_H
#include "VxHostGuard.h"

#include <VxSerialization.h>

// An archive whose read position can be looked at and reset.
class VxHostArchive : public VxSerialization::Archive
{
public:
    using Archive::Archive;
    explicit VxHostArchive(const Archive& other) : Archive(other) {}

    size_t position() const { return readPosition; }
    size_t remaining() const { return buffer.size() - readPosition; }
    // True once a read asked for more than was left.
    bool isExhausted() const { return exhausted; }
    // Starts reading again from the first byte.
    void rewind()
    {
        readPosition = 0;
        exhausted = false;
    }
};
#endif
