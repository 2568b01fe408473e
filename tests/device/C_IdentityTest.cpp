#include <gtest/gtest.h>

#include <string>

#include "device/C_DeviceId.h"
#include "device/C_ProductId.h"
#include "device/C_QarnTargetId.h"

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
  struct S_Case {
    std::string field;
    std::string text;
  } cases[] = {
      {std::string("ABCD\0EFGH       ", 16), "ABCD"},
      {std::string("  LEAD  ", 8), "  LEAD"},
      {std::string("TAB\t", 4), "TAB\t"},
      {std::string("        ", 8), ""},
  };
  for (const S_Case& c : cases) {
    C_ProductId id(c.field.data(), static_cast<unsigned>(c.field.size()));
    EXPECT_EQ(id.Get(), c.text) << '"' << c.field << '"';
  }
  EXPECT_TRUE(C_ProductId(std::string("DISK  ")) == C_ProductId(std::string("DISK")));
  EXPECT_EQ(C_ProductId(nullptr, 5).Get(), "");
}

}  // namespace
