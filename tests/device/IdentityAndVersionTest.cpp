// Device and target identities, firmware revisions and version numbers.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "device/C_DeviceId.h"
#include "device/C_FirmwareRev.h"
#include "device/C_ProductId.h"
#include "device/C_QarnTargetId.h"
#include "device/C_Version.h"

namespace {

TEST(C_DeviceIdTest, ChildIdsAppendAColonAndThePart) {
  EXPECT_EQ(C_DeviceId(C_DeviceId("a:b"), "c").Get(), "a:b:c");
  EXPECT_EQ(C_DeviceId(C_DeviceId(), "c").Get(), ":c");
  C_DeviceId id("x");
  id.Set(id, "y");  // a parent that is the id itself
  EXPECT_EQ(id.Get(), "x:y");
  EXPECT_EQ(C_QarnTargetId("array0", 255).GetString(), "array0:255");
}

TEST(C_ProductIdTest, FixedWidthFieldsAreCutAtZeroAndTrimmedOfBlanks) {
  struct S_Case { std::string field; std::string text; } cases[] = {
      {std::string("ABCD\0EFGH       ", 16), "ABCD"}, {std::string("  LEAD  ", 8), "  LEAD"},
      {std::string("TAB\t", 4), "TAB\t"}, {std::string("        ", 8), ""},
  };
  for (const S_Case& c : cases) {
    C_ProductId id(c.field.data(), static_cast<unsigned>(c.field.size()));
    EXPECT_EQ(id.Get(), c.text) << '"' << c.field << '"';
  }
  EXPECT_TRUE(C_ProductId(std::string("DISK  ")) == C_ProductId(std::string("DISK")));
  EXPECT_EQ(C_ProductId(nullptr, 5).Get(), "");
}

// Both directions of the ordering for each pair.
TEST(FirmwareRevTest, OrderingTable) {
  struct S_Case { const char* a; const char* b; bool aLess, bLess; } cases[] = {
      // "ZQ" revisions with the same third character: only the fourth decides.
      {"ZQA1", "ZQA2", true, false}, {"ZQA1", "ZQA1", false, false}, {"ZQA9", "ZQA10", false, true},
      // Signed fourth characters: a byte above 0x7F sorts first.
      {"ZQA\x80", "ZQA1", true, false},
      // Different letters are unordered.
      {"ZQ05", "ZQA5", false, false},
      // Same letter in both cases: lower case sorts before upper.
      {"ZQa9", "ZQA1", true, false},
      // Only one starts with "ZQ", or neither: byte-wise, a prefix first,
      // unsigned bytes.
      {"zq05", "ZQ07", false, true}, {"Z", "ZQ01", true, false}, {"A1", "A10", true, false},
      {"\x80\x80", "zz", false, true},
      // Lengths 3 and 4: the last two characters only.
      {"123", "A124", true, false}, {"999", "0001", false, true},
      {"ZQA", "ZQA5", false, true},  // "QA" against "A5", no "ZQ" rule
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(std::string(c.a) + " / " + c.b);
    const C_FirmwareRev a(c.a), b(c.b);
    EXPECT_EQ(c.aLess, a < b);
    EXPECT_EQ(c.bLess, b < a);
  }
  EXPECT_TRUE(C_FirmwareRev() == C_FirmwareRev("0000"));
  EXPECT_FALSE(C_FirmwareRev("ZQ05") == C_FirmwareRev("ZQ05 "));
}

// "ZQ" texts too short for the character the rule needs throw; different
// letters are settled before the fourth character is needed.
TEST(FirmwareRevTest, ShortZQTextsThrow) {
  EXPECT_THROW((void)(C_FirmwareRev("ZQ") < C_FirmwareRev("ZQ1")), std::out_of_range);
  EXPECT_THROW((void)(C_FirmwareRev("ZQA") < C_FirmwareRev("ZQA")), std::out_of_range);
  EXPECT_NO_THROW((void)(C_FirmwareRev("ZQA") < C_FirmwareRev("ZQB")));
}

TEST(VersionTest, ParseAndPrintTable) {
  struct S_Case { const char* text; unsigned int value; const char* printed; } cases[] = {
      {"2.10.0.255", 0x020A00FFu, "02.10.00.255"},
      {"1.300.1.1", 0x012C0101u, "01.44.01.01"},  // low 8 bits only
      {" 7. +8.9.10abc", 0x0708090Au, "07.08.09.10"}, {"0.0.0.-1", 0x000000FFu, "00.00.00.255"},
      {"1..2.3", 0x01000203u, "01.00.02.03"}, {"a.b.c.d", 0u, "00.00.00.00"},
      {"1.2.3.4.5", 0x01020304u, "01.02.03.04"},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.text);
    const C_Version version{std::string(c.text)};
    EXPECT_EQ(c.value, version.Get());
    EXPECT_EQ(c.printed, version.GetString());
  }
  EXPECT_TRUE(C_Version(0x01000000u) < C_Version(0xFF000000u));  // unsigned
  EXPECT_FALSE(C_Version(0xFF000000u) < C_Version(0x01000000u));
}

// Without three separators: an int* holding 1 is thrown, the value stays.
TEST(VersionTest, MissingSeparatorsThrowIntPointerAndKeepTheValue) {
  for (const char* text : {"1.2.3", "", "1,2,3,4"}) {
    SCOPED_TRACE(text);
    C_Version version(0x01020304u);
    try {
      version.Set(std::string(text));
      ADD_FAILURE() << "no exception";
    } catch (int* error) {
      std::unique_ptr<int> owned(error);
      EXPECT_EQ(1, *owned);
    }
    EXPECT_EQ(0x01020304u, version.Get());
  }
}

}  // namespace
