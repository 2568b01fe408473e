#include "device/C_FirmwareRev.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// Both directions of the ordering for each pair.
TEST(FirmwareRevTest, OrderingTable) {
  struct S_Case {
    const char* a;
    const char* b;
    bool aLess, bLess;
  } cases[] = {
      // "ZQ" revisions with the same third character: the fourth decides.
      {"ZQ05", "ZQ07", true, false},
      {"ZQA1", "ZQA2", true, false},
      {"ZQA1", "ZQA1", false, false},
      // Only the fourth character is looked at.
      {"ZQA19", "ZQA20", true, false},
      {"ZQA9", "ZQA10", false, true},
      // Signed fourth characters: a byte above 0x7F sorts first.
      {"ZQA\x80", "ZQA1", true, false},
      // Different letters are unordered.
      {"ZQ05", "ZQA5", false, false},
      {"ZQB1", "ZQA9", false, false},
      // Same letter in both cases: lower case sorts before upper.
      {"ZQa1", "ZQA1", true, false},
      {"ZQa9", "ZQA1", true, false},
      // Only one starts with "ZQ": plain byte-wise comparison.
      {"zq05", "ZQ07", false, true},
      {"Z", "ZQ01", true, false},
      {"ZQ01", "ZR01", true, false},
      // Neither: byte-wise, a prefix first, unsigned bytes.
      {"0000", "0001", true, false},
      {"A1", "A10", true, false},
      {"\x80\x80", "zz", false, true},
      // Lengths 3 and 4: the last two characters only.
      {"123", "A124", true, false},
      {"A124", "123", false, true},
      {"999", "0001", false, true},
      {"ZQA", "ZQA5", false, true},  // "QA" against "A5", no "ZQ" rule
      {"Z\x81\x81", "0\x80\x80", false, true},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(std::string(c.a) + " / " + c.b);
    const C_FirmwareRev a(c.a), b(c.b);
    EXPECT_EQ(c.aLess, a < b);
    EXPECT_EQ(c.bLess, b < a);
  }
}

TEST(FirmwareRevTest, ShortZQTextsThrow) {
  struct S_Case {
    const char* a;
    const char* b;
  } cases[] = {
      {"ZQ", "ZQ1"},    // no third character
      {"ZQ1", "ZQ"},
      {"ZQA", "ZQA"},   // equal third characters, no fourth
      {"ZQAB", "ZQA"},  // lengths 4 and 3 take rule 1 instead: see below
  };
  for (int i = 0; i < 3; ++i) {
    SCOPED_TRACE(cases[i].a);
    EXPECT_THROW((void)(C_FirmwareRev(cases[i].a) < C_FirmwareRev(cases[i].b)), std::out_of_range);
  }
  EXPECT_NO_THROW((void)(C_FirmwareRev(cases[3].a) < C_FirmwareRev(cases[3].b)));
  // Different letters are settled before the fourth character is needed.
  EXPECT_NO_THROW((void)(C_FirmwareRev("ZQA") < C_FirmwareRev("ZQB")));
}

TEST(FirmwareRevTest, ValueBasics) {
  EXPECT_EQ("0000", C_FirmwareRev().Get());
  C_FirmwareRev rev("ZQ05");
  EXPECT_TRUE(rev == C_FirmwareRev("ZQ05"));
  EXPECT_FALSE(rev == C_FirmwareRev("zq05"));
  EXPECT_FALSE(rev == C_FirmwareRev("ZQ05 "));
  rev.Set(rev.Get());
  EXPECT_EQ("ZQ05", rev.Get());
  rev.Set("ZQ07");
  C_FirmwareRev copy = rev;
  EXPECT_EQ("ZQ07", copy.Get());
}

}  // namespace
