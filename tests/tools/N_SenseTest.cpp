// Sense data as vekctl shows it: the module's byte attributes parsed back,
// libsgutils2's texts in the operator's one-line form. (Decoding is tested
// through "show" in VekctlDeviceTest.)
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

}  // namespace

#endif
