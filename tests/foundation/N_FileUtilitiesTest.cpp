#include "foundation/N_FileUtilities.h"

#include <gtest/gtest.h>

#include <functional>

#include "support/TestSupport.h"

namespace {

using namespace N_FileUtilities;

TEST(N_FileUtilitiesProfile, ScanRules) {
  const struct { const char* what; std::string text; const char* section; const char* key; bool found; std::string value; }
  cases[] = {
      {"last line without line feed", "a=1\nk=v", "", "k", true, "v"},
      {"blanks around key and value", "   k   =   v w   \n", "", "k", true, "v w"},
      {"quoted value keeps inner blanks", "1=\"  text \"\n", "", "1", true, "  text "},
      {"quote loses first and last character whatever it is", "k=\"abc\n", "", "k", true, "ab"},
      {"a lone quote gives an empty value", "k=\"\n", "", "k", true, ""},
      {"carriage return stays in the value", "k=abc\r\nz=1\n", "", "k", true, "abc\r"},
      {"carriage return after a quote is the last character", "k=\"ab\"\r\n", "", "k", true, "ab\""},
      {"first of two equal keys", "k=1\nk=2\n", "", "k", true, "1"},
      {"value holding '='", "k=a=b\n", "", "k", true, "a=b"},
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
    EXPECT_EQ(FindProfileValue(c.text, c.section, c.key, value), c.found);
    EXPECT_EQ(value, c.found ? c.value : std::string("untouched"));
  }
}

// One table over a folder holding the file "p.ini" (1000 bytes of profile),
// the folder "sub", and nothing else: a call and its answer.
TEST(N_FileUtilities, FilesTable) {
  C_TempDir dir;
  const std::string ini = dir.File("p.ini"), missing = dir.File("missing");
  const std::string text = "hex=0x10\noct=010\ndec=-12abc\nempty=\nword=abc\n[s]\nk=in s\n";
  WriteFileBytes(ini, text + std::string(1000 - text.size(), '\n'));
  ASSERT_TRUE(MakeDirectory(dir.File("sub")));
  auto read = [](const std::string& i_path, std::size_t i_max) {
    std::string contents = "old";
    return ReadFile(i_path, contents, i_max) ? contents.substr(0, 8) : "false:" + contents;
  };
  auto profile = [](const char* i_section, const char* i_key, const std::string& i_file) {
    std::string value;
    GetPrivateProfileString(i_section, i_key, "def", value, i_file);
    return value;
  };
  auto number = [](const char* i_key, const std::string& i_file) {
    return std::to_string(GetPrivateProfileInt("", i_key, 5, i_file));
  };
  auto yes = [](bool i_value) { return std::string(i_value ? "true" : "false"); };
  const std::pair<std::string, std::string> cases[] = {
      {read(ini, 1000), "hex=0x10"}, {read(ini, 999), "false:"}, {read(dir.Path(), 1 << 20), "false:"},
      {read(missing, 1 << 20), "false:"},
      {profile("s", "k", ini), "in s"}, {profile("s", "none", ini), "def"}, {profile("s", "k", missing), "def"},
      {number("hex", ini), "16"}, {number("oct", ini), "8"}, {number("dec", ini), "-12"},
      {number("empty", ini), "5"}, {number("word", ini), "0"}, {number("absent", ini), "5"},
      {number("hex", missing), "5"},
      {yes(FileExists(ini)), "true"}, {yes(FileExists(dir.Path())), "false"}, {yes(DirectoryExists(ini)), "false"},
      {yes(MakeDirectory(dir.File("sub"))), "true"},  // already there
      {yes(MakeDirectory(ini)), "false"}, {yes(MakeDirectory(dir.File("no/such/parent"))), "false"},
      {yes(DirectoryExists(GetCurrentDirectory())), "true"}, {GetCurrentDirectory().substr(0, 1), "/"},
  };
  for (std::size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) EXPECT_EQ(cases[i].first, cases[i].second) << i;
}

}  // namespace
