#ifndef VEK_CLOAK_CLOAK_H
#define VEK_CLOAK_CLOAK_H

#include <cstdint>

namespace Crypt {

// The cloaking stream. For each byte in order:
//   state = 1 - 99 * state        (unsigned 32-bit, wrapping)
//   byte ^= (state >> 9) & 0xFF
// Cloak applies it to i_length bytes in place and returns the new state;
// with i_length 0 or less nothing changes and i_state comes back. Because it
// is an exclusive-or, the same call uncloaks. The state runs on across calls:
// cloaking a buffer in one call or in any number of consecutive pieces (each
// call given the state the previous one returned) gives the same bytes.
//
// Obscuring only, not encryption. Thread-safe: the only shared data are
// constant tables built once on the first call longer than a few dozen
// bytes (about 640 KiB, under a once-only guard).
std::uint32_t Cloak(void* io_buffer, long i_length, std::uint32_t i_state);

// The same stream applied while copying: o_target[i] = i_source[i] ^ key.
// The buffers may be the same but must not otherwise overlap.
std::uint32_t CloakCopy(const void* i_source, void* o_target, long i_length,
                                std::uint32_t i_state);

// The state after i_steps steps from i_state, without touching data.
std::uint32_t Advance(std::uint32_t i_state, std::uint64_t i_steps);

}  // namespace Crypt

#endif
