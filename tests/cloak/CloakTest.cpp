#include "cloak/Cloak.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

namespace {

// The definition, one byte at a time.
std::uint32_t Reference(unsigned char* io_bytes, long i_length, std::uint32_t i_state) {
  for (long i = 0; i < i_length; ++i) {
    i_state = 1u - 99u * i_state;
    io_bytes[i] ^= static_cast<unsigned char>((i_state >> 9) & 0xFF);
  }
  return i_state;
}

std::vector<unsigned char> RandomBytes(std::size_t i_size, std::uint32_t i_seed) {
  std::mt19937 random(i_seed);
  std::vector<unsigned char> bytes(i_size);
  for (auto& b : bytes) b = static_cast<unsigned char>(random());
  return bytes;
}

constexpr long kCycle = 1L << 17;

// Start states: small, large, and one whose low part sits just before the
// end of the key cycle (the cycle starts at low part 0), so every length
// crosses the wrap.
std::vector<std::uint32_t> StartStates() {
  std::vector<unsigned char> scratch(kCycle - 10);
  std::uint32_t nearWrap = Reference(scratch.data(), kCycle - 10, 0);
  std::vector<std::uint32_t> states = {0, 1, 0xFFFFFFFF, 0x80000000, 0x1FFFF, 0x20000, 0xDEADBEEF, nearWrap,
                                       nearWrap + 0x12340000};
  std::mt19937 random(99);
  for (int i = 0; i < 4; ++i) states.push_back(random());
  return states;
}

TEST(Cloak, MatchesTheByteLoopForEveryLengthAndState) {
  std::vector<long> lengths;
  for (long n = 0; n <= 300; ++n) lengths.push_back(n);
  for (long n : {1000L, 4095L, 4096L, 65537L, kCycle - 1, kCycle, kCycle + 1, 3 * kCycle + 77}) lengths.push_back(n);
  const std::vector<unsigned char> data = RandomBytes(static_cast<std::size_t>(3 * kCycle + 77), 1);
  for (std::uint32_t state : StartStates()) {
    for (long length : lengths) {
      std::vector<unsigned char> expected(data.begin(), data.begin() + length);
      std::vector<unsigned char> actual = expected;
      const std::uint32_t want = Reference(expected.data(), length, state);
      ASSERT_EQ(Crypt::Cloak(actual.data(), length, state), want) << "state " << state << " length " << length;
      ASSERT_EQ(actual, expected) << "state " << state << " length " << length;
      ASSERT_EQ(Crypt::Advance(state, static_cast<std::uint64_t>(length)), want);
    }
  }
}

TEST(Cloak, AnySplitIntoCallsGivesTheSameBytes) {
  const std::vector<unsigned char> data = RandomBytes(600000, 2);
  std::mt19937 random(3);
  for (std::uint32_t state : StartStates()) {
    std::vector<unsigned char> expected = data;
    const std::uint32_t want = Reference(expected.data(), static_cast<long>(expected.size()), state);
    for (int split = 0; split < 3; ++split) {
      std::vector<unsigned char> actual = data;
      std::uint32_t running = state;
      std::size_t at = 0;
      while (at < actual.size()) {
        // Pieces from 1 byte to well past the key cycle.
        std::size_t piece = split == 0 ? 1 + random() % 100 : split == 1 ? 1 + random() % 5000 : 1 + random() % 300000;
        piece = std::min(piece, actual.size() - at);
        running = Crypt::Cloak(actual.data() + at, static_cast<long>(piece), running);
        at += piece;
      }
      EXPECT_EQ(running, want);
      EXPECT_EQ(actual, expected) << "split " << split << " state " << state;
    }
  }
}

TEST(Cloak, CopyAndEdgeCases) {
  const std::vector<unsigned char> data = RandomBytes(200000, 4);
  std::vector<unsigned char> inPlace = data;
  std::vector<unsigned char> copy(data.size());
  EXPECT_EQ(Crypt::CloakCopy(data.data(), copy.data(), static_cast<long>(data.size()), 77),
            Reference(inPlace.data(), static_cast<long>(data.size()), 77));
  EXPECT_EQ(copy, inPlace);

  unsigned char byte = 0x5A;
  EXPECT_EQ(Crypt::Cloak(&byte, -5, 1234), 1234u);
  EXPECT_EQ(Crypt::CloakCopy(&byte, &byte, -1, 9), 9u);
  EXPECT_EQ(byte, 0x5A);
}

// Many threads making the first large call at once: the tables are built
// once and every thread gets the right bytes.
TEST(CloakThreads, ConcurrentFirstUse) {
  const std::vector<unsigned char> data = RandomBytes(300000, 5);
  std::vector<unsigned char> expected = data;
  const std::uint32_t want = Reference(expected.data(), static_cast<long>(expected.size()), 42);
  std::vector<std::vector<unsigned char>> results(4, data);
  std::vector<std::uint32_t> states(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] { states[t] = Crypt::Cloak(results[t].data(), static_cast<long>(data.size()), 42); });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < 4; ++t) {
    EXPECT_EQ(states[t], want);
    EXPECT_EQ(results[t], expected);
  }
}

}  // namespace
