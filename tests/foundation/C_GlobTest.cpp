#include "foundation/C_Glob.h"

#include <glob.h>

#include <gtest/gtest.h>

#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

namespace {

TEST(C_Glob, MatchesSortedAndNoMatch) {
  C_TempDir dir;
  for (const char* name : {"b.msg", "a.msg", "c.txt"}) WriteFileBytes(dir.File(name), "x");
  ASSERT_TRUE(N_FileUtilities::MakeDirectory(dir.File("d.msg")));

  C_Glob msgs(dir.Path() + "/*.msg");
  EXPECT_EQ(msgs.GetStatus(), 0);
  ASSERT_EQ(msgs.size(), 3u);
  EXPECT_EQ(msgs.GetPaths()[0], dir.File("a.msg"));
  EXPECT_EQ(msgs.GetPaths()[1], dir.File("b.msg"));
  EXPECT_EQ(msgs.GetPaths()[2], dir.File("d.msg"));

  C_Glob marked(dir.Path() + "/d*", GLOB_MARK);
  ASSERT_EQ(marked.size(), 1u);
  EXPECT_EQ(marked.GetPaths()[0], dir.File("d.msg/"));

  C_Glob none(dir.Path() + "/*.none");
  EXPECT_EQ(none.GetStatus(), GLOB_NOMATCH);
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.begin(), none.end());
}

}  // namespace
