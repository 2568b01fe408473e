#include "cloak/C_CloakedFile.h"

#include <gtest/gtest.h>

#include <ctime>
#include <random>

#include "Common/Localization/Local.h"
#include "Common/Localization/VekMessages.h"
#include "cloak/Cloak.h"
#include "cloak/CloakedFileFormat.h"
#include "foundation/C_Glob.h"
#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

namespace {

std::string Header(std::uint32_t i_magic, std::uint32_t i_size, std::uint16_t i_method,
                   std::uint16_t i_variant, std::uint32_t i_seed) {
  std::string h(16, '\0');
  for (int i = 0; i < 4; ++i) {
    h[i] = static_cast<char>(i_magic >> (8 * i));
    h[4 + i] = static_cast<char>(i_size >> (8 * i));
    h[12 + i] = static_cast<char>(i_seed >> (8 * i));
  }
  h[8] = static_cast<char>(i_method);
  h[9] = static_cast<char>(i_method >> 8);
  h[10] = static_cast<char>(i_variant);
  h[11] = static_cast<char>(i_variant >> 8);
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
  std::string ReadAll(const std::string& i_path, std::uint32_t i_piece) {
    C_CloakedFile file;
    EXPECT_TRUE(file.OpenInput(i_path));
    std::string out;
    std::vector<char> buffer(i_piece);
    while (std::uint32_t n = file.Read(buffer.data(), i_piece)) out.append(buffer.data(), n);
    file.Close();
    return out;
  }
  C_TempDir m_dir;
};

TEST_F(C_CloakedFileTest, EmptyFileIsTheHeader) {
  const std::string path = m_dir.File("empty.ck");
  const std::uint32_t before = static_cast<std::uint32_t>(std::time(nullptr));
  C_CloakedFile out;
  EXPECT_EQ(out.GetMagic(), 0u);
  EXPECT_EQ(out.GetSize(), 0u);  // nothing open
  ASSERT_TRUE(out.OpenOutput(path));
  EXPECT_EQ(out.GetSize(), 0u);
  EXPECT_EQ(out.Write("x", 0), 0u);
  const std::uint32_t seed = out.GetSeed();
  out.Close();
  EXPECT_GE(seed, before);
  EXPECT_LE(seed, static_cast<std::uint32_t>(std::time(nullptr)));
  EXPECT_EQ(ReadFileBytes(path), Header(0x7A715E58, 16, 1, 0, seed));
  EXPECT_EQ(ReadFileBytes(path).substr(0, 4), "X^qz");

  C_CloakedFile in;
  ASSERT_TRUE(in.OpenInput(path));
  EXPECT_EQ(in.GetSize(), 0u);
  EXPECT_EQ(in.GetSeed(), seed);
  EXPECT_EQ(in.GetState(), seed);
  char c;
  EXPECT_EQ(in.Read(&c, 1), 0u);
  EXPECT_EQ(in.GetState(), seed);
}

TEST_F(C_CloakedFileTest, WrittenBytesFollowTheFormat) {
  const std::string path = m_dir.File("abc.ck");
  C_CloakedFile out;
  ASSERT_TRUE(out.OpenOutput(path));
  const char data[] = "abc";
  EXPECT_EQ(out.Write(data, 3), 3u);
  EXPECT_STREQ(data, "abc");  // the caller's bytes are not cloaked
  EXPECT_EQ(out.GetSize(), 3u);
  const std::uint32_t seed = out.GetSeed();
  out.Close();
  EXPECT_EQ(ReadFileBytes(path), Header(N_CloakedFileFormat::MAGIC, 16, 1, 0, seed) + Cloaked("abc", seed));

  // Read back in three one-byte calls.
  C_CloakedFile in;
  ASSERT_TRUE(in.OpenInput(path));
  EXPECT_EQ(in.GetSize(), 3u);
  std::string back;
  char c;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(in.Read(&c, 1), 1u);
    back += c;
  }
  EXPECT_EQ(in.Read(&c, 1), 0u);
  EXPECT_EQ(back, "abc");
}

TEST_F(C_CloakedFileTest, RoundTripsInOneAndInManyCalls) {
  const std::string plain = RandomText(1 << 20, 7);
  const std::string one = m_dir.File("one.ck");
  const std::string many = m_dir.File("many.ck");
  {
    C_CloakedFile out;
    ASSERT_TRUE(out.OpenOutput(one));
    EXPECT_EQ(out.Write(plain.data(), static_cast<std::uint32_t>(plain.size())), plain.size());
    out.Close();
  }
  {
    C_CloakedFile out;
    ASSERT_TRUE(out.OpenOutput(many));
    std::mt19937 random(8);
    std::size_t at = 0;
    while (at < plain.size()) {
      std::size_t piece = std::min<std::size_t>(1 + random() % 3000, plain.size() - at);
      ASSERT_EQ(out.Write(plain.data() + at, static_cast<std::uint32_t>(piece)), piece);
      at += piece;
    }
    EXPECT_EQ(out.GetSize(), plain.size());
    out.Close();
  }
  for (const std::string& path : {one, many}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(ReadAll(path, 1 << 20), plain);
    EXPECT_EQ(ReadAll(path, 977), plain);
    EXPECT_EQ(ReadAll(path, 3), plain.substr(0, 3) + ReadAll(path, 3).substr(3));
  }
  // Same seed, same contents: same file (the seed is the second of writing,
  // so compare contents with the header's seed instead).
  const std::string bytes = ReadFileBytes(one);
  std::uint32_t seed = 0;
  for (int i = 3; i >= 0; --i) seed = seed << 8 | static_cast<unsigned char>(bytes[12 + i]);
  EXPECT_EQ(bytes.substr(16), Cloaked(plain, seed));
}

