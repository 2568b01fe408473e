#include "foundation/C_FileSpec.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <functional>

#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

namespace {

// One table: a path, what is asked of it, the answer.
TEST(C_FileSpec, Table) {
  typedef std::function<std::string(C_FileSpec&)> T_Ask;
  const T_Ask directory = [](C_FileSpec& p) { return p.GetDirectory(); };
  const T_Ask name = [](C_FileSpec& p) { return p.GetName(); };
  const T_Ask base = [](C_FileSpec& p) { return p.GetBaseName(); };
  const T_Ask extension = [](C_FileSpec& p) { return p.GetExtension(); };
  const T_Ask absolute = [](C_FileSpec& p) { return p.IsAbsolute() ? "yes" : "no"; };
  const T_Ask normalized = [](C_FileSpec& p) { return p.Normalize().GetPath(); };
  auto setExtension = [](const char* e) { return T_Ask([e](C_FileSpec& p) { return p.SetExtension(e).GetPath(); }); };
  auto setDirectory = [](const char* d) { return T_Ask([d](C_FileSpec& p) { return p.SetDirectory(d).GetPath(); }); };
  auto append = [](const char* a) { return T_Ask([a](C_FileSpec& p) { return p.Append(a).GetPath(); }); };
  const struct { const char* path; T_Ask ask; const char* answer; } cases[] = {
      {"/abs/file.tar.gz", directory, "/abs/"}, {"/abs/file.tar.gz", name, "file.tar.gz"},
      {"/abs/file.tar.gz", base, "file.tar"}, {"/abs/file.tar.gz", extension, ".gz"},
      {"plain", directory, ""}, {"plain", base, "plain"}, {"plain", extension, ""},
      {"dir/", directory, "dir/"}, {"dir/", name, ""},
      {"a/.profile", base, ".profile"}, {"a/.profile", extension, ""},  // a hidden file, no extension
      {"a.b/c", extension, ""}, {"a.b/c", directory, "a.b/"},
      {"/x", absolute, "yes"}, {"x/", absolute, "no"}, {"", absolute, "no"},
      {"a/./b", normalized, "a/b"}, {"a//b///c", normalized, "a/b/c"}, {"a/b/../c", normalized, "a/c"},
      {"a/../../b", normalized, "../b"}, {"../../a", normalized, "../../a"}, {"/../a", normalized, "/a"},
      {"/a/b/../../..", normalized, "/"}, {"a/..", normalized, "."}, {"a/../", normalized, "./"},
      {"lib/../share/vek/", normalized, "share/vek/"}, {"", normalized, ""},
      {"dir/name.old", setExtension("new"), "dir/name.new"}, {"dir/name.old", setExtension(".dat"), "dir/name.dat"},
      {"dir/name.old", setExtension(""), "dir/name"}, {"dir/name", setDirectory("/top"), "/top/name"},
      {"dir/name", setDirectory(""), "name"}, {"a", append("b/c"), "a/b/c"}, {"a/", append("b"), "a/b"},
      {"a", append("/abs"), "/abs"}, {"a", append(""), "a"}, {"", append("b"), "b"},
  };
  for (const auto& c : cases) {
    C_FileSpec path(c.path);
    EXPECT_EQ(c.ask(path), c.answer) << '"' << c.path << '"';
  }
}

TEST(C_FileSpec, MakeAbsolute) {
  C_TempDir dir;
  std::string old = N_FileUtilities::GetCurrentDirectory();
  ASSERT_EQ(::chdir(dir.Path().c_str()), 0);
  std::string cwd = N_FileUtilities::GetCurrentDirectory();  // the temp dir, links resolved
  C_FileSpec relative("x/../y/./z");
  bool ok = relative.MakeAbsolute();
  ASSERT_EQ(::chdir(old.c_str()), 0);
  EXPECT_TRUE(ok);
  EXPECT_EQ(relative.GetPath(), cwd + "/y/z");
  C_FileSpec absolute("/a/./b/..");
  EXPECT_TRUE(absolute.MakeAbsolute());
  EXPECT_EQ(absolute.GetPath(), "/a");
}

}  // namespace
