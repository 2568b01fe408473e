// Deferred flash end to end: the module sends a request to the simulated
// array controller, the controller's agent runs it when the controller
// restarts, and a later host reads the outcome from the drive's attributes.
#include <gtest/gtest.h>

#include "SimFleetTest.h"
#include "ddff/C_DDFF.h"
#include "drivers/sim/C_SimFirmwareImage.h"

namespace {

typedef std::vector<std::uint8_t> T_Bytes;

// A program as a host builds it: WRITE BUFFER mode 7 segments over the
// image, a controller sleep, a device reset, TEST UNIT READY retried until
// the drive is ready, START UNIT.
void FillProgram(C_DDFF& io_request, std::uint32_t i_imageSize) {
  const std::uint32_t kSegment = 32768;
  for (std::uint32_t offset = 0; offset < i_imageSize; offset += kSegment) {
    const std::uint32_t n = std::min(kSegment, i_imageSize - offset);
    std::uint8_t cdb[10] = {0x3B, 0x07, 0,
                            std::uint8_t(offset >> 16), std::uint8_t(offset >> 8), std::uint8_t(offset),
                            std::uint8_t(n >> 16), std::uint8_t(n >> 8), std::uint8_t(n), 0};
    C_DDFF::C_ScsiInstruction write(cdb, sizeof cdb);
    write.SetData(offset, n);
    io_request.AddInstruction(write);
  }
  C_DDFF::C_ControllerInstruction sleep(DDFF::DDFF_CMD_SLEEP);
  sleep.AddWORDParameter(50);
  io_request.AddInstruction(sleep);
  io_request.AddInstruction(C_DDFF::C_ControllerInstruction(DDFF::DDFF_CMD_DEVICE_RESET));
  const std::uint8_t tur[6] = {0, 0, 0, 0, 0, 0};
  C_DDFF::C_ScsiInstruction ready(tur, sizeof tur);
  ready.SetRepeat(10, 100);
  io_request.AddInstruction(ready);
  const std::uint8_t start[6] = {0x1B, 0, 0, 0, 1, 0};
  io_request.AddInstruction(C_DDFF::C_ScsiInstruction(start, sizeof start));
}

// Each case sends a request for array0:2 from one host (cancelling it again
// when asked), restarts the array from a second host as the agent's trigger,
// and reads the outcome from a third.
TEST(C_SimDeferredTest, AgentRunsPendingRequestsAndReportsTheOutcome) {
  struct S_Case {
    const char* product;  // the image's; the drive is a ZQ-SAS-146 at ZQ05
    const char* revision;
    bool cancel;
    int run;  // requests the restart runs
    const char* result;
    const char* firmware;
    std::vector<const char*> error;  // Instruction, SenseKey, SenseASC, SenseASQ
  } cases[] = {
      {"ZQ-SAS-146", "ZQ06", false, 1, "success", "ZQ06", {}},
      // Made for the other drive: refused with the first record (44 + 0 x 40).
      {"ZQ-SAS-300", "ZQ12", false, 1, "error", "ZQ05", {"2C", "5", "26", "00"}},
      {"ZQ-SAS-146", "ZQ06", true, 0, "cancelled", "ZQ05", {}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.result);
    C_TempDir dir;
    const T_Bytes image = C_SimFirmwareImage::Build(
        c.product, c.revision, C_SimFirmwareImage::SamplePayload(c.product, c.revision, 50000));
    C_DDFF request;
    FillProgram(request, static_cast<std::uint32_t>(image.size()));
    std::vector<std::string> args = {
        "DeferFlash", std::to_string(reinterpret_cast<unsigned long>(image.data())),
        std::to_string(image.size()), std::to_string(reinterpret_cast<unsigned long>(&request))};
    {
      C_SimHost host(dir.File("state.json"));
      ASSERT_EQ(host.Call("array0:2", args), 0);
      args.push_back("Cancel=true");
      if (c.cancel) {
        ASSERT_EQ(host.Call("array0:2", args), 0);
      }
      EXPECT_EQ(host.Attribute("array0:2", "FirmwareRev"), "ZQ05");  // nothing ran yet
    }
    {
      C_SimHost later(dir.File("state.json"));
      EXPECT_EQ(later.Attribute("array0:2", "DeferResult"), c.cancel ? "cancelled" : "pending");
      EXPECT_EQ(later.Attribute("array0:2", "OldVersion"), "ZQ05");
      EXPECT_EQ(later.m_driver->RestartController("array0"), c.run);
      EXPECT_EQ(later.m_driver->RestartController("array0"), 0);  // nothing is pending any more
      EXPECT_EQ(later.m_driver->RestartController("hba0"), -1);   // not an array
    }
    C_SimHost after(dir.File("state.json"));
    EXPECT_EQ(after.Attribute("array0:2", "DeferResult"), c.result);
    EXPECT_EQ(after.Attribute("array0:2", "FirmwareRev"), c.firmware);
    EXPECT_EQ(after.Attribute("array0:3", "FirmwareRev"), "ZQ11");  // its neighbour is untouched
    const char* names[] = {"Instruction", "SenseKey", "SenseASC", "SenseASQ"};
    for (std::size_t i = 0; i < c.error.size(); ++i) {
      EXPECT_EQ(after.Attribute("array0:2", names[i]), c.error[i]) << names[i];
    }
  }
}

}  // namespace
