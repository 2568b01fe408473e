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

TEST(C_vstringTest, LongResultsAreNotCut) {
  std::string long_text(5000, 'q');
  C_vstring text;
  text.Format("<%s>", long_text.c_str());
  EXPECT_EQ(text.size(), 5002u);
  EXPECT_EQ(text.back(), '>');
  text.AppendFormat("%s", long_text.c_str());
  EXPECT_EQ(text.size(), 10002u);
}

}  // namespace
