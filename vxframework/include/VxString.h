#ifndef VX_STRING_H
#define VX_STRING_H
#include <cstddef>
#include <cstring>

// Bounded copies that always terminate the destination. Both return 0 on a
// complete copy, -1 when the text was cut or the arguments are unusable.
int vx_strcpy(char* dest, size_t destSize, const char* src);
int vx_strncpy(char* dest, size_t destSize, const char* src, size_t count);

// A fixed-capacity string of at most N characters plus terminator; longer
// input is cut.
template <size_t N>
class VxString
{
public:
    VxString() { buffer[0] = '\0'; }
    explicit VxString(const char* text) { vx_strcpy(buffer, sizeof(buffer), text ? text : ""); }
    VxString& append(const char* text)
    {
        const size_t used = std::strlen(buffer);
        vx_strcpy(buffer + used, sizeof(buffer) - used, text ? text : "");
        return *this;
    }
    const char* c_str() const { return buffer; }
private:
    char buffer[N + 1];
};
#endif
