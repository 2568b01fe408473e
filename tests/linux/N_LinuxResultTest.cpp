#ifdef VEK_HAVE_LINUX_DRIVER
#include "drivers/linux/N_LinuxResult.h"

#include <gtest/gtest.h>

namespace {

typedef std::vector<std::uint8_t> T_Bytes;

T_Bytes Fixed(int i_key, int i_asc, int i_ascq) {
  T_Bytes sense(18, 0);
  sense[0] = 0x70;
  sense[2] = static_cast<std::uint8_t>(i_key);
  sense[7] = 10;
  sense[12] = static_cast<std::uint8_t>(i_asc);
  sense[13] = static_cast<std::uint8_t>(i_ascq);
  return sense;
}

TEST(N_LinuxResult, OneCodePerReply) {
  using namespace N_LinuxResult;
  const struct { const char* name; int osError, hostStatus, status; T_Bytes sense; bool testUnitReady; int code; }
  cases[] = {
      {"good", 0, 0, 0x00, {}, false, GOOD},
      {"SG_IO failed", 19, 0, 0x00, {}, false, OS_ERROR},
      {"timed out", 0, 0x03, 0x00, {}, false, TIMEOUT},
      {"no connection", 0, 0x01, 0x00, {}, false, TRANSPORT},
      {"reservation conflict", 0, 0, 0x18, {}, false, STATUS},
      {"check condition, no sense", 0, 0, 0x02, {}, false, NO_SENSE_DATA},
      {"recovered error", 0, 0, 0x02, Fixed(0x1, 0x17, 0x01), false, GOOD},
      {"becoming ready on TEST UNIT READY", 0, 0, 0x02, Fixed(0x2, 0x04, 0x01), true, BUSY},
      {"operation in progress on TEST UNIT READY", 0, 0, 0x02, Fixed(0x2, 0x04, 0x07), true, BUSY},
      {"becoming ready on another command", 0, 0, 0x02, Fixed(0x2, 0x04, 0x01), false, 1102},
      {"initializing command required", 0, 0, 0x02, Fixed(0x2, 0x04, 0x02), true, 1102},
      {"unit attention", 0, 0, 0x02, Fixed(0x6, 0x3F, 0x16), false, 1106},
      {"aborted command", 0, 0, 0x02, Fixed(0xB, 0x00, 0x00), false, 1111},
      {"descriptor format", 0, 0, 0x02, {0x72, 0x05, 0x24, 0x00, 0, 0, 0, 0}, false, 1105},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    C_SgTransport::S_Reply reply;
    reply.osError = c.osError;
    reply.hostStatus = c.hostStatus;
    reply.status = c.status;
    reply.sense = c.sense;
    EXPECT_EQ(Classify(reply, c.testUnitReady), c.code);
    EXPECT_EQ(IsDriverCode(c.code), c.code != GOOD && c.code != BUSY);
    if (IsDriverCode(c.code)) {
      EXPECT_FALSE(Describe(c.code).empty());
    }
  }
  EXPECT_EQ(Describe(1105), "ILLEGAL REQUEST from the drive");
}

}  // namespace
#endif
