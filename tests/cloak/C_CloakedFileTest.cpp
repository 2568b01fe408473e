#include "cloak/C_CloakedFile.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <ctime>
#include <random>

#include "Common/Localization/Local.h"
#include "Common/Localization/VekMessages.h"
#include "cloak/Cloak.h"
#include "foundation/C_Glob.h"
#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

namespace {

const std::uint32_t kMagic = 0x7A715E58;  // "X^qz"

std::string Header(std::uint32_t i_magic, std::uint32_t i_size, std::uint16_t i_method,
                   std::uint16_t i_variant, std::uint32_t i_seed) {
  std::string h(16, '\0');
  for (int i = 0; i < 4; ++i) {
    h[i] = static_cast<char>(i_magic >> (8 * i));
    h[4 + i] = static_cast<char>(i_size >> (8 * i));
    h[12 + i] = static_cast<char>(i_seed >> (8 * i));
  }
  for (int i = 0; i < 2; ++i) {
    h[8 + i] = static_cast<char>(i_method >> (8 * i));
    h[10 + i] = static_cast<char>(i_variant >> (8 * i));
  }
  return h;
}

std::string Cloaked(std::string i_plain, std::uint32_t i_seed) {
  Crypt::Cloak(&i_plain[0], static_cast<long>(i_plain.size()), i_seed);
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

TEST_F(C_CloakedFileTest, WrittenBytesFollowTheFormat) {
  const std::string path = m_dir.File("abc.ck");
  const std::uint32_t before = static_cast<std::uint32_t>(std::time(nullptr));
  C_CloakedFile out;
  ASSERT_TRUE(out.OpenOutput(path));
  EXPECT_EQ(out.Write("x", 0), 0u);
  const char data[] = "abc";
  EXPECT_EQ(out.Write(data, 3), 3u);
  EXPECT_STREQ(data, "abc");  // the caller's bytes are not cloaked
  EXPECT_EQ(out.GetSize(), 3u);
  const std::uint32_t seed = out.GetSeed();
  out.Close();
  EXPECT_GE(seed, before);  // the seed is the time of writing
  EXPECT_LE(seed, static_cast<std::uint32_t>(std::time(nullptr)));
  EXPECT_EQ(ReadFileBytes(path), Header(kMagic, 16, 1, 0, seed) + Cloaked("abc", seed));
  EXPECT_EQ(ReadAll(path, 1), "abc");

  // A header alone is an empty file.
  WriteFileBytes(path, Header(kMagic, 16, 1, 0, 77));
  C_CloakedFile in;
  ASSERT_TRUE(in.OpenInput(path));
  EXPECT_EQ(in.GetSize(), 0u);
  EXPECT_EQ(in.GetState(), 77u);
  char c;
  EXPECT_EQ(in.Read(&c, 1), 0u);
  EXPECT_EQ(in.GetState(), 77u);
}

TEST_F(C_CloakedFileTest, RoundTripsInOneAndInManyCalls) {
  const std::string plain = RandomText(1 << 20, 7);
  const std::string one = m_dir.File("one.ck");
  const std::string many = m_dir.File("many.ck");
  {
    C_CloakedFile out;
    ASSERT_TRUE(out.OpenOutput(one));
    EXPECT_EQ(out.Write(plain.data(), static_cast<std::uint32_t>(plain.size())), plain.size());
  }  // destruction closes it
  {
    C_CloakedFile out;
    ASSERT_TRUE(out.OpenOutput(many));
    std::mt19937 random(8);
    for (std::size_t at = 0, piece; at < plain.size(); at += piece) {
      piece = std::min<std::size_t>(1 + random() % 3000, plain.size() - at);
      ASSERT_EQ(out.Write(plain.data() + at, static_cast<std::uint32_t>(piece)), piece);
    }
    out.Close();
  }
  for (const std::string& path : {one, many}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(ReadAll(path, 1 << 20), plain);
    EXPECT_EQ(ReadAll(path, 977), plain);
  }
  // The contents are the plain bytes cloaked from the header's seed.
  const std::string bytes = ReadFileBytes(one);
  std::uint32_t seed = 0;
  for (int i = 3; i >= 0; --i) seed = seed << 8 | static_cast<unsigned char>(bytes[12 + i]);
  EXPECT_EQ(bytes.substr(16), Cloaked(plain, seed));
}

TEST_F(C_CloakedFileTest, HeaderChecksInOrder) {
  const std::string good = Header(kMagic, 16, 1, 0, 5);
  const struct {
    const char* what;
    std::string bytes;
    const char* message;
    int code;
  } cases[] = {
      {"empty file", "", "Cannot read header", 3},
      {"shorter than 8 bytes", good.substr(0, 7), "Cannot read header", 3},
      {"shorter than 16 bytes", good.substr(0, 15), "Cannot read header", 3},
      {"magic differs", Header(kMagic + 1, 16, 1, 0, 5), "Bad magic number", 5},
      {"magic before size", Header(0, 12, 2, 1, 5), "Bad magic number", 5},
      {"magic before a short header", "Y" + good.substr(1, 7), "Bad magic number", 5},
      {"header size 12", Header(kMagic, 12, 1, 0, 5), "Bad header size", 5},
      {"size before reading the rest", good.substr(0, 4) + std::string("\x0c\0\0\0", 4), "Bad header size", 5},
      {"method before the variant", Header(kMagic, 16, 2, 7, 5), "Unknown cloaking method", 5},
      {"variant 1", Header(kMagic, 16, 1, 1, 5), "Unknown XOR variant", 5},
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

// Opening fails with false; the output replaces its file only when closed;
// a failing close throws.
TEST_F(C_CloakedFileTest, OpenReplaceAndClose) {
  C_CloakedFile file;
  EXPECT_FALSE(file.OpenInput(m_dir.File("missing.ck")));
  EXPECT_FALSE(file.OpenOutput(m_dir.File("no/such/dir/x.ck")));
  EXPECT_FALSE(file.IsOpen());

  const std::string path = m_dir.File("target.ck");
  WriteFileBytes(path, "precious");
  ASSERT_TRUE(file.OpenOutput(path));
  file.Write("new", 3);
  EXPECT_EQ(ReadFileBytes(path), "precious");
  // A second open closes (and so completes) the first file.
  ASSERT_TRUE(file.OpenOutput(m_dir.File("second.ck")));
  EXPECT_EQ(ReadAll(path, 10), "new");
  file.Close();
  EXPECT_TRUE(N_FileUtilities::FileExists(m_dir.File("second.ck")));
  EXPECT_TRUE(C_Glob(m_dir.Path() + "/.*.tmp").empty());

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

// Files of any content: an exception or contents, never a crash.
TEST_F(C_CloakedFileTest, RandomFiles) {
  std::mt19937 random(11);
  const std::string path = m_dir.File("random.ck");
  for (int round = 0; round < 300; ++round) {
    std::string bytes = RandomText(random() % 64, round);
    if (round % 2) {
      bytes = Header(kMagic, random() % 64, random() % 3, random() % 2, random()).substr(0, random() % 17) + bytes;
    }
    WriteFileBytes(path, bytes);
    C_CloakedFile file;
    try {
      if (file.OpenInput(path)) {
        char buffer[100];
        std::uint32_t total = 0;
        while (std::uint32_t n = file.Read(buffer, sizeof buffer)) total += n;
        EXPECT_EQ(total, file.GetSize());
      }
    } catch (const C_CloakedFile::C_CloakException& e) {
      EXPECT_TRUE(e.GetErrno() == 3 || e.GetErrno() == 5) << e.what();
    }
  }
}

}  // namespace
