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

// The check value of "123456789", whole or in pieces; reading the value
// does not disturb the running CRC.
TEST(C_CRC32Test, CheckValuesWholeAndPiecewise) {
  Crypt::C_CRC32 crc;
  crc.Update(nullptr, 0);
  EXPECT_EQ(crc.GetCRC(), 0u);  // no bytes
  crc.Update("1234", 4);
  (void)crc.GetCRC();
  crc.Update("56789", 5);
  EXPECT_EQ(crc.GetCRC(), 0xCBF43926u);
  crc.Clear();
  for (const char* p = "123456789"; *p; ++p) crc.Update(p, 1);
  EXPECT_EQ(crc.GetCRC(), 0xCBF43926u);
  EXPECT_EQ(ReferenceCrc("123456789", 9), 0xCBF43926u);
}

// Every length from 0 to 4096 at every start offset from 0 to 63, fed in
// pieces of random sizes, for each implementation this processor runs (one
// test each). The widest path loads 64 bytes at a time without alignment
// requirements, so its behaviour depends on the address only modulo 64 (also
// the cache-line size): 64 offsets cover every alignment. 4096 bytes take
// every path through several rounds of its main loop, its lane reductions
// and tails.
class C_CRC32SweepTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(C_CRC32SweepTest, MatchesByteAtATimeAtEveryLengthAndAlignment) {
  std::size_t count = 0;
  const Crypt::internal::S_Crc32Impl& impl = Crypt::internal::Crc32Implementations(&count)[GetParam()];
  if (!impl.available) GTEST_SKIP() << impl.name << " does not run on this processor";

  const std::size_t MAX_LENGTH = 4096, OFFSETS = 64;
  const std::vector<std::uint8_t> data = RandomBytes(MAX_LENGTH + OFFSETS, 11);
  std::mt19937 random(3);
  for (std::size_t o = 0; o < OFFSETS; ++o) {
    S_ReferenceCrc reference;  // over the first n bytes from offset o
    for (std::size_t n = 0; n <= MAX_LENGTH; ++n) {
      if (n > 0) reference.Add(data[o + n - 1]);
      // One call for the whole length half of the time, otherwise random
      // cuts, mostly small, sometimes long.
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
      ASSERT_EQ(~reg, reference.Value()) << "offset " << o << " length " << n;
    }
  }
}

std::size_t ImplementationCount() {
  std::size_t count = 0;
  Crypt::internal::Crc32Implementations(&count);
  return count;
}

INSTANTIATE_TEST_SUITE_P(Each, C_CRC32SweepTest, ::testing::Range<std::size_t>(0, ImplementationCount()),
                         [](const ::testing::TestParamInfo<std::size_t>& i_info) {
                           std::size_t count = 0;
                           return std::string(Crypt::internal::Crc32Implementations(&count)[i_info.param].name);
                         });

TEST(C_CRC32Test, SelectedImplementationIsTheFastestAvailable) {
  std::size_t count = 0;
  const Crypt::internal::S_Crc32Impl* impls = Crypt::internal::Crc32Implementations(&count);
  // The two portable ones are always there.
  ASSERT_TRUE(impls[0].available && impls[1].available);
  while (!impls[count - 1].available) --count;
  EXPECT_STREQ(Crypt::internal::Crc32Selected().name, impls[count - 1].name);
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
