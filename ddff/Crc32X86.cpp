// CRC-32 by folding with carry-less multiplication (PCLMULQDQ on 128-bit
// lanes, VPCLMULQDQ on four lanes at once). Each function carries its own
// target attribute so the library stays built for the baseline processor;
// the caller runs them only when the processor has the instructions.
//
// Folding keeps a 128-bit (or 512-bit) remainder that is congruent, modulo
// the polynomial, to everything consumed so far, placed where the last lane
// of that data lies: the lane's low quadword (the higher powers in reflected
// order) is multiplied by x^(D+32) mod P and its high quadword by
// x^(D-32) mod P to move it D bits on, then the next data is added. The last
// 16-byte remainder and the tail shorter than a lane go through the table
// method: with a zero register their CRC is that of the folded data.

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include "ddff/internal/Crc32Impl.h"

namespace Crypt {
namespace internal {
namespace {

// x^n mod P, most significant bit first.
constexpr std::uint32_t PowerMod(unsigned i_n) {
  std::uint64_t remainder = 1;
  for (unsigned i = 0; i < i_n; ++i) {
    remainder <<= 1;
    if (remainder & 0x100000000ull) remainder ^= 0x104C11DB7ull;
  }
  return static_cast<std::uint32_t>(remainder);
}

constexpr std::uint32_t Reverse32(std::uint32_t i_value) {
  std::uint32_t result = 0;
  for (int i = 0; i < 32; ++i) result |= ((i_value >> i) & 1u) << (31 - i);
  return result;
}

// The folding constant for x^n in reflected order, as a 33-bit multiplier:
// the shift makes up for the product of two reflected operands landing one
// bit low.
constexpr long long Constant(unsigned i_n) {
  return static_cast<long long>(static_cast<std::uint64_t>(Reverse32(PowerMod(i_n))) << 1);
}

// The published constants for folding by 128 and by 512 bits.
static_assert(Constant(128 + 32) == 0x1751997d0 && Constant(128 - 32) == 0x0ccaa009e,
              "fold-by-128 constants");
static_assert(Constant(512 + 32) == 0x154442bd4 && Constant(512 - 32) == 0x1c6e41596,
              "fold-by-512 constants");

// Low quadword x^(D+32), high quadword x^(D-32).
#define VEK_FOLD_CONSTANTS(D) _mm_set_epi64x(Constant((D) - 32), Constant((D) + 32))
// The same in all four lanes. (Spelled out: the broadcast and extract
// intrinsics trip a false uninitialised-value warning in this compiler.)
#define VEK_FOLD_CONSTANTS_X4(D)                                                            \
  _mm512_set_epi64(Constant((D) - 32), Constant((D) + 32), Constant((D) - 32),              \
                   Constant((D) + 32), Constant((D) - 32), Constant((D) + 32),              \
                   Constant((D) - 32), Constant((D) + 32))

__attribute__((target("pclmul,sse4.1"))) inline __m128i Fold(__m128i i_x, __m128i i_k) {
  return _mm_xor_si128(_mm_clmulepi64_si128(i_x, i_k, 0x00), _mm_clmulepi64_si128(i_x, i_k, 0x11));
}

__attribute__((target("pclmul,sse4.1"))) inline __m128i Load(const std::uint8_t* i_p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(i_p));
}

// Folds whole lanes of what is left into i_x, then finishes with the table.
__attribute__((target("pclmul,sse4.1"))) inline std::uint32_t Finish(__m128i i_x,
                                                                      const std::uint8_t* i_p,
                                                                      std::size_t i_n) {
  const __m128i k128 = VEK_FOLD_CONSTANTS(128);
  for (; i_n >= 16; i_p += 16, i_n -= 16) i_x = _mm_xor_si128(Fold(i_x, k128), Load(i_p));
  alignas(16) std::uint8_t lane[16];
  _mm_store_si128(reinterpret_cast<__m128i*>(lane), i_x);
  return Crc32Slice16(Crc32Slice16(0, lane, 16), i_p, i_n);
}

#define VEK_TARGET_AVX512 "avx512f,avx512vl,avx512bw,vpclmulqdq,pclmul,sse4.1"

__attribute__((target(VEK_TARGET_AVX512))) inline __m512i Fold512(__m512i i_x, __m512i i_k) {
  return _mm512_xor_si512(_mm512_clmulepi64_epi128(i_x, i_k, 0x00),
                          _mm512_clmulepi64_epi128(i_x, i_k, 0x11));
}

// Fold(i_x) ^ i_data in one three-way exclusive-or.
__attribute__((target(VEK_TARGET_AVX512))) inline __m512i FoldAdd512(__m512i i_x, __m512i i_k,
                                                                     const std::uint8_t* i_p) {
  return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(i_x, i_k, 0x00),
                                   _mm512_clmulepi64_epi128(i_x, i_k, 0x11),
                                   _mm512_loadu_si512(i_p), 0x96);
}

// Lane I of a 512-bit value (the zero-masking form: see above).
template <int I>
__attribute__((target(VEK_TARGET_AVX512))) inline __m128i Lane(__m512i i_x) {
  return _mm512_maskz_extracti32x4_epi32(0xF, i_x, I);
}

}  // namespace

