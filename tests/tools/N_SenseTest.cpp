// Sense data as vekctl shows it: the module's byte attributes parsed back,
// libsgutils2's texts in the operator's one-line form.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

#include "tools/N_Sense.h"

namespace {

TEST(N_SenseTest, ByteAttributesParseBack) {
  struct S_Case {
    const char* text;
    bool ok;
    std::vector<std::uint8_t> bytes;
  };
  const S_Case cases[] = {{" 70  0  5", true, {0x70, 0x00, 0x05}},
                          {" ff 1a", true, {0xFF, 0x1A}},
                          {"", true, {}},
                          {" 70 xy", false, {}},
                          {" 700", false, {}}};
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.text);
    std::vector<std::uint8_t> bytes = {1};
    EXPECT_EQ(N_Sense::ParseByteAttribute(c.text, bytes), c.ok);
    EXPECT_EQ(bytes, c.bytes);
  }
}

TEST(N_SenseTest, SummaryInTheOperatorsForm) {
  struct S_Case {
    int key, asc, ascq;
    const char* summary;
  };
  const S_Case cases[] = {
      {5, 0x26, 0x00, "ILLEGAL REQUEST, invalid field in parameter list"},
      {6, 0x29, 0x02, "UNIT ATTENTION, SCSI bus reset occurred"},
      {2, 0x04, 0x02, "NOT READY, logical unit not ready, initializing command required"},
      {0, 0x00, 0x00, "NO SENSE"}};
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.summary);
    EXPECT_EQ(N_Sense::Summary(c.key, c.asc, c.ascq), c.summary);
  }
}

TEST(N_SenseTest, DecodesFixedFormatOnly) {
  const N_Sense::S_Decoded fixed =
      N_Sense::Decode({0x70, 0, 0x05, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 0x00});
  EXPECT_TRUE(fixed.valid);
  EXPECT_EQ(fixed.key, 5);
  EXPECT_EQ(fixed.asc, 0x24);
  EXPECT_EQ(fixed.ascText, "Invalid field in cdb");
  EXPECT_FALSE(N_Sense::Decode({}).valid);
  EXPECT_FALSE(N_Sense::Decode({0x12, 0x34}).valid);
}

}  // namespace

#endif
