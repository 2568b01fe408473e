#ifndef VEK_CLOAK_CLOAKEDFILEFORMAT_H
#define VEK_CLOAK_CLOAKEDFILEFORMAT_H

#include <cstdint>

// Constants of the cloaked file (doc/cloaked-file.md). All integers are
// little-endian.
namespace N_CloakedFileFormat {

constexpr std::uint32_t MAGIC = 0x7A715E58;  // "X^qz" in file order
constexpr std::uint32_t HEADER_SIZE = 16;    // written; at least this on reading
constexpr std::uint16_t METHOD_XOR = 1;
constexpr std::uint16_t XOR_VARIANT_LCG = 0;

// Byte offsets of the header fields.
constexpr unsigned OFFSET_MAGIC = 0;        // u32
constexpr unsigned OFFSET_HEADER_SIZE = 4;  // u32
constexpr unsigned OFFSET_METHOD = 8;       // u16
constexpr unsigned OFFSET_VARIANT = 10;     // u16
constexpr unsigned OFFSET_SEED = 12;        // u32: seconds since 1970 when written

}  // namespace N_CloakedFileFormat

#endif