__attribute__((target("pclmul,sse4.1"))) std::uint32_t Crc32Pclmul(std::uint32_t i_register,
                                                                   const std::uint8_t* i_pData,
                                                                   std::size_t i_nSize) {
  // Below four lanes the set-up costs more than the table method.
  if (i_nSize < 64) return Crc32Slice16(i_register, i_pData, i_nSize);

  // Four independent lanes hide the multiplier's latency.
  __m128i x0 = _mm_xor_si128(Load(i_pData), _mm_cvtsi32_si128(static_cast<int>(i_register)));
  __m128i x1 = Load(i_pData + 16);
  __m128i x2 = Load(i_pData + 32);
  __m128i x3 = Load(i_pData + 48);
  i_pData += 64;
  i_nSize -= 64;
  const __m128i k512 = VEK_FOLD_CONSTANTS(512);
  for (; i_nSize >= 64; i_pData += 64, i_nSize -= 64) {
    x0 = _mm_xor_si128(Fold(x0, k512), Load(i_pData));
    x1 = _mm_xor_si128(Fold(x1, k512), Load(i_pData + 16));
    x2 = _mm_xor_si128(Fold(x2, k512), Load(i_pData + 32));
    x3 = _mm_xor_si128(Fold(x3, k512), Load(i_pData + 48));
  }
  const __m128i k128 = VEK_FOLD_CONSTANTS(128);
  __m128i x = _mm_xor_si128(Fold(x0, k128), x1);
  x = _mm_xor_si128(Fold(x, k128), x2);
  x = _mm_xor_si128(Fold(x, k128), x3);
  return Finish(x, i_pData, i_nSize);
}

__attribute__((target(VEK_TARGET_AVX512))) std::uint32_t Crc32Vpclmul(std::uint32_t i_register,
                                                                      const std::uint8_t* i_pData,
                                                                      std::size_t i_nSize) {
  if (i_nSize < 256) return Crc32Pclmul(i_register, i_pData, i_nSize);

  // Four registers of four lanes: 256 bytes per round.
  const __m512i start = _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(i_register)));
  __m512i x0 = _mm512_xor_si512(_mm512_loadu_si512(i_pData), start);
  __m512i x1 = _mm512_loadu_si512(i_pData + 64);
  __m512i x2 = _mm512_loadu_si512(i_pData + 128);
  __m512i x3 = _mm512_loadu_si512(i_pData + 192);
  i_pData += 256;
  i_nSize -= 256;
  const __m512i k2048 = VEK_FOLD_CONSTANTS_X4(2048);
  for (; i_nSize >= 256; i_pData += 256, i_nSize -= 256) {
    x0 = FoldAdd512(x0, k2048, i_pData);
    x1 = FoldAdd512(x1, k2048, i_pData + 64);
    x2 = FoldAdd512(x2, k2048, i_pData + 128);
    x3 = FoldAdd512(x3, k2048, i_pData + 192);
  }
  const __m512i k512 = VEK_FOLD_CONSTANTS_X4(512);
  __m512i x = _mm512_xor_si512(Fold512(x0, k512), x1);
  x = _mm512_xor_si512(Fold512(x, k512), x2);
  x = _mm512_xor_si512(Fold512(x, k512), x3);
  for (; i_nSize >= 64; i_pData += 64, i_nSize -= 64) x = FoldAdd512(x, k512, i_pData);

  // The four lanes of x lie 384, 256, 128 and 0 bits before the end.
  const __m512i kLanes =
      _mm512_set_epi64(0, 0, Constant(128 - 32), Constant(128 + 32), Constant(256 - 32),
                       Constant(256 + 32), Constant(384 - 32), Constant(384 + 32));
  const __m512i moved = Fold512(x, kLanes);  // lane 3 multiplied by zero
  __m128i folded = _mm_ternarylogic_epi64(Lane<0>(moved), Lane<1>(moved), Lane<2>(moved), 0x96);
  folded = _mm_xor_si128(folded, Lane<3>(x));
  return Finish(folded, i_pData, i_nSize);
}

__attribute__((target("sse2"))) void StreamCopy(std::uint8_t* o_pTarget,
                                                const std::uint8_t* i_pSource,
                                                std::size_t i_nSize) {
  // Plain stores up to the first 16-byte boundary of the target.
  std::size_t head = (16 - (reinterpret_cast<std::uintptr_t>(o_pTarget) & 15)) & 15;
  if (head > i_nSize) head = i_nSize;
  for (std::size_t i = 0; i < head; ++i) o_pTarget[i] = i_pSource[i];
  o_pTarget += head;
  i_pSource += head;
  i_nSize -= head;
  for (; i_nSize >= 64; o_pTarget += 64, i_pSource += 64, i_nSize -= 64) {
    const __m128i* source = reinterpret_cast<const __m128i*>(i_pSource);
    __m128i* target = reinterpret_cast<__m128i*>(o_pTarget);
    const __m128i a = _mm_loadu_si128(source);
    const __m128i b = _mm_loadu_si128(source + 1);
    const __m128i c = _mm_loadu_si128(source + 2);
    const __m128i d = _mm_loadu_si128(source + 3);
    _mm_stream_si128(target, a);
    _mm_stream_si128(target + 1, b);
    _mm_stream_si128(target + 2, c);
    _mm_stream_si128(target + 3, d);
  }
  for (std::size_t i = 0; i < i_nSize; ++i) o_pTarget[i] = i_pSource[i];
  // Streaming stores are weakly ordered: make them visible before return.
  _mm_sfence();
}

}  // namespace internal
}  // namespace Crypt

#endif
