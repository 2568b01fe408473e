#include "cloak/C_CloakedFile.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <ctime>
#include <random>
#include <thread>
#include <vector>

#include "Common/Localization/Local.h"
#include "Common/Localization/VekMessages.h"
#include "cloak/Cloak.h"
#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

namespace {

const std::uint32_t kMagic = 0x7A715E58;  // "X^qz"

// A header: the four little-endian 32-bit fields, method and variant
// sharing the third.
std::string Header(std::uint32_t i_magic, std::uint32_t i_size, std::uint16_t i_method, std::uint16_t i_variant,
                   std::uint32_t i_seed) {
  std::string h;
  for (std::uint32_t field : {i_magic, i_size, i_method | static_cast<std::uint32_t>(i_variant) << 16, i_seed}) {
    for (int i = 0; i < 4; ++i) h += static_cast<char>(field >> (8 * i));
  }
  return h;
}

// The definition of cloaking, one byte at a time: the state steps, then the
// byte is XORed with bits 9 to 16 of the new state. Returns the last state.
std::uint32_t Reference(std::string& io_bytes, std::uint32_t i_state) {
  for (char& c : io_bytes) {
    i_state = 1u - 99u * i_state;
    c = static_cast<char>(c ^ ((i_state >> 9) & 0xFF));
  }
  return i_state;
}

std::string Cloaked(std::string i_plain, std::uint32_t i_seed) {
  Reference(i_plain, i_seed);
  return i_plain;
}

std::string RandomText(std::size_t i_size, unsigned i_seed) {
  std::mt19937 random(i_seed);
  std::string text(i_size, '\0');
  for (char& c : text) c = static_cast<char>(random());
  return text;
}

class C_CloakedFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Local::SetLocale("C");
    Local::SetDirectory(N_VekMessages::FACILITY_CODE, VEK_SOURCE_DIR "/");
  }
  // The contents of a cloaked file, read in pieces of i_piece bytes.
  std::string ReadAll(const std::string& i_path, std::uint32_t i_piece) {
    C_CloakedFile file;
    EXPECT_TRUE(file.OpenInput(i_path));
    std::string out;
    std::vector<char> buffer(i_piece);
    while (std::uint32_t n = file.Read(buffer.data(), i_piece)) out.append(buffer.data(), n);
    return out;
  }
  C_TempDir m_dir;
};

// The file is the header (the seed is the time of writing) and the plain
// bytes cloaked from the seed, written in one call or in pieces and read
// back in pieces of any size; the caller's bytes are not cloaked (plain
// is compared after writing).
TEST_F(C_CloakedFileTest, WrittenBytesFollowTheFormat) {
  const std::string plain = RandomText(1 << 20, 7);
  std::mt19937 random(8);
  for (std::size_t limit : {plain.size(), std::size_t(3000)}) {  // one call, then pieces of 1 to 3000 bytes
    const std::string path = m_dir.File("file.ck");
    const std::uint32_t before = static_cast<std::uint32_t>(std::time(nullptr));
    std::uint32_t seed = 0;
    {
      C_CloakedFile out;  // closed by its destructor
      ASSERT_TRUE(out.OpenOutput(path));
      EXPECT_EQ(out.Write("x", 0), 0u);
      for (std::size_t at = 0, piece; at < plain.size(); at += piece) {
        piece = std::min<std::size_t>(1 + random() % limit, plain.size() - at);
        ASSERT_EQ(out.Write(plain.data() + at, static_cast<std::uint32_t>(piece)), piece);
      }
      EXPECT_EQ(out.GetSize(), plain.size());
      seed = out.GetSeed();
    }
    EXPECT_GE(seed, before);
    EXPECT_LE(seed, static_cast<std::uint32_t>(std::time(nullptr)));
    EXPECT_TRUE(ReadFileBytes(path) == Header(kMagic, 16, 1, 0, seed) + Cloaked(plain, seed));
    EXPECT_TRUE(ReadAll(path, 1 << 20) == plain);
    EXPECT_TRUE(ReadAll(path, 977) == plain);
  }

  // A header alone is an empty file.
  WriteFileBytes(m_dir.File("empty.ck"), Header(kMagic, 16, 1, 0, 77));
  C_CloakedFile in;
  ASSERT_TRUE(in.OpenInput(m_dir.File("empty.ck")));
  EXPECT_EQ(in.GetSize(), 0u);
  EXPECT_EQ(in.GetState(), 77u);
  char c;
  EXPECT_EQ(in.Read(&c, 1), 0u);
  EXPECT_EQ(in.GetState(), 77u);
}

