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

class C_SimDeferredTest : public ::testing::Test {
 protected:
  std::string StatePath() const { return m_dir.File("state.json"); }
  int DeferFlash(C_SimHost& io_host, const std::string& i_id, const T_Bytes& i_image,
                 C_DDFF& io_request, std::vector<std::string> i_switches = {}) {
    std::vector<std::string> args = {
        "DeferFlash", std::to_string(reinterpret_cast<unsigned long>(i_image.data())),
        std::to_string(i_image.size()), std::to_string(reinterpret_cast<unsigned long>(&io_request))};
    args.insert(args.end(), i_switches.begin(), i_switches.end());
    return io_host.Call(i_id, args);
  }
  T_Bytes Image(const std::string& i_product, const std::string& i_revision) {
    return C_SimFirmwareImage::Build(i_product, i_revision,
                                     C_SimFirmwareImage::SamplePayload(i_product, i_revision, 50000));
  }

  C_TempDir m_dir;
  C_NoSleep m_noSleep;
};

TEST_F(C_SimDeferredTest, AgentRunsAPendingRequestToSuccess) {
  T_Bytes image = Image("ZQ-SAS-146", "ZQ06");
  {
    C_SimHost host(StatePath());
    C_DDFF request;
    FillProgram(request, static_cast<std::uint32_t>(image.size()));
    ASSERT_EQ(DeferFlash(host, "array0:2", image, request), 0);
    EXPECT_EQ(host.Attribute("array0:2", "FirmwareRev"), "ZQ05");  // nothing ran yet
  }
  {
    C_SimHost later(StatePath());
    EXPECT_EQ(later.Attribute("array0:2", "DeferResult"), "pending");
    EXPECT_EQ(later.Attribute("array0:2", "OldVersion"), "ZQ05");
    EXPECT_EQ(later.m_driver->RestartController("array0"), 1);
    EXPECT_EQ(later.m_driver->RestartController("array0"), 0);  // nothing is pending any more
  }
  C_SimHost after(StatePath());
  EXPECT_EQ(after.Attribute("array0:2", "DeferResult"), "success");
  EXPECT_EQ(after.Attribute("array0:2", "FirmwareRev"), "ZQ06");
  EXPECT_EQ(after.Attribute("array0:3", "FirmwareRev"), "ZQ11");  // its neighbour is untouched
}

TEST_F(C_SimDeferredTest, AgentReportsTheFailingInstructionAndItsSense) {
  T_Bytes image = Image("ZQ-SAS-300", "ZQ12");  // made for the other drive
  {
    C_SimHost host(StatePath());
    C_DDFF request;
    FillProgram(request, static_cast<std::uint32_t>(image.size()));
    ASSERT_EQ(DeferFlash(host, "array0:2", image, request), 0);
    EXPECT_EQ(host.m_driver->RestartController("array0"), 1);
  }
  C_SimHost after(StatePath());
  EXPECT_EQ(after.Attribute("array0:2", "DeferResult"), "error");
  EXPECT_EQ(after.Attribute("array0:2", "Instruction"), "2C");  // the first record: 44 + 0 x 40
  EXPECT_EQ(after.Attribute("array0:2", "SenseKey"), "5");
  EXPECT_EQ(after.Attribute("array0:2", "SenseASC"), "26");
  EXPECT_EQ(after.Attribute("array0:2", "SenseASQ"), "00");
  EXPECT_EQ(after.Attribute("array0:2", "FirmwareRev"), "ZQ05");
}

TEST_F(C_SimDeferredTest, CancelledRequestIsNotRun) {
  T_Bytes image = Image("ZQ-SAS-146", "ZQ06");
  C_SimHost host(StatePath());
  C_DDFF request;
  FillProgram(request, static_cast<std::uint32_t>(image.size()));
  ASSERT_EQ(DeferFlash(host, "array0:2", image, request), 0);
  ASSERT_EQ(DeferFlash(host, "array0:2", image, request, {"Cancel=true"}), 0);
  EXPECT_EQ(host.m_driver->RestartController("array0"), 0);
  C_SimHost after(StatePath());
  EXPECT_EQ(after.Attribute("array0:2", "DeferResult"), "cancelled");
  EXPECT_EQ(after.Attribute("array0:2", "FirmwareRev"), "ZQ05");
  EXPECT_EQ(after.m_driver->RestartController("hba0"), -1);  // not an array
}

}  // namespace
