#ifndef ORV_ARRAY_UTILS_H
#define ORV_ARRAY_UTILS_H
#include <string>
#include <vector>

// Big-endian integers and zero-terminated strings in byte buffers. A word is
// 16 bits carried in an unsigned int, a dword 32 bits in an unsigned long.
// The range-checked forms read 0 or skip the write when the value does not
// fit; only the append functions, stringToByteArray and copyByteArray change
// a buffer's size. The pointer forms check nothing but a null pointer.
class OrvArrayUtils
{
public:
    typedef std::vector<unsigned char> Bytes;

    static unsigned int byteArrayToWord(const unsigned char* p);
    static unsigned int byteArrayToWord(const Bytes& buf, unsigned int offset);
    static void wordToByteArray(unsigned int value, unsigned char* p);
    static void setWordToByteArray(unsigned int value, Bytes& buf, unsigned int offset);

    static unsigned long byteArrayToDword(const unsigned char* p);
    static unsigned long byteArrayToDword(const Bytes& buf, unsigned int offset);
    static void dwordToByteArray(unsigned long value, unsigned char* p);
    static void setDwordToByteArray(unsigned long value, Bytes& buf, unsigned int offset);

    static void appendWordToByteArray(unsigned int value, Bytes& buf);
    static void appendDwordToByteArray(unsigned long value, Bytes& buf);

    // out is replaced by the run from offset up to the first zero byte or
    // the end; left unchanged when buf is empty or offset lies past its end.
    static void byteArrayToString(const Bytes& buf, std::string& out, unsigned int offset);
    // The same for multi-byte text; the bytes are not converted.
    static void byteArrayToStringMultiByte(const Bytes& buf, std::string& out, unsigned int offset);
    // buf is replaced by the bytes of in, plus a zero when addTerminator;
    // an empty in leaves buf untouched, terminator or not.
    static void stringToByteArray(const std::string& in, Bytes& buf, bool addTerminator);

    // dst becomes src[offset, offset + length), cut to what src holds.
    static void copyByteArray(const Bytes& src, Bytes& dst, unsigned int offset, unsigned int length);
    // dst becomes the zero-terminated run at offset, without the terminator.
    static void copyByteArray(const Bytes& src, Bytes& dst, unsigned int offset);

    // True when s holds only '-' and decimal digits, in any order; "" too.
    static bool isDigit(const std::string& s);
    static unsigned int getUpperNibble(unsigned int value);

private:
    static size_t terminatedLength(const Bytes& buf, size_t offset);
};
#endif
