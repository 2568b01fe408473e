#ifndef VEK_TESTS_DDFF_REFERENCE_H
#define VEK_TESTS_DDFF_REFERENCE_H

// Test-side references, written from the format's definition and not from
// the module's code: a byte-at-a-time CRC-32 over the public tables, and a
// sealer that recomputes every CRC of a request image from its layout.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "ddff/C_CRC32.h"

namespace ddfftest {

// The register kept most-significant-bit first, reflected at both ends
// through the byte table.
struct S_ReferenceCrc {
  std::uint32_t reg = 0xFFFFFFFFu;
  void Add(std::uint8_t i_byte) {
    const std::uint8_t index = static_cast<std::uint8_t>((reg >> 24) ^ Crypt::C_CRC32::reflect[i_byte]);
    reg = (reg << 8) ^ Crypt::C_CRC32::lookup[index];
  }
  void Add(const void* i_pData, std::size_t i_nSize) {
    for (std::size_t i = 0; i < i_nSize; ++i) Add(static_cast<const std::uint8_t*>(i_pData)[i]);
  }
  std::uint32_t Value() const {
    const std::uint8_t* r = Crypt::C_CRC32::reflect;
    return ~(static_cast<std::uint32_t>(r[reg >> 24]) | static_cast<std::uint32_t>(r[(reg >> 16) & 0xFF]) << 8 |
             static_cast<std::uint32_t>(r[(reg >> 8) & 0xFF]) << 16 | static_cast<std::uint32_t>(r[reg & 0xFF]) << 24);
  }
};

inline std::uint32_t ReferenceCrc(const void* i_pData, std::size_t i_nSize) {
  S_ReferenceCrc crc;
  crc.Add(i_pData, i_nSize);
  return crc.Value();
}

inline std::uint32_t Get32(const std::string& i_image, std::size_t i_offset) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<std::uint8_t>(i_image[i_offset + i]);
  return value;
}

inline void Put32(std::string& io_image, std::size_t i_offset, std::uint32_t i_value) {
  for (int i = 0; i < 4; ++i) io_image[i_offset + i] = static_cast<char>(i_value >> (8 * i));
}

// Recomputes the status, request, data and header CRCs of an image from its
// own header fields (records counted by the field at request offset + 104,
// 40 bytes each), so that a test can change a field and reach the check
// behind the CRCs. A CRC whose region lies outside the image is left alone.
inline void Seal(std::string& io_image) {
  if (io_image.size() < 48) return;
  const std::uint64_t size = io_image.size();
  auto inside = [&](std::uint64_t i_offset, std::uint64_t i_length) { return i_offset + i_length <= size; };
  const std::uint64_t statusOffset = Get32(io_image, 12);
  const std::uint64_t requestOffset = Get32(io_image, 24);
  const std::uint64_t dataOffset = Get32(io_image, 36);
  const std::uint64_t dataSize = Get32(io_image, 40);
  if (inside(statusOffset, 44)) Put32(io_image, 20, ReferenceCrc(io_image.data() + statusOffset, 44));
  if (inside(requestOffset, 112)) {
    const std::uint64_t length = 112 + 40ull * Get32(io_image, requestOffset + 104);
    if (inside(requestOffset, length))
      Put32(io_image, 32, ReferenceCrc(io_image.data() + requestOffset, length));
  }
  if (inside(dataOffset, dataSize)) Put32(io_image, 44, ReferenceCrc(io_image.data() + dataOffset, dataSize));
  Put32(io_image, 8, ReferenceCrc(io_image.data() + 12, 36));
}

}  // namespace ddfftest

#endif
