#include "foundation/C_File.h"

#include <fcntl.h>
#include <cerrno>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "foundation/C_Glob.h"
#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

namespace {

TEST(C_File, ReadWriteSeekSizeAndMove) {
  C_TempDir dir;
  C_File file;
  EXPECT_TRUE(file.Close());  // nothing open: nothing fails
  ASSERT_TRUE(file.Open(dir.File("f"), "w+b"));
  EXPECT_EQ(file.Write("hello world", 11), 11u);
  std::uint64_t size = 0;
  ASSERT_TRUE(file.GetSize(size));
  EXPECT_EQ(size, 11u);  // buffered bytes count
  ASSERT_TRUE(file.Seek(6, SEEK_SET));
  char buffer[16] = {};
  EXPECT_EQ(file.Read(buffer, sizeof buffer), 5u);
  EXPECT_STREQ(buffer, "world");
  EXPECT_FALSE(file.HasError());

  // Moving hands the open stream over; the source is left closed.
  C_File moved(std::move(file));
  EXPECT_FALSE(file.IsOpen());
  C_File assigned;
  assigned = std::move(moved);
  EXPECT_FALSE(moved.IsOpen());
  ASSERT_TRUE(assigned.Seek(0, SEEK_END));
  assigned.Write("!", 1);
  EXPECT_TRUE(assigned.Close());
  EXPECT_EQ(ReadFileBytes(dir.File("f")), "hello world!");
  EXPECT_FALSE(file.Open(dir.File("missing/f"), "rb"));
  EXPECT_FALSE(file.IsOpen());
}

// The old file stays until Close renames the temporary over it, keeping
// the old file's mode; a replacement never closed leaves the old file and no
// temporary.
TEST(C_File, ReplaceOnCloseAbandonKeeps) {
  C_TempDir dir;
  const std::string path = dir.File("target");
  WriteFileBytes(path, "old contents");
  ::chmod(path.c_str(), 0640);
  C_File file;
  ASSERT_TRUE(file.OpenReplace(path));
  file.Write("new", 3);
  EXPECT_EQ(ReadFileBytes(path), "old contents");
  EXPECT_EQ(C_Glob(dir.Path() + "/.target.*.tmp").size(), 1u);
  EXPECT_TRUE(file.Close());
  EXPECT_EQ(ReadFileBytes(path), "new");
  struct stat info;
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640u);

  {
    C_File unfinished;  // destroyed without Close: abandoned
    ASSERT_TRUE(unfinished.OpenReplace(path));
    unfinished.Write("partial", 7);
  }
  EXPECT_EQ(ReadFileBytes(path), "new");
  EXPECT_EQ(C_Glob(dir.Path() + "/*").size(), 1u);
  EXPECT_TRUE(C_Glob(dir.Path() + "/.*.tmp").empty());
}

TEST(C_File, ReplaceThroughALinkNewFileAndFailures) {
  C_TempDir dir;
  WriteFileBytes(dir.File("real"), "old");
  ASSERT_EQ(::symlink("real", dir.File("link").c_str()), 0);
  C_File file;
  ASSERT_TRUE(file.OpenReplace(dir.File("link")));
  file.Write("new", 3);
  EXPECT_TRUE(file.Close());
  EXPECT_EQ(ReadFileBytes(dir.File("real")), "new");
  char target[16] = {};
  EXPECT_EQ(::readlink(dir.File("link").c_str(), target, sizeof target - 1), 4);  // still the link

  ASSERT_TRUE(file.OpenReplace(dir.File("fresh")));
  EXPECT_FALSE(N_FileUtilities::FileExists(dir.File("fresh")));
  EXPECT_TRUE(file.Close());
  EXPECT_TRUE(N_FileUtilities::FileExists(dir.File("fresh")));
  EXPECT_EQ(N_FileUtilities::WriteFileAtomically(dir.File("fresh"), "whole", 5), 0);
  EXPECT_EQ(ReadFileBytes(dir.File("fresh")), "whole");
  EXPECT_EQ(N_FileUtilities::WriteFileAtomically(dir.File("no/such/dir/f"), "x", 1), ENOENT);

  // A device cannot be replaced: it is written directly, and a failing
  // flush shows in Close.
  if (::access("/dev/full", W_OK) == 0) {
    EXPECT_EQ(N_FileUtilities::WriteFileAtomically("/dev/full", "x", 1), ENOSPC);
  }
  // An attached stream that is not owned stays open.
  file.Attach(stdout, false);
  EXPECT_TRUE(file.Close());
  EXPECT_NE(::fcntl(STDOUT_FILENO, F_GETFD), -1);
}

TEST(C_Glob, MatchesSortedAndNoMatch) {
  C_TempDir dir;
  for (const char* name : {"b.msg", "a.msg", "c.txt"}) WriteFileBytes(dir.File(name), "x");
  ASSERT_TRUE(N_FileUtilities::MakeDirectory(dir.File("d.msg")));
  C_Glob msgs(dir.Path() + "/*.msg");
  EXPECT_EQ(msgs.GetStatus(), 0);
  EXPECT_EQ(msgs.GetPaths(), (std::vector<std::string>{dir.File("a.msg"), dir.File("b.msg"), dir.File("d.msg")}));
  EXPECT_EQ(C_Glob(dir.Path() + "/d*", GLOB_MARK).GetPaths(), std::vector<std::string>{dir.File("d.msg/")});
  C_Glob none(dir.Path() + "/*.none");
  EXPECT_EQ(none.GetStatus(), GLOB_NOMATCH);
  EXPECT_TRUE(none.empty());
}

}  // namespace
