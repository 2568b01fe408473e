#include "cloak/Cloak.h"

#include <cstddef>
#include <cstring>
#include <vector>

#if defined(__i386__) || defined(__x86_64__)
#include <immintrin.h>
#define VEK_CLOAK_X86 1
#endif

// Why this is fast. The byte taken from each state is bits 9 to 16, which
// depend only on the state modulo 2^17, and the low 17 bits of
// state' = 1 - 99 * state depend only on the low 17 bits of state. With the
// increment odd and the multiplier minus one divisible by four, that low part
// runs through all 2^17 values before it repeats. So the key stream of every
// start state is the same 128 KiB cycle, entered at a position fixed by the
// state's low 17 bits, and cloaking is an exclusive-or with a piece of one
// constant table. The full 32-bit state after k steps is an affine map
// a^k * s + c_k, found by squaring in log2(k) steps.

namespace Crypt {

namespace {

constexpr std::uint32_t MULTIPLIER = 0u - 99u;  // 1 - 99 * s == MULTIPLIER * s + 1
constexpr std::uint32_t INCREMENT = 1;
constexpr std::uint32_t CYCLE = 1u << 17;
constexpr std::uint32_t LOW_MASK = CYCLE - 1;
// Below this length the plain loop wins (and the tables are not built).
constexpr long SHORT_LENGTH = 64;

inline std::uint32_t Step(std::uint32_t i_state) { return MULTIPLIER * i_state + INCREMENT; }

std::uint32_t PlainLoop(const unsigned char* i_source, unsigned char* o_target, long i_length,
                        std::uint32_t i_state) {
  for (long i = 0; i < i_length; ++i) {
    i_state = Step(i_state);
    o_target[i] = static_cast<unsigned char>(i_source[i] ^ ((i_state >> 9) & 0xFF));
  }
  return i_state;
}

using XorFunction = void (*)(const unsigned char*, const unsigned char*, unsigned char*, std::size_t);

// o_target = i_source ^ i_key, n bytes; the generic version works in
// machine words.
void XorWords(const unsigned char* i_source, const unsigned char* i_key, unsigned char* o_target,
              std::size_t n) {
  std::size_t i = 0;
  for (; i + sizeof(unsigned long) <= n; i += sizeof(unsigned long)) {
    unsigned long a, b;
    std::memcpy(&a, i_source + i, sizeof a);
    std::memcpy(&b, i_key + i, sizeof b);
    a ^= b;
    std::memcpy(o_target + i, &a, sizeof a);
  }
  for (; i < n; ++i) o_target[i] = static_cast<unsigned char>(i_source[i] ^ i_key[i]);
}

#ifdef VEK_CLOAK_X86
__attribute__((target("sse2"))) void XorSse2(const unsigned char* i_source, const unsigned char* i_key,
                                             unsigned char* o_target, std::size_t n) {
  std::size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    for (std::size_t j = 0; j < 64; j += 16) {
      __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(i_source + i + j));
      __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(i_key + i + j));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o_target + i + j), _mm_xor_si128(a, b));
    }
  }
  XorWords(i_source + i, i_key + i, o_target + i, n - i);
}

__attribute__((target("avx2"))) void XorAvx2(const unsigned char* i_source, const unsigned char* i_key,
                                             unsigned char* o_target, std::size_t n) {
  std::size_t i = 0;
  for (; i + 128 <= n; i += 128) {
    for (std::size_t j = 0; j < 128; j += 32) {
      __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(i_source + i + j));
      __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(i_key + i + j));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(o_target + i + j), _mm256_xor_si256(a, b));
    }
  }
  XorWords(i_source + i, i_key + i, o_target + i, n - i);
}
#endif

XorFunction PickXor() {
#ifdef VEK_CLOAK_X86
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) return XorAvx2;
  if (__builtin_cpu_supports("sse2")) return XorSse2;
#endif
  return XorWords;
}

// The key cycle and where each low state enters it.
struct S_Tables {
  std::vector<unsigned char> key;       // key[i]: byte used by the step from lowState(i)
  std::vector<std::uint32_t> position;  // position[low] = i with lowState(i) == low
  XorFunction xorBytes;

  S_Tables() : key(CYCLE), position(CYCLE), xorBytes(PickXor()) {
    std::uint32_t low = 0;
    for (std::uint32_t i = 0; i < CYCLE; ++i) {
      position[low] = i;
      low = Step(low) & LOW_MASK;
      key[i] = static_cast<unsigned char>((low >> 9) & 0xFF);
    }
  }
};

const S_Tables& Tables() {
  static const S_Tables s_tables;  // built once, thread-safe (C++11 statics)
  return s_tables;
}

std::uint32_t Apply(const unsigned char* i_source, unsigned char* o_target, long i_length,
                    std::uint32_t i_state) {
  if (i_length <= 0) return i_state;
  if (i_length < SHORT_LENGTH) return PlainLoop(i_source, o_target, i_length, i_state);
  const S_Tables& tables = Tables();
  std::size_t remaining = static_cast<std::size_t>(i_length);
  std::size_t at = tables.position[i_state & LOW_MASK];
  std::size_t done = 0;
  while (remaining) {
    std::size_t piece = CYCLE - at < remaining ? CYCLE - at : remaining;
    tables.xorBytes(i_source + done, tables.key.data() + at, o_target + done, piece);
    done += piece;
    remaining -= piece;
    at = 0;
  }
  return Advance(i_state, static_cast<std::uint64_t>(i_length));
}

}  // namespace

std::uint32_t Advance(std::uint32_t i_state, std::uint64_t i_steps) {
  // Compose the affine map s -> a*s + c with itself by squaring.
  std::uint32_t a = 1, c = 0;  // the identity
  std::uint32_t stepA = MULTIPLIER, stepC = INCREMENT;
  while (i_steps) {
    if (i_steps & 1) {
      a = stepA * a;
      c = stepA * c + stepC;
    }
    stepC = stepA * stepC + stepC;
    stepA = stepA * stepA;
    i_steps >>= 1;
  }
  return a * i_state + c;
}

std::uint32_t Cloak(void* io_buffer, long i_length, std::uint32_t i_state) {
  unsigned char* bytes = static_cast<unsigned char*>(io_buffer);
  return Apply(bytes, bytes, i_length, i_state);
}

std::uint32_t CloakCopy(const void* i_source, void* o_target, long i_length, std::uint32_t i_state) {
  return Apply(static_cast<const unsigned char*>(i_source), static_cast<unsigned char*>(o_target),
               i_length, i_state);
}

}  // namespace Crypt
