#include "device/C_Version.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

TEST(VersionTest, ParseAndPrintTable) {
  struct S_Case {
    const char* text;
    unsigned int value;
    const char* printed;
  } cases[] = {
      {"2.10.0.255", 0x020A00FFu, "02.10.00.255"},
      {"300.1.1.1", 0x2C010101u, "44.01.01.01"},  // low 8 bits only
      {" 7. +8.9.10abc", 0x0708090Au, "07.08.09.10"},
      {"-1.0.0.0", 0xFF000000u, "255.00.00.00"},
      {"1..2.3", 0x01000203u, "01.00.02.03"},
      {"a.b.c.d", 0u, "00.00.00.00"},
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
