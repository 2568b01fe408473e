#include "foundation/C_vstring.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(C_vstringTest, FormatReplacesAppendFormatAppends) {
  C_vstring text("old");
  EXPECT_EQ(text.Format("%08x|%s|%d", 0x1Au, "ab", -3), "0000001a|ab|-3");
  text.AppendFormat("+%c", 'z').AppendFormat("%s", "");
  EXPECT_EQ(text, "0000001a|ab|-3+z");
}

}  // namespace
