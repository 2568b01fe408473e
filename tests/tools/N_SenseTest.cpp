// Sense data as vekctl shows it: the module's byte attributes parsed back,
// libsgutils2's texts in the operator's one-line form. (Decoding is tested
// through "show" in VekctlDeviceTest.)
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

#include "Common/Localization/C_StringTable.h"
#include "drivers/common/N_DriverResult.h"
#include "drivers/linux/N_LinuxResult.h"
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

// The ATA registers a translation reports: an ATA Status Return
// descriptor, or the fixed format's information field when VALID is set.
TEST(N_SenseTest, AtaRegistersFromEitherFormat) {
  struct S_Case {
    std::vector<std::uint8_t> sense;
    const char* text;  // "": none
  };
  const S_Case cases[] = {
      {{0xF0, 0, 0x0B, 0x04, 0x51, 0, 0, 10, 0, 0, 0, 0, 0, 0},
       "ABORTED COMMAND; ATA status 0x51 (DRDY DSC ERR), error 0x04 (ABRT)"},
      {{0x70, 0, 0x0B, 0x04, 0x51, 0, 0, 10, 0, 0, 0, 0, 0, 0}, "ABORTED COMMAND"},
      {{0x72, 0x0B, 0, 0, 0, 0, 0, 14, 0x09, 0x0C, 0, 0x40, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x41},
       "ABORTED COMMAND; ATA status 0x41 (DRDY ERR), error 0x40 (UNC)"},
      {{0x72, 0x0B, 0, 0, 0, 0, 0, 0}, "ABORTED COMMAND"},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(N_Sense::Describe(c.sense, true), c.text);
  }
}

// Every driver result has its text in every shipped locale: English as the
// built-in default, German translated.
TEST(N_SenseTest, DriverResultsHaveTextsInEveryLocale) {
  std::size_t count = 0;
  const N_DriverResult::S_Message* messages = N_DriverResult::GetMessages(count);
  ASSERT_GE(count, 5u);
  for (const char* locale : {"en_US", "de_DE"}) {
    Local::C_StringTable table(VEK_SOURCE_DIR "/vekdriver", locale);
    ASSERT_EQ(table.GetFileName(), std::string(VEK_SOURCE_DIR "/locale/") + locale + "/vekdriver.msg");
    for (std::size_t i = 0; i < count; ++i) {
      SCOPED_TRACE(std::string(locale) + " " + std::to_string(messages[i].code));
      const std::string text = table.GetString(static_cast<unsigned>(messages[i].code));
      EXPECT_FALSE(text.empty());
      EXPECT_EQ(text == messages[i].defaultText, std::string(locale) == "en_US") << text;
    }
  }
  // A driver's own table and the catalog's agree.
  for (int code = 1000; code < 1200; ++code) {
    if (!N_LinuxResult::IsDriverCode(code)) continue;
    EXPECT_EQ(N_DriverResult::Text(code).GetDefaultText(), N_LinuxResult::Describe(code)) << code;
  }
}

}  // namespace

#endif
