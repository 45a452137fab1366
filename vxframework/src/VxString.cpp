#include "VxString.h"

int vx_strcpy(char* dest, size_t destSize, const char* src)
{
    if (dest == nullptr || destSize == 0)
        return -1;
    if (src == nullptr) {
        dest[0] = '\0';
        return -1;
    }
    const size_t length = strnlen(src, destSize);
    if (length < destSize) {
        std::memcpy(dest, src, length + 1);
        return 0;
    }
    std::memcpy(dest, src, destSize - 1);
    dest[destSize - 1] = '\0';
    return -1;
}

int vx_strncpy(char* dest, size_t destSize, const char* src, size_t count)
{
    if (dest == nullptr || destSize == 0)
        return -1;
    if (src == nullptr) {
        dest[0] = '\0';
        return -1;
    }
    // Reads no more than count bytes of src, which need not be terminated.
    const size_t length = strnlen(src, count);
    if (length < destSize) {
        std::memcpy(dest, src, length);
        dest[length] = '\0';
        return 0;
    }
    std::memcpy(dest, src, destSize - 1);
    dest[destSize - 1] = '\0';
    return -1;
}
