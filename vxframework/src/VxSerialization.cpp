#include <VxSerialization.h>

#include <cstring>
#include <limits>

namespace VxSerialization {

namespace {

void appendBigEndian(std::vector<uint8_t>& buffer, uint64_t value, size_t width)
{
    for (size_t shift = width; shift > 0; --shift)
        buffer.push_back(static_cast<uint8_t>(value >> ((shift - 1) * 8)));
}

uint64_t decodeBigEndian(const uint8_t* start, size_t width)
{
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i)
        value = (value << 8) | start[i];
    return value;
}

} // namespace

Archive::Archive()
    : readPosition(0), exhausted(false)
{
}

Archive::Archive(const uint8_t* data, size_t size)
    : readPosition(0), exhausted(false)
{
    if (data != nullptr && size > 0)
        buffer.assign(data, data + size);
}

void Archive::clear()
{
    buffer.clear();
    readPosition = 0;
    exhausted = false;
}

int Archive::write(unsigned int value)
{
    appendBigEndian(buffer, value, 4);
    return 0;
}

int Archive::write(double value)
{
    static_assert(sizeof(double) == 8, "double must be IEEE 754 binary64");
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    appendBigEndian(buffer, bits, 8);
    return 0;
}

int Archive::write(bool value)
{
    buffer.push_back(value ? 1 : 0);
    return 0;
}

int Archive::write(const std::string& value, int length)
{
    size_t count = value.size();
    if (length >= 0 && static_cast<size_t>(length) < count)
        count = static_cast<size_t>(length);
    // The length field has 32 bits; anything longer is cut to what it can say.
    if (count > std::numeric_limits<uint32_t>::max())
        count = std::numeric_limits<uint32_t>::max();
    appendBigEndian(buffer, count, 4);
    buffer.insert(buffer.end(), value.data(), value.data() + count);
    return 0;
}

int Archive::write(const uint8_t* data, size_t size)
{
    if (data != nullptr && size > 0)
        buffer.insert(buffer.end(), data, data + size);
    return 0;
}

int Archive::read(unsigned int& value)
{
    const uint8_t* start = nullptr;
    if (!take(4, start)) {
        value = 0;
        return -1;
    }
    value = static_cast<unsigned int>(decodeBigEndian(start, 4));
    return 0;
}

int Archive::read(double& value)
{
    const uint8_t* start = nullptr;
    if (!take(8, start)) {
        value = 0.0;
        return -1;
    }
    const uint64_t bits = decodeBigEndian(start, 8);
    std::memcpy(&value, &bits, sizeof value);
    return 0;
}

int Archive::read(bool& value)
{
    const uint8_t* start = nullptr;
    if (!take(1, start)) {
        value = false;
        return -1;
    }
    value = *start != 0;
    return 0;
}

int Archive::read(std::string& value)
{
    const uint8_t* start = nullptr;
    if (!take(4, start)) {
        value.clear();
        return -1;
    }
    // The length is checked against what is left before anything is
    // allocated, so a corrupt length cannot demand memory.
    const size_t length = static_cast<size_t>(decodeBigEndian(start, 4));
    if (!take(length, start)) {
        value.clear();
        return -1;
    }
    if (length == 0)
        value.clear();
    else
        value.assign(reinterpret_cast<const char*>(start), length);
    return 0;
}

bool Archive::take(size_t count, const uint8_t*& start)
{
    if (count > buffer.size() - readPosition) {
        readPosition = buffer.size();
        exhausted = true;
        return false;
    }
    start = buffer.data() + readPosition;
    readPosition += count;
    return true;
}

} // namespace VxSerialization
