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
      // "ZQ" revisions with the same third character: only the fourth decides.
      {"ZQA1", "ZQA2", true, false},
      {"ZQA1", "ZQA1", false, false},
      {"ZQA9", "ZQA10", false, true},
      // Signed fourth characters: a byte above 0x7F sorts first.
      {"ZQA\x80", "ZQA1", true, false},
      // Different letters are unordered.
      {"ZQ05", "ZQA5", false, false},
      // Same letter in both cases: lower case sorts before upper.
      {"ZQa9", "ZQA1", true, false},
      // Only one starts with "ZQ", or neither: byte-wise, a prefix first,
      // unsigned bytes.
      {"zq05", "ZQ07", false, true},
      {"Z", "ZQ01", true, false},
      {"A1", "A10", true, false},
      {"\x80\x80", "zz", false, true},
      // Lengths 3 and 4: the last two characters only.
      {"123", "A124", true, false},
      {"999", "0001", false, true},
      {"ZQA", "ZQA5", false, true},  // "QA" against "A5", no "ZQ" rule
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(std::string(c.a) + " / " + c.b);
    const C_FirmwareRev a(c.a), b(c.b);
    EXPECT_EQ(c.aLess, a < b);
    EXPECT_EQ(c.bLess, b < a);
  }
  EXPECT_TRUE(C_FirmwareRev("ZQ05") == C_FirmwareRev("ZQ05"));
  EXPECT_FALSE(C_FirmwareRev("ZQ05") == C_FirmwareRev("ZQ05 "));
}

// "ZQ" texts too short for the character the rule needs throw; different
// letters are settled before the fourth character is needed.
TEST(FirmwareRevTest, ShortZQTextsThrow) {
  EXPECT_THROW((void)(C_FirmwareRev("ZQ") < C_FirmwareRev("ZQ1")), std::out_of_range);
  EXPECT_THROW((void)(C_FirmwareRev("ZQA") < C_FirmwareRev("ZQA")), std::out_of_range);
  EXPECT_NO_THROW((void)(C_FirmwareRev("ZQA") < C_FirmwareRev("ZQB")));
}

}  // namespace
