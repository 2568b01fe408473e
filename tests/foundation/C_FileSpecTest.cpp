#include "foundation/C_FileSpec.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

namespace {

TEST(C_FileSpec, Parts) {
  struct {
    const char* path;
    const char* directory;
    const char* name;
    const char* base;
    const char* extension;
  } const cases[] = {
      {"/abs/file.tar.gz", "/abs/", "file.tar.gz", "file.tar", ".gz"}, {"plain", "", "plain", "plain", ""},
      {"dir/", "dir/", "", "", ""}, {"a/.profile", "a/", ".profile", ".profile", ""}, {"a.b/c", "a.b/", "c", "c", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    C_FileSpec path(c.path);
    EXPECT_EQ(path.GetDirectory(), c.directory);
    EXPECT_EQ(path.GetName(), c.name);
    EXPECT_EQ(path.GetBaseName(), c.base);
    EXPECT_EQ(path.GetExtension(), c.extension);
  }
  EXPECT_TRUE(C_FileSpec("/x").IsAbsolute());
  EXPECT_FALSE(C_FileSpec("x/").IsAbsolute());
  EXPECT_FALSE(C_FileSpec("").IsAbsolute());
}

TEST(C_FileSpec, Normalize) {
  struct { const char* in; const char* out; } const cases[] = {
      {"a/./b", "a/b"},     {"a//b///c", "a/b/c"}, {"a/b/../c", "a/c"}, {"a/../../b", "../b"},
      {"../../a", "../../a"}, {"/../a", "/a"},     {"/a/b/../../..", "/"}, {"a/..", "."},
      {"a/../", "./"},      {"lib/../share/vek/", "share/vek/"},       {"", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(C_FileSpec(c.in).Normalize().GetPath(), c.out) << c.in;
  }
}

TEST(C_FileSpec, Building) {
  C_FileSpec path("dir/name.old");
  EXPECT_EQ(path.SetExtension("new").GetPath(), "dir/name.new");
  EXPECT_EQ(path.SetExtension(".dat").GetPath(), "dir/name.dat");
  EXPECT_EQ(path.SetExtension("").GetPath(), "dir/name");
  EXPECT_EQ(path.SetDirectory("/top").GetPath(), "/top/name");
  EXPECT_EQ(path.SetDirectory("").GetPath(), "name");
  EXPECT_EQ(C_FileSpec("a").Append("b/c").GetPath(), "a/b/c");
  EXPECT_EQ(C_FileSpec("a/").Append("b").GetPath(), "a/b");
  EXPECT_EQ(C_FileSpec("a").Append("/abs").GetPath(), "/abs");
  EXPECT_EQ(C_FileSpec("a").Append("").GetPath(), "a");
  EXPECT_EQ(C_FileSpec("").Append("b").GetPath(), "b");
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
