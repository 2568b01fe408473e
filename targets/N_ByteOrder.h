#ifndef VEK_TARGETS_N_BYTEORDER_H
#define VEK_TARGETS_N_BYTEORDER_H

#include <cstdint>

// Multi-byte fields of command blocks and records are written and read only
// through these helpers, so the byte order of every field is explicit where
// it is filled. Each writes exactly the named number of bytes at o_bytes;
// values wider than the field keep their low bytes.
namespace N_ByteOrder {

// Most significant byte first (SCSI command blocks and data).
inline void PutBE16(std::uint8_t* o_bytes, std::uint32_t i_value) {
  o_bytes[0] = static_cast<std::uint8_t>(i_value >> 8);
  o_bytes[1] = static_cast<std::uint8_t>(i_value);
}
inline void PutBE24(std::uint8_t* o_bytes, std::uint32_t i_value) {
  o_bytes[0] = static_cast<std::uint8_t>(i_value >> 16);
  o_bytes[1] = static_cast<std::uint8_t>(i_value >> 8);
  o_bytes[2] = static_cast<std::uint8_t>(i_value);
}
inline void PutBE32(std::uint8_t* o_bytes, std::uint32_t i_value) {
  o_bytes[0] = static_cast<std::uint8_t>(i_value >> 24);
  PutBE24(o_bytes + 1, i_value);
}
inline std::uint32_t GetBE16(const std::uint8_t* i_bytes) {
  return static_cast<std::uint32_t>(i_bytes[0]) << 8 | i_bytes[1];
}
inline std::uint32_t GetBE24(const std::uint8_t* i_bytes) {
  return static_cast<std::uint32_t>(i_bytes[0]) << 16 | GetBE16(i_bytes + 1);
}
inline std::uint32_t GetBE32(const std::uint8_t* i_bytes) {
  return static_cast<std::uint32_t>(i_bytes[0]) << 24 | GetBE24(i_bytes + 1);
}

// Least significant byte first (controller records).
inline void PutLE16(std::uint8_t* o_bytes, std::uint32_t i_value) {
  o_bytes[0] = static_cast<std::uint8_t>(i_value);
  o_bytes[1] = static_cast<std::uint8_t>(i_value >> 8);
}
inline void PutLE32(std::uint8_t* o_bytes, std::uint32_t i_value) {
  PutLE16(o_bytes, i_value);
  PutLE16(o_bytes + 2, i_value >> 16);
}
inline std::uint32_t GetLE16(const std::uint8_t* i_bytes) {
  return static_cast<std::uint32_t>(i_bytes[1]) << 8 | i_bytes[0];
}
inline std::uint32_t GetLE32(const std::uint8_t* i_bytes) {
  return GetLE16(i_bytes + 2) << 16 | GetLE16(i_bytes);
}

}  // namespace N_ByteOrder

#endif
