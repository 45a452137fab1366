#include "util/OrvArrayUtils.h"

#include <algorithm>

namespace {

// True when count bytes starting at offset lie inside buf; written so that
// no sum can overflow.
bool fits(const OrvArrayUtils::Bytes& buf, unsigned int offset, size_t count)
{
    return buf.size() >= count && offset <= buf.size() - count;
}

} // namespace

unsigned int OrvArrayUtils::byteArrayToWord(const unsigned char* p)
{
    if (p == nullptr)
        return 0;
    return static_cast<unsigned int>(p[0]) << 8 | p[1];
}

unsigned int OrvArrayUtils::byteArrayToWord(const Bytes& buf, unsigned int offset)
{
    return fits(buf, offset, 2) ? byteArrayToWord(buf.data() + offset) : 0;
}

void OrvArrayUtils::wordToByteArray(unsigned int value, unsigned char* p)
{
    if (p == nullptr)
        return;
    p[0] = static_cast<unsigned char>(value >> 8);
    p[1] = static_cast<unsigned char>(value);
}

void OrvArrayUtils::setWordToByteArray(unsigned int value, Bytes& buf, unsigned int offset)
{
    if (fits(buf, offset, 2))
        wordToByteArray(value, buf.data() + offset);
}

unsigned long OrvArrayUtils::byteArrayToDword(const unsigned char* p)
{
    if (p == nullptr)
        return 0;
    return static_cast<unsigned long>(p[0]) << 24 | static_cast<unsigned long>(p[1]) << 16
        | static_cast<unsigned long>(p[2]) << 8 | p[3];
}

unsigned long OrvArrayUtils::byteArrayToDword(const Bytes& buf, unsigned int offset)
{
    return fits(buf, offset, 4) ? byteArrayToDword(buf.data() + offset) : 0;
}

void OrvArrayUtils::dwordToByteArray(unsigned long value, unsigned char* p)
{
    if (p == nullptr)
        return;
    p[0] = static_cast<unsigned char>(value >> 24);
    p[1] = static_cast<unsigned char>(value >> 16);
    p[2] = static_cast<unsigned char>(value >> 8);
    p[3] = static_cast<unsigned char>(value);
}

void OrvArrayUtils::setDwordToByteArray(unsigned long value, Bytes& buf, unsigned int offset)
{
    if (fits(buf, offset, 4))
        dwordToByteArray(value, buf.data() + offset);
}

void OrvArrayUtils::appendWordToByteArray(unsigned int value, Bytes& buf)
{
    unsigned char bytes[2];
    wordToByteArray(value, bytes);
    buf.insert(buf.end(), bytes, bytes + 2);
}

void OrvArrayUtils::appendDwordToByteArray(unsigned long value, Bytes& buf)
{
    unsigned char bytes[4];
    dwordToByteArray(value, bytes);
    buf.insert(buf.end(), bytes, bytes + 4);
}

size_t OrvArrayUtils::terminatedLength(const Bytes& buf, size_t offset)
{
    const auto start = buf.begin() + static_cast<std::ptrdiff_t>(offset);
    return static_cast<size_t>(std::find(start, buf.end(), 0) - start);
}

void OrvArrayUtils::byteArrayToString(const Bytes& buf, std::string& out, unsigned int offset)
{
    if (buf.empty() || offset > buf.size())
        return;
    const size_t length = terminatedLength(buf, offset);
    out.assign(reinterpret_cast<const char*>(buf.data()) + offset, length);
}

void OrvArrayUtils::byteArrayToStringMultiByte(const Bytes& buf, std::string& out, unsigned int offset)
{
    byteArrayToString(buf, out, offset);
}

void OrvArrayUtils::stringToByteArray(const std::string& in, Bytes& buf, bool addTerminator)
{
    // An empty string writes nothing, not even the terminator.
    if (in.empty())
        return;
    buf.assign(in.begin(), in.end());
    if (addTerminator)
        buf.push_back(0);
}

void OrvArrayUtils::copyByteArray(const Bytes& src, Bytes& dst, unsigned int offset, unsigned int length)
{
    const size_t start = std::min<size_t>(offset, src.size());
    const size_t count = std::min<size_t>(length, src.size() - start);
    dst.assign(src.begin() + static_cast<std::ptrdiff_t>(start),
               src.begin() + static_cast<std::ptrdiff_t>(start + count));
}

void OrvArrayUtils::copyByteArray(const Bytes& src, Bytes& dst, unsigned int offset)
{
    if (offset > src.size())
        return;
    const size_t length = terminatedLength(src, offset);
    dst.assign(src.begin() + static_cast<std::ptrdiff_t>(offset),
               src.begin() + static_cast<std::ptrdiff_t>(offset + length));
}

bool OrvArrayUtils::isDigit(const std::string& s)
{
    return s.find_first_not_of("-0123456789") == std::string::npos;
}

unsigned int OrvArrayUtils::getUpperNibble(unsigned int value)
{
    return (value >> 4) & 0x0F;
}