struct S_BadHeader {
  const char* what;
  std::string bytes;
  const char* message;
  int code;
};

TEST_F(C_CloakedFileTest, HeaderChecksInOrder) {
  const std::string good = Header(0x7A715E58, 16, 1, 0, 5);
  const S_BadHeader cases[] = {
      {"empty file", "", "C_CloakedFile: Cannot read header", 3},
      {"shorter than 8 bytes", good.substr(0, 7), "C_CloakedFile: Cannot read header", 3},
      {"shorter than 16 bytes", good.substr(0, 15), "C_CloakedFile: Cannot read header", 3},
      {"magic differs", Header(0x7A715E59, 16, 1, 0, 5), "C_CloakedFile: Bad magic number", 5},
      {"magic before size", Header(0, 12, 2, 1, 5), "C_CloakedFile: Bad magic number", 5},
      {"magic before a short header", good.substr(0, 4).replace(0, 1, "Y") + "abcd", "C_CloakedFile: Bad magic number", 5},
      {"header size 12", Header(0x7A715E58, 12, 1, 0, 5), "C_CloakedFile: Bad header size", 5},
      {"header size 0", Header(0x7A715E58, 0, 1, 0, 5), "C_CloakedFile: Bad header size", 5},
      {"size before reading the rest", good.substr(0, 4) + std::string("\x0c\0\0\0", 4), "C_CloakedFile: Bad header size", 5},
      {"method 2 before the variant", Header(0x7A715E58, 16, 2, 7, 5), "C_CloakedFile: Unknown cloaking method", 5},
      {"method 0", Header(0x7A715E58, 16, 0, 0, 5), "C_CloakedFile: Unknown cloaking method", 5},
      {"variant 1", Header(0x7A715E58, 16, 1, 1, 5), "C_CloakedFile: Unknown XOR variant", 5},
  };
  for (const S_BadHeader& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = m_dir.File("bad.ck");
    WriteFileBytes(path, c.bytes);
    C_CloakedFile file;
    try {
      file.OpenInput(path);
      ADD_FAILURE() << "no exception";
    } catch (const C_CloakedFile::C_CloakException& e) {
      EXPECT_STREQ(e.what(), c.message);
      EXPECT_EQ(e.GetString(), c.message);
      EXPECT_EQ(e.GetErrno(), c.code);
      EXPECT_EQ(e.GetText().GetMsgId(), N_VekMessages::Id(N_VekMessages::MSG_CLOAK_FRAME));
      std::unique_ptr<C_Exception> clone(e.Clone());
      EXPECT_NE(dynamic_cast<C_CloakedFile::C_CloakException*>(clone.get()), nullptr);
      EXPECT_EQ(clone->GetErrno(), c.code);
    }
    EXPECT_TRUE(file.IsOpen());  // stays open until Close
    file.Close();
    EXPECT_FALSE(file.IsOpen());
  }
}

TEST_F(C_CloakedFileTest, LargerHeaderSizesAreSkipped) {
  const std::string plain = "contents after a longer header";
  const std::string path = m_dir.File("long.ck");
  WriteFileBytes(path, Header(0x7A715E58, 32, 1, 0, 99) + std::string(16, '?') + Cloaked(plain, 99));
  C_CloakedFile file;
  ASSERT_TRUE(file.OpenInput(path));
  EXPECT_EQ(file.GetHeaderSize(), 32u);
  EXPECT_EQ(file.GetSize(), plain.size());
  EXPECT_EQ(ReadAll(path, 5), plain);

  // A header size past the end of the file: no contents, no failure.
  WriteFileBytes(path, Header(0x7A715E58, 0xFFFFFFFF, 1, 0, 99) + "abc");
  ASSERT_TRUE(file.OpenInput(path));
  EXPECT_EQ(file.GetSize(), 0u);
  char buffer[8];
  EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u);
}

TEST_F(C_CloakedFileTest, OpenFailuresAreNotExceptions) {
  C_CloakedFile file;
  EXPECT_FALSE(file.OpenInput(m_dir.File("missing.ck")));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(file.OpenOutput(m_dir.File("no/such/dir/x.ck")));
  EXPECT_FALSE(file.IsOpen());
  file.Close();  // nothing open: nothing to do
}

TEST_F(C_CloakedFileTest, OutputReplacesOnlyOnClose) {
  const std::string path = m_dir.File("target.ck");
  WriteFileBytes(path, "precious");
  {
    C_CloakedFile file;
    ASSERT_TRUE(file.OpenOutput(path));
    file.Write("new", 3);
    EXPECT_EQ(ReadFileBytes(path), "precious");
    // A second open closes (and so completes) the first file.
    ASSERT_TRUE(file.OpenOutput(m_dir.File("second.ck")));
    EXPECT_EQ(ReadAll(path, 10), "new");
  }
  EXPECT_TRUE(N_FileUtilities::FileExists(m_dir.File("second.ck")));  // destruction closed it
  EXPECT_TRUE(C_Glob(m_dir.Path() + "/.*.tmp").empty());
}

TEST_F(C_CloakedFileTest, FailingCloseThrows) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  C_CloakedFile file;
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
    if (round % 2) bytes = Header(0x7A715E58, random() % 64, random() % 3, random() % 2, random()).substr(0, random() % 17) + bytes;
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
