#ifndef VEK_DDFF_C_CRC32_H
#define VEK_DDFF_C_CRC32_H

#include <cstdint>

#include "foundation/Export.h"

namespace Crypt {

// The standard CRC-32 (ISO-HDLC, Ethernet, zlib: polynomial 0x04C11DB7,
// reflected input and output, initial value and final exclusive-or
// 0xFFFFFFFF; "123456789" gives 0xCBF43926), computed incrementally over any
// number of pieces. The CRC of no bytes is 0.
//
// Update picks the fastest implementation the processor offers once per
// process (carry-less multiply folding with AVX-512 or SSE, else a
// slicing-by-16 table method); every implementation gives the same values.
//
// An object is one running checksum: one thread at a time. The tables are
// constant and shared.
class VEK_API C_CRC32 {
 public:
  // Entry i: the most-significant-bit-first CRC of byte i placed in the top
  // eight bits of the register (lookup[1] == 0x04C11DB7).
  static const std::uint32_t lookup[256];
  // Entry i: i with its eight bits in reverse order (reflect[1] == 0x80).
  static const std::uint8_t reflect[256];

  C_CRC32() { Clear(); }

  // Starts a new checksum on the same object.
  void Clear() { m_register = 0xFFFFFFFFu; }
  // Feeds i_nLength bytes in order; i_pData may be null when i_nLength is 0.
  void Update(const void* i_pData, std::uint32_t i_nLength);
  // The checksum of everything fed since construction or the last Clear.
  // Does not change the register: Update may go on afterwards.
  std::uint32_t GetCRC() const { return ~m_register; }

 private:
  // The running register in reflected orientation (bit 0 is the highest
  // power), before the final exclusive-or.
  std::uint32_t m_register;
};

}  // namespace Crypt

#endif
