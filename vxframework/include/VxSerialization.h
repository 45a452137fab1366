#ifndef VX_SERIALIZATION_H
#define VX_SERIALIZATION_H
#include "VxApi.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace VxSerialization {

// A sequence of typed values in a fixed byte encoding, so that archives made
// on the head unit and on a PC agree:
//   unsigned int  4 bytes, big-endian
//   double        8 bytes, IEEE 754 binary64, big-endian
//   bool          1 byte, 0 or 1 (any non-zero byte reads as true)
//   string        4-byte big-endian length, then that many bytes
//                 (embedded zero bytes are kept)
//   raw block     the bytes as given, with no length
// Reading takes values in the order they were written. A read that would go
// past the end yields the type's default (0, 0.0, false, empty string) and
// consumes the rest of the archive.
class VX_API Archive
{
public:
    Archive();
    // An archive holding these bytes, to be read from the first one.
    Archive(const uint8_t* data, size_t size);

    void clear();

    // Writes return 0.
    int write(unsigned int value);
    int write(double value);
    int write(bool value);
    // length -1 writes the whole string; otherwise at most length bytes.
    int write(const std::string& value, int length);
    int write(const uint8_t* data, size_t size);
    int write(const char*) = delete;

    // Reads return 0, or -1 when the archive held too few bytes.
    int read(unsigned int& value);
    int read(double& value);
    int read(bool& value);
    int read(std::string& value);

    // The bytes written so far, for an application to hand on.
    const std::vector<uint8_t>& bytes() const { return buffer; }
    const uint8_t* data() const { return buffer.data(); }
    size_t size() const { return buffer.size(); }

protected:
    std::vector<uint8_t> buffer;
    size_t readPosition;
    bool exhausted;

private:
    bool take(size_t count, const uint8_t*& start);
};

} // namespace VxSerialization
#endif
