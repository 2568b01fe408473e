#ifndef VEK_DDFF_INTERNAL_CRC32IMPL_H
#define VEK_DDFF_INTERNAL_CRC32IMPL_H

// The implementations behind Crypt::C_CRC32, exposed for the tests that
// compare them and the benchmark that times them. Not part of the module's
// interface.
//
// Every function advances a CRC-32 register in reflected orientation, with
// neither the initial nor the final inversion: the CRC of a buffer is
// ~Update(0xFFFFFFFF, data, size), and Update(Update(r, a), b) equals Update
// over a followed by b. Pointers may be null when the size is 0; there is no
// alignment requirement.

#include <cstddef>
#include <cstdint>

namespace Crypt {
namespace internal {

typedef std::uint32_t (*T_Crc32Update)(std::uint32_t i_register, const std::uint8_t* i_pData,
                                       std::size_t i_nSize);

struct S_Crc32Impl {
  const char* name;      // "bytewise", "slice16", "pclmul", "vpclmul"
  T_Crc32Update update;  // callable only when available is true
  bool available;        // this processor and build can run it
};

// Every implementation, slowest first, with this processor's support filled
// in; *o_count receives the number of entries. The table lives as long as
// the module.
const S_Crc32Impl* Crc32Implementations(std::size_t* o_count);

// The implementation C_CRC32::Update uses: the last available entry of the
// table, chosen on first use.
const S_Crc32Impl& Crc32Selected();

// Copies i_nSize bytes from i_pSource to o_pTarget and advances the register
// over them in one pass over cache-sized pieces; large copies bypass the
// cache on the write side. The two ranges must not overlap.
std::uint32_t Crc32Copy(std::uint32_t i_register, std::uint8_t* o_pTarget,
                                const std::uint8_t* i_pSource, std::size_t i_nSize);

// The single implementations (the x86 ones exist only on x86 builds and must
// only be called when available says so).
std::uint32_t Crc32Bytewise(std::uint32_t i_register, const std::uint8_t* i_pData,
                            std::size_t i_nSize);
std::uint32_t Crc32Slice16(std::uint32_t i_register, const std::uint8_t* i_pData,
                           std::size_t i_nSize);
#if defined(__x86_64__) || defined(__i386__)
std::uint32_t Crc32Pclmul(std::uint32_t i_register, const std::uint8_t* i_pData,
                          std::size_t i_nSize);
std::uint32_t Crc32Vpclmul(std::uint32_t i_register, const std::uint8_t* i_pData,
                           std::size_t i_nSize);
// Stores with non-temporal hints (SSE2), ending with a store fence.
void StreamCopy(std::uint8_t* o_pTarget, const std::uint8_t* i_pSource, std::size_t i_nSize);
#endif

}  // namespace internal
}  // namespace Crypt

#endif
