// What only the ATA target does: IDENTIFY DEVICE and the attributes read
// from it, and the DOWNLOAD MICROCODE block. What it shares with the SCSI
// target is in C_TargetTest.cpp.

#include "targets/C_AtaTarget.h"

#include <cstring>
#include <stdexcept>

#include "TargetTest.h"

namespace {

class AtaTargetTest : public C_TargetFixture<C_AtaTarget> {
 protected:
  AtaTargetTest() : C_TargetFixture(new C_AtaTarget("E0300A57", 5)) {}
  void ReplyIdentify(const T_Bytes& i_data = LoadHex("identify_ata.hex")) {
    Restart(T_Script::Opcode(0xC6), T_Script::Data(i_data));
  }
};

TEST_F(AtaTargetTest, IdentifyBlockAndAttributes) {
  ReplyIdentify();
  ASSERT_EQ(0, Call({"Inquiry"}));
  ASSERT_EQ(1u, Commands().size());
  const T_Recorded& sent = Commands()[0];
  EXPECT_EQ(T_Block({0xC6, 0x01, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 0x01}, 512, 40, 0x04, 1, 1), Block(sent));
  EXPECT_EQ(m_target->GetIdentifyData(), sent.dataBuffer);
  EXPECT_NE(nullptr, sent.senseBuffer);
  ExpectAttributes(*m_target, {{"pHasDDFF", "false"},
                               {"DeviceType", "0X5"},  // "%#02lX"
                               {"VendorId", "ZQ"},
                               {"DeviceId", "array0:2"},
                               {"ProductId", "VK-ATA 2000 SIM"},
                               {"FirmwareRev", "1234"},
                               {"SerialNumber", "ATASN-000000000042  "}});

  m_driver->ClearCommands();
  EXPECT_EQ(0, Call({"Inquiry", "1"}));
  EXPECT_EQ(0x00u, Commands().at(0).flags);

  // A failed IDENTIFY changes nothing published.
  Restart(T_Script::Opcode(0xC6), T_Script::Status(0x0C30));
  const C_Device::T_Attributes before = m_target->GetAttributes();
  EXPECT_EQ(0x0C30, Call({"Inquiry"}));
  EXPECT_EQ(before, m_target->GetAttributes());
}

// The revision is the firmware field from its fifth character; a field of
// fewer than four characters is not one (std::out_of_range), and what came
// before the revision stays published.
TEST_F(AtaTargetTest, FirmwareRevisionFromTheFifthCharacter) {
  const struct { const char* field; const char* revision; /* null: std::out_of_range */ } cases[] = {
      {"ABCD1234", "1234"}, {"ABCD12  ", "12"}, {"ABCD    ", ""}, {"ABC     ", nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.field);
    C_AtaTarget* target = AttachAnother(new C_AtaTarget);
    T_Bytes data = LoadHex("identify_ata.hex");
    std::memcpy(&data[46], c.field, 8);
    ReplyIdentify(data);
    if (c.revision) {
      EXPECT_EQ(0, CallOp(*target, {"Inquiry"}));
    } else {
      EXPECT_THROW(CallOp(*target, {"Inquiry"}), std::out_of_range);
    }
    ExpectAttributes(*target, {{"ProductId", "VK-ATA 2000 SIM"}, {"FirmwareRev", c.revision},
                               {"SerialNumber", c.revision ? "ATASN-000000000042  " : nullptr}});
  }
}

// "pHasDDFF" is "true" only for the parent's "HasDDFF" of exactly "true";
// "DeviceType" only below the two controllers that type their drives.
TEST_F(AtaTargetTest, ParentHasDDFFAndControllerDeviceType) {
  // The parent's "HasDDFF" (null: none); the target's "pHasDDFF" and
  // "DeviceType" (null: not published).
  const struct { const char* controllerId; int driveType; const char *parentHasDDFF, *pHasDDFF, *deviceType; }
  cases[] = {
      {"E0300A57", 5, "true", "true", "0X5"},   {"E0100A57", 0x1A, "TRUE", "false", "0X1A"},
      {"E0100A57", 0, nullptr, "false", "00"}, {"E0200A57", 5, "true", "true", nullptr},
      {"e0300a57", 5, " true", "false", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.controllerId);
    m_controller->RemoveAttribute("HasDDFF");
    if (c.parentHasDDFF) m_controller->AddAttribute("HasDDFF", c.parentHasDDFF);
    C_AtaTarget* target = AttachAnother(new C_AtaTarget(c.controllerId, c.driveType));
    ReplyIdentify();
    ASSERT_EQ(0, CallOp(*target, {"Inquiry"}));
    ExpectAttributes(*target, {{"pHasDDFF", c.pHasDDFF}, {"DeviceType", c.deviceType}});
  }
}

// The sector count (length / 512) in bytes 4 and 10, length >> 17 in bytes 5
// and 11; the offset moves the data pointer only. A successful download
// waits 15 s for the drive to commit the image.
TEST_F(AtaTargetTest, DownloadMicrocodeBlock) {
  std::vector<char> image(140000);
  const struct { std::uint32_t offset, length; std::uint8_t count, countHigh; } cases[] = {
      {0, 131072, 0, 1}, {65536, 4464, 8, 0}, {0, 70000, 136, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    m_driver->ClearCommands();
    C_SleepRecorder sleeps;
    ASSERT_EQ(0, Call({"WriteBuffer", "7", AddressText(image.data()), std::to_string(c.offset),
                       std::to_string(c.length), "0x10"}));
    ASSERT_EQ(1u, Commands().size());
    const T_Bytes cdb = {0xC6, 0x82, 0x92, 0x07, c.count, c.countHigh, 0, 0, 0, 0, c.count, c.countHigh};
    EXPECT_EQ(T_Block(cdb, c.length, 40, 0x10, 0, 1), Block(Commands()[0]));
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(image.data() + c.offset), Commands()[0].dataBuffer);
    EXPECT_EQ(std::vector<long>{15000}, C_SleepRecorder::Requests());
  }

  C_SleepRecorder sleeps;
  m_driver->Reply(T_Script::Opcode(0xC6), T_Script::Status(0x0C31));
  EXPECT_EQ(0x0C31, Call({"WriteBuffer", "7", AddressText(image.data()), "0", "512"}));
  EXPECT_TRUE(C_SleepRecorder::Requests().empty());
  EXPECT_EQ(0x04u, Commands().back().flags);  // the default flags
}

}  // namespace
