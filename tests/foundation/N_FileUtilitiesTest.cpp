#include "foundation/N_FileUtilities.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"

namespace {

TEST(N_FileUtilitiesProfile, ScanRules) {
  const struct {
    const char* what;
    std::string text;
    const char* section;
    const char* key;
    bool found;
    std::string value;
  } cases[] = {
      {"last line without line feed", "a=1\nk=v", "", "k", true, "v"},
      {"blanks around key and value", "   k   =   v w   \n", "", "k", true, "v w"},
      {"quoted value keeps inner blanks", "1=\"  text \"\n", "", "1", true, "  text "},
      {"quote loses first and last character whatever it is", "k=\"abc\n", "", "k", true, "ab"},
      {"a lone quote gives an empty value", "k=\"\n", "", "k", true, ""},
      {"carriage return stays in the value", "k=abc\r\nz=1\n", "", "k", true, "abc\r"},
      {"carriage return after a quote is the last character", "k=\"ab\"\r\n", "", "k", true, "ab\""},
      {"first of two equal keys", "k=1\nk=2\n", "", "k", true, "1"},
      {"value holding '='", "k=a=b\n", "", "k", true, "a=b"},
      {"key with no value", "k=\n", "", "k", true, ""},
      {"key with only blanks after '='", "k=    \n", "", "k", true, ""},
      {"tab is not a blank", "\tk=v\n", "", "k", false, ""},
      {"key is case-sensitive", "K=v\n", "", "k", false, ""},
      {"line without '=' ignored", "k v\nk=w\n", "", "k", true, "w"},
      {"entry after a section is not in the unnamed one", "[s]\nk=v\n", "", "k", false, ""},
      {"named section", "k=0\n[s]\nk=v\n", "s", "k", true, "v"},
      {"section name is line less first and last character", "[sec]x\nk=v\n", "sec]", "k", true, "v"},
      {"section line ending in carriage return", "[s]\r\nk=v\n", "s]", "k", true, "v"},
      {"lone bracket opens the unnamed section again", "[s]\n[\nk=v\n", "", "k", true, "v"},
      {"blanks before bracket", "  [s]  \nk=v\n", "s", "k", true, "v"},
      {"only line feeds", "\n\n\n", "", "k", false, ""},
      {"NUL bytes are data", std::string("k=a\0b\n", 6), "", "k", true, std::string("a\0b", 3)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string value = "untouched";
    EXPECT_EQ(N_FileUtilities::FindProfileValue(c.text, c.section, c.key, value), c.found);
    EXPECT_EQ(value, c.found ? c.value : std::string("untouched"));
  }
}

TEST(N_FileUtilitiesProfile, FileReading) {
  C_TempDir dir;
  const std::string file = dir.File("p.ini");
  WriteFileBytes(file, "hex=0x10\noct=010\ndec=-12abc\nempty=\nword=abc\n[s]\nk=in s\n");
  std::string value;
  N_FileUtilities::GetPrivateProfileString("s", "k", "def", value, file);
  EXPECT_EQ(value, "in s");
  N_FileUtilities::GetPrivateProfileString("s", "none", "def", value, file);
  EXPECT_EQ(value, "def");
  N_FileUtilities::GetPrivateProfileString("s", "k", "def", value, dir.File("missing"));
  EXPECT_EQ(value, "def");
  const struct {
    const char* key;
    long value;
  } numbers[] = {{"hex", 16}, {"oct", 8}, {"dec", -12}, {"empty", 5}, {"word", 0}, {"absent", 5}};
  for (const auto& n : numbers) EXPECT_EQ(N_FileUtilities::GetPrivateProfileInt("", n.key, 5, file), n.value) << n.key;
  EXPECT_EQ(N_FileUtilities::GetPrivateProfileInt("", "hex", 5, dir.File("missing")), 5);
}

TEST(N_FileUtilities, ReadFileAndExistence) {
  C_TempDir dir;
  const std::string file = dir.File("f");
  WriteFileBytes(file, std::string(1000, 'x'));
  std::string contents = "old";
  EXPECT_TRUE(N_FileUtilities::ReadFile(file, contents, 1000));
  EXPECT_EQ(contents, std::string(1000, 'x'));
  EXPECT_FALSE(N_FileUtilities::ReadFile(file, contents, 999));
  EXPECT_TRUE(contents.empty());
  EXPECT_FALSE(N_FileUtilities::ReadFile(dir.Path(), contents));
  EXPECT_FALSE(N_FileUtilities::ReadFile(dir.File("missing"), contents));

  EXPECT_TRUE(N_FileUtilities::FileExists(file));
  EXPECT_FALSE(N_FileUtilities::FileExists(dir.Path()));
  EXPECT_FALSE(N_FileUtilities::DirectoryExists(file));
  EXPECT_TRUE(N_FileUtilities::MakeDirectory(dir.File("sub")));
  EXPECT_TRUE(N_FileUtilities::MakeDirectory(dir.File("sub")));  // already there
  EXPECT_FALSE(N_FileUtilities::MakeDirectory(file));            // a file of that name
  EXPECT_FALSE(N_FileUtilities::MakeDirectory(dir.File("no/such/parent")));
  const std::string cwd = N_FileUtilities::GetCurrentDirectory();
  EXPECT_TRUE(!cwd.empty() && cwd[0] == '/' && N_FileUtilities::DirectoryExists(cwd)) << cwd;
}

}  // namespace