TEST_F(C_CloakedFileTest, HeaderChecksInOrder) {
  const std::string good = Header(kMagic, 16, 1, 0, 5);
  const struct { const char* what; std::string bytes; const char* message; int code; } cases[] = {
      {"empty file", "", "Cannot read header", 3},
      {"shorter than 8 bytes", good.substr(0, 7), "Cannot read header", 3},
      {"shorter than 16 bytes", good.substr(0, 15), "Cannot read header", 3},
      {"magic differs", Header(kMagic + 1, 16, 1, 0, 5), "Bad magic number", 5},
      {"magic before size", Header(0, 12, 2, 1, 5), "Bad magic number", 5},
      {"magic before a short header", "Y" + good.substr(1, 7), "Bad magic number", 5},
      {"header size 12", Header(kMagic, 12, 1, 0, 5), "Bad header size", 5},
      {"size before reading the rest", good.substr(0, 4) + std::string("\x0c\0\0\0", 4), "Bad header size", 5},
      {"method before the variant", Header(kMagic, 16, 2, 7, 5), "Unknown cloaking method", 5},
      {"variant 256: both bytes count", Header(kMagic, 16, 1, 0x100, 5), "Unknown XOR variant", 5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = m_dir.File("bad.ck");
    WriteFileBytes(path, c.bytes);
    C_CloakedFile file;
    try {
      file.OpenInput(path);
      ADD_FAILURE() << "no exception";
    } catch (const C_CloakedFile::C_CloakException& e) {
      EXPECT_EQ(e.what(), std::string("C_CloakedFile: ") + c.message);
      EXPECT_EQ(e.GetErrno(), c.code);
      EXPECT_EQ(e.GetText().GetMsgId(), N_VekMessages::Id(N_VekMessages::MSG_CLOAK_FRAME));
      std::unique_ptr<C_Exception> clone(e.Clone());
      EXPECT_NE(dynamic_cast<C_CloakedFile::C_CloakException*>(clone.get()), nullptr);
    }
    EXPECT_TRUE(file.IsOpen());  // stays open until Close
  }
}

TEST_F(C_CloakedFileTest, LargerHeaderSizesAreSkipped) {
  const std::string plain = "contents after a longer header";
  const std::string path = m_dir.File("long.ck");
  WriteFileBytes(path, Header(kMagic, 32, 1, 0, 99) + std::string(16, '?') + Cloaked(plain, 99));
  C_CloakedFile file;
  ASSERT_TRUE(file.OpenInput(path));
  EXPECT_EQ(file.GetSize(), plain.size());
  EXPECT_EQ(ReadAll(path, 5), plain);

  // A header size past the end of the file: no contents, no failure.
  WriteFileBytes(path, Header(kMagic, 0xFFFFFFFF, 1, 0, 99) + "abc");
  ASSERT_TRUE(file.OpenInput(path));
  EXPECT_EQ(file.GetSize(), 0u);
  char buffer[8];
  EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u);
}

