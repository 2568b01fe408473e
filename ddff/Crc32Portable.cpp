// The portable CRC-32 implementations (byte-at-a-time and slicing-by-16),
// the run-time choice among all implementations, and the fused copy.

#include <algorithm>
#include <cstring>

#include "ddff/internal/Crc32Impl.h"

namespace Crypt {
namespace internal {
namespace {

// Reflected form of 0x04C11DB7.
const std::uint32_t POLYNOMIAL_REFLECTED = 0xEDB88320u;

// table[0] is the classic reflected byte table; table[k][i] is the register
// after byte i followed by k zero bytes, so sixteen independent look-ups
// advance the register over sixteen bytes.
struct S_SliceTables {
  std::uint32_t table[16][256];
};

constexpr S_SliceTables MakeSliceTables() {
  S_SliceTables tables{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ POLYNOMIAL_REFLECTED : crc >> 1;
    tables.table[0][i] = crc;
  }
  for (int k = 1; k < 16; ++k) {
    for (int i = 0; i < 256; ++i) {
      const std::uint32_t previous = tables.table[k - 1][i];
      tables.table[k][i] = (previous >> 8) ^ tables.table[0][previous & 0xFF];
    }
  }
  return tables;
}

constexpr S_SliceTables SLICE = MakeSliceTables();
static_assert(SLICE.table[0][1] == 0x77073096u && SLICE.table[0][255] == 0x2D02EF8Du,
              "reflected CRC-32 table");

inline std::uint32_t Load32(const std::uint8_t* i_p) {
  return static_cast<std::uint32_t>(i_p[0]) | static_cast<std::uint32_t>(i_p[1]) << 8 |
         static_cast<std::uint32_t>(i_p[2]) << 16 | static_cast<std::uint32_t>(i_p[3]) << 24;
}

// Larger copies than this bypass the cache on the write side: the target
// cannot stay in cache anyway, and write-allocate would read it in first.
const std::size_t STREAM_THRESHOLD = 4u << 20;
// Pieces stay well inside the first-level data cache, so the copy reads what
// the CRC has just brought in.
const std::size_t COPY_PIECE = 16u << 10;

bool HasPclmul() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
#else
  return false;
#endif
}

bool HasVpclmul() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  // The AVX-512 answers already include the operating system's consent to
  // save the wide registers.
  return HasPclmul() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("vpclmulqdq");
#else
  return false;
#endif
}

bool HasSse2() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("sse2");
#else
  return false;
#endif
}

struct S_Implementations {
  S_Crc32Impl entries[4];
  std::size_t count;
};

S_Implementations MakeImplementations() {
  S_Implementations all{};
  all.entries[all.count++] = {"bytewise", &Crc32Bytewise, true};
  all.entries[all.count++] = {"slice16", &Crc32Slice16, true};
#if defined(__x86_64__) || defined(__i386__)
  all.entries[all.count++] = {"pclmul", &Crc32Pclmul, HasPclmul()};
  all.entries[all.count++] = {"vpclmul", &Crc32Vpclmul, HasVpclmul()};
#endif
  return all;
}

const S_Implementations& Implementations() {
  static const S_Implementations s_all = MakeImplementations();
  return s_all;
}

}  // namespace

std::uint32_t Crc32Bytewise(std::uint32_t i_register, const std::uint8_t* i_pData,
                            std::size_t i_nSize) {
  const std::uint32_t* table = SLICE.table[0];
  for (std::size_t i = 0; i < i_nSize; ++i)
    i_register = (i_register >> 8) ^ table[(i_register ^ i_pData[i]) & 0xFF];
  return i_register;
}

std::uint32_t Crc32Slice16(std::uint32_t i_register, const std::uint8_t* i_pData,
                           std::size_t i_nSize) {
  const auto& t = SLICE.table;
  while (i_nSize >= 16) {
    // Twelve of the sixteen look-ups do not depend on the register; summing
    // them first leaves only four look-ups and their sum on the chain from
    // one round to the next.
    const std::uint32_t b = Load32(i_pData + 4);
    const std::uint32_t c = Load32(i_pData + 8);
    const std::uint32_t d = Load32(i_pData + 12);
    std::uint32_t rest = (t[11][b & 0xFF] ^ t[10][(b >> 8) & 0xFF]) ^ (t[9][(b >> 16) & 0xFF] ^ t[8][b >> 24]);
    rest ^= (t[7][c & 0xFF] ^ t[6][(c >> 8) & 0xFF]) ^ (t[5][(c >> 16) & 0xFF] ^ t[4][c >> 24]);
    rest ^= (t[3][d & 0xFF] ^ t[2][(d >> 8) & 0xFF]) ^ (t[1][(d >> 16) & 0xFF] ^ t[0][d >> 24]);
    const std::uint32_t a = Load32(i_pData) ^ i_register;
    const std::uint32_t head =
        (t[15][a & 0xFF] ^ t[14][(a >> 8) & 0xFF]) ^ (t[13][(a >> 16) & 0xFF] ^ t[12][a >> 24]);
    i_register = head ^ rest;
    i_pData += 16;
    i_nSize -= 16;
  }
  return Crc32Bytewise(i_register, i_pData, i_nSize);
}

const S_Crc32Impl* Crc32Implementations(std::size_t* o_count) {
  const S_Implementations& all = Implementations();
  *o_count = all.count;
  return all.entries;
}

const S_Crc32Impl& Crc32Selected() {
  static const S_Crc32Impl* s_selected = [] {
    const S_Implementations& all = Implementations();
    const S_Crc32Impl* best = &all.entries[0];
    for (std::size_t i = 0; i < all.count; ++i)
      if (all.entries[i].available) best = &all.entries[i];
    return best;
  }();
  return *s_selected;
}

std::uint32_t Crc32Copy(std::uint32_t i_register, std::uint8_t* o_pTarget,
                        const std::uint8_t* i_pSource, std::size_t i_nSize) {
  const T_Crc32Update update = Crc32Selected().update;
#if defined(__x86_64__) || defined(__i386__)
  static const bool s_canStream = HasSse2();
  const bool stream = s_canStream && i_nSize >= STREAM_THRESHOLD;
#else
  const bool stream = false;
#endif
  while (i_nSize > 0) {
    const std::size_t piece = std::min(i_nSize, COPY_PIECE);
    i_register = update(i_register, i_pSource, piece);
#if defined(__x86_64__) || defined(__i386__)
    if (stream)
      StreamCopy(o_pTarget, i_pSource, piece);
    else
#endif
      std::memcpy(o_pTarget, i_pSource, piece);
    o_pTarget += piece;
    i_pSource += piece;
    i_nSize -= piece;
  }
  return i_register;
}

}  // namespace internal
}  // namespace Crypt
