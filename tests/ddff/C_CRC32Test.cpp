#include "ddff/C_CRC32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ddff/internal/Crc32Impl.h"
#include "tests/ddff/Reference.h"

namespace {

using ddfftest::ReferenceCrc;
using ddfftest::S_ReferenceCrc;

std::vector<std::uint8_t> RandomBytes(std::size_t i_nSize, unsigned i_seed) {
  std::mt19937 random(i_seed);
  std::vector<std::uint8_t> bytes(i_nSize);
  for (std::uint8_t& b : bytes) b = static_cast<std::uint8_t>(random());
  return bytes;
}

TEST(C_CRC32Test, TablesHoldTheirDefinitions) {
  for (unsigned i = 0; i < 256; ++i) {
    std::uint32_t reg = i << 24;
    for (int bit = 0; bit < 8; ++bit) reg = (reg & 0x80000000u) ? (reg << 1) ^ 0x04C11DB7u : reg << 1;
    unsigned reversed = 0;
    for (int bit = 0; bit < 8; ++bit) reversed |= ((i >> bit) & 1u) << (7 - bit);
    ASSERT_EQ(Crypt::C_CRC32::lookup[i], reg) << "lookup[" << i << "]";
    ASSERT_EQ(Crypt::C_CRC32::reflect[i], reversed) << "reflect[" << i << "]";
  }
  EXPECT_EQ(Crypt::C_CRC32::lookup[1], 0x04C11DB7u);
  EXPECT_EQ(Crypt::C_CRC32::lookup[128], 0x690CE0EEu);
  EXPECT_EQ(Crypt::C_CRC32::lookup[255], 0xB1F740B4u);
  EXPECT_EQ(Crypt::C_CRC32::reflect[1], 0x80u);
}

TEST(C_CRC32Test, CheckValuesWholeAndPiecewise) {
  Crypt::C_CRC32 crc;
  EXPECT_EQ(crc.GetCRC(), 0u);  // no bytes
  crc.Update(nullptr, 0);
  EXPECT_EQ(crc.GetCRC(), 0u);

  crc.Update("123456789", 9);
  EXPECT_EQ(crc.GetCRC(), 0xCBF43926u);
  EXPECT_EQ(crc.GetCRC(), 0xCBF43926u);  // reading does not disturb

  crc.Clear();
  for (const char* p = "123456789"; *p; ++p) crc.Update(p, 1);
  EXPECT_EQ(crc.GetCRC(), 0xCBF43926u);

  // Update goes on after GetCRC.
  crc.Clear();
  crc.Update("1234", 4);
  (void)crc.GetCRC();
  crc.Update("56789", 5);
  EXPECT_EQ(crc.GetCRC(), 0xCBF43926u);
  EXPECT_EQ(ReferenceCrc("123456789", 9), 0xCBF43926u);
}

TEST(C_CRC32Test, LargeBuffersMatchTheReference) {
  const std::vector<std::uint8_t> data = RandomBytes((1 << 20) + 77, 7);
  for (std::size_t offset : {0u, 1u, 13u, 63u}) {
    Crypt::C_CRC32 crc;
    crc.Update(data.data() + offset, static_cast<std::uint32_t>(data.size() - offset));
    EXPECT_EQ(crc.GetCRC(), ReferenceCrc(data.data() + offset, data.size() - offset)) << offset;
  }
}

// Every length from 0 to 4096 at every start offset from 0 to 63, fed in
// pieces of random sizes, for each implementation this processor runs. The
// widest path loads 64 bytes at a time without alignment requirements, so
// its behaviour depends on the address only modulo 64 (also the cache-line
// size): 64 offsets cover every alignment. 4096 bytes take every path
// through several rounds of its main loop, its lane reductions and tails.
TEST(C_CRC32Test, EveryImplementationMatchesByteAtATimeAtEveryLengthAndAlignment) {
  const std::size_t MAX_LENGTH = 4096, OFFSETS = 64;
  const std::vector<std::uint8_t> data = RandomBytes(MAX_LENGTH + OFFSETS, 11);
  // expected[o][n]: the reference register over n bytes from offset o.
  std::vector<std::vector<std::uint32_t>> expected(OFFSETS, std::vector<std::uint32_t>(MAX_LENGTH + 1));
  for (std::size_t o = 0; o < OFFSETS; ++o) {
    S_ReferenceCrc reference;
    for (std::size_t n = 0; n <= MAX_LENGTH; ++n) {
      expected[o][n] = reference.Value();
      if (n < MAX_LENGTH) reference.Add(data[o + n]);
    }
  }

  std::size_t count = 0;
  const Crypt::internal::S_Crc32Impl* impls = Crypt::internal::Crc32Implementations(&count);
  ASSERT_GE(count, 2u);
  std::mt19937 random(3);
  for (std::size_t k = 0; k < count; ++k) {
    const Crypt::internal::S_Crc32Impl& impl = impls[k];
    if (!impl.available) continue;
    SCOPED_TRACE(impl.name);
    std::size_t failures = 0;
    std::string first;
    for (std::size_t o = 0; o < OFFSETS; ++o) {
      for (std::size_t n = 0; n <= MAX_LENGTH; ++n) {
        // Pieces: one call for the whole length half of the time, otherwise
        // random cuts, mostly small, sometimes long.
        std::uint32_t reg = 0xFFFFFFFFu;
        std::size_t done = 0;
        const bool whole = random() & 1;
        while (done < n) {
          std::size_t piece = n - done;
          if (!whole) {
            const std::size_t cap = (random() & 3) ? 300 : n - done;
            piece = std::min<std::size_t>(n - done, random() % (cap + 1));
          }
          reg = impl.update(reg, data.data() + o + done, piece);
          done += piece;
        }
        if (~reg != expected[o][n] && failures++ == 0)
          first = "offset " + std::to_string(o) + " length " + std::to_string(n);
      }
    }
    EXPECT_EQ(failures, 0u) << "first mismatch at " << first;
  }
}

TEST(C_CRC32Test, SelectedImplementationIsTheFastestAvailable) {
  std::size_t count = 0;
  const Crypt::internal::S_Crc32Impl* impls = Crypt::internal::Crc32Implementations(&count);
  const Crypt::internal::S_Crc32Impl* last = nullptr;
  for (std::size_t k = 0; k < count; ++k)
    if (impls[k].available) last = &impls[k];
  ASSERT_NE(last, nullptr);
  EXPECT_STREQ(Crypt::internal::Crc32Selected().name, last->name);
  // The two portable ones are always there.
  EXPECT_TRUE(impls[0].available);
  EXPECT_TRUE(impls[1].available);
}

// The fused copy, below and above the size where it starts to bypass the
// cache, to targets at odd addresses.
TEST(C_CRC32Test, CopyCopiesAndChecksumsInOnePass) {
  const std::vector<std::uint8_t> source = RandomBytes((5 << 20) + 3, 5);
  for (std::size_t size : {std::size_t(0), std::size_t(1), std::size_t(16385), std::size_t(5 << 20) + 1}) {
    for (std::size_t shift : {0u, 7u}) {
      SCOPED_TRACE(std::to_string(size) + " bytes, target offset " + std::to_string(shift));
      std::vector<std::uint8_t> target(size + 16, 0xEE);
      const std::uint32_t reg =
          Crypt::internal::Crc32Copy(0xFFFFFFFFu, target.data() + shift, source.data() + 2, size);
      EXPECT_EQ(~reg, ReferenceCrc(source.data() + 2, size));
      EXPECT_EQ(std::memcmp(target.data() + shift, source.data() + 2, size), 0);
      // Nothing written outside the range.
      for (std::size_t i = 0; i < shift; ++i) ASSERT_EQ(target[i], 0xEE);
      for (std::size_t i = shift + size; i < target.size(); ++i) ASSERT_EQ(target[i], 0xEE);
    }
  }
}

}  // namespace
