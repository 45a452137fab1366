#ifndef SYS_INFO_STRUCT_H
#define SYS_INFO_STRUCT_H
#include <cstddef>
#include <cstdint>

// The system information record that the head unit publishes in shared
// memory. Only the size word sits at a fixed member; the rest is addressed by
// byte offset, as the writer of the record defines it.
struct SysInfoStruct {
    uint32_t size;
    unsigned char payload[716];

    static constexpr size_t kProductKindOffset = 12;
    static constexpr size_t kProductSelectorOffset = 16;
    static constexpr size_t kDefaultsWrittenOffset = 705;
    // First bytes of the text fields that receive the "-" default.
    static constexpr size_t kTextFieldOffsets[] = {
        68, 100, 132, 164, 196, 228, 260, 292, 324, 356, 388,
        424, 456, 537, 570, 602, 606, 638, 668,
    };
};

static_assert(sizeof(SysInfoStruct) == 720, "the record is 720 bytes");
#endif