// Opening fails with false; the output file is created or truncated at
// once and written in place; a second open completes the first file; a
// failing close throws.
TEST_F(C_CloakedFileTest, OpenAndClose) {
  C_CloakedFile file;
  EXPECT_FALSE(file.OpenInput(m_dir.File("missing.ck")));
  EXPECT_FALSE(file.OpenOutput(m_dir.File("no/such/dir/x.ck")));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetSize(), 0u);  // nothing open
  const std::string path = m_dir.File("target.ck");
  WriteFileBytes(path, "old contents of the file");
  ASSERT_TRUE(file.OpenOutput(path));
  file.Write("new", 3);
  EXPECT_EQ(file.GetSize(), 3u);  // flushes: the bytes are in the named file
  EXPECT_EQ(ReadFileBytes(path), Header(kMagic, 16, 1, 0, file.GetSeed()) + Cloaked("new", file.GetSeed()));
  ASSERT_TRUE(file.OpenOutput(m_dir.File("second.ck")));
  EXPECT_EQ(ReadAll(path, 10), "new");
  file.Close();
  EXPECT_TRUE(N_FileUtilities::FileExists(m_dir.File("second.ck")));

  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  ASSERT_TRUE(file.OpenOutput("/dev/full"));  // the header sits in the stream's buffer
  try {
    file.Close();
    ADD_FAILURE() << "no exception";
  } catch (const C_CloakedFile::C_CloakException& e) {
    EXPECT_STREQ(e.what(), "C_CloakedFile: Cannot close file");
    EXPECT_EQ(e.GetErrno(), C_CloakedFile::ERRNO_WRITE);
  }
  EXPECT_FALSE(file.IsOpen());
}

constexpr long kCycle = 1L << 17;

// Start states: small, large, and one whose low part sits just before the
// end of the key cycle (the cycle starts at low part 0), so every length
// crosses the wrap.
std::vector<std::uint32_t> StartStates() {
  std::string scratch(kCycle - 10, '\0');
  std::uint32_t nearWrap = Reference(scratch, 0);
  std::vector<std::uint32_t> states = {0, 1, 0xFFFFFFFF, 0x80000000, 0x1FFFF, 0x20000, 0xDEADBEEF, nearWrap,
                                       nearWrap + 0x12340000};
  std::mt19937 random(99);
  for (int i = 0; i < 4; ++i) states.push_back(random());
  return states;
}

// Cloak in place and CloakCopy give the bytes and state of the byte loop.
TEST(Cloak, MatchesTheByteLoopForEveryLengthAndState) {
  std::vector<long> lengths;
  for (long n = 0; n <= 300; ++n) lengths.push_back(n);
  for (long n : {1000L, 4095L, 4096L, 65537L, kCycle - 1, kCycle, kCycle + 1, 3 * kCycle + 77}) lengths.push_back(n);
  const std::string data = RandomText(3 * kCycle + 77, 1);
  for (std::uint32_t state : StartStates()) {
    for (long length : lengths) {
      std::string expected = data.substr(0, static_cast<std::size_t>(length));
      std::string inPlace = expected, copy(expected.size(), '\0');
      const std::uint32_t want = Reference(expected, state);
      ASSERT_EQ(Crypt::Cloak(&inPlace[0], length, state), want) << "state " << state << " length " << length;
      ASSERT_TRUE(inPlace == expected) << "state " << state << " length " << length;
      ASSERT_EQ(Crypt::CloakCopy(data.data(), &copy[0], length, state), want);
      ASSERT_TRUE(copy == expected);
      ASSERT_EQ(Crypt::Advance(state, static_cast<std::uint64_t>(length)), want);
    }
  }
  char byte = 'Z';
  EXPECT_EQ(Crypt::Cloak(&byte, -5, 1234), 1234u);
  EXPECT_EQ(Crypt::CloakCopy(&byte, &byte, -1, 9), 9u);
  EXPECT_EQ(byte, 'Z');
}

// Many threads making the first large call at once: the tables are built
// once and every thread gets the right bytes.
TEST(CloakThreads, ConcurrentFirstUse) {
  const std::string data = RandomText(300000, 5);
  std::string expected = data;
  const std::uint32_t want = Reference(expected, 42);
  std::vector<std::string> results(4, data);
  std::vector<std::uint32_t> states(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] { states[t] = Crypt::Cloak(&results[t][0], static_cast<long>(data.size()), 42); });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < 4; ++t) {
    EXPECT_EQ(states[t], want);
    EXPECT_TRUE(results[t] == expected);
  }
}

}  // namespace
