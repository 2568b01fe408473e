// The ATA target: IDENTIFY, DOWNLOAD MICROCODE, and the operations it shares
// with or answers differently from the SCSI target.

#include "targets/C_AtaTarget.h"

#include <cstring>
#include <stdexcept>

#include "TargetTest.h"

namespace {

const T_Bytes IDENTIFY_BLOCK = {0xC6, 0x01, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 0x01};

class AtaTargetTest : public C_TargetFixture<C_AtaTarget> {
 protected:
  AtaTargetTest() : C_TargetFixture(new C_AtaTarget("E0300A57", 5)) {
    m_controller->OfferPassThru(true);  // offered, and never used by ATA
  }
  void ReplyIdentify(const T_Bytes& i_data = LoadHex("identify_ata.hex")) {
    Restart(T_Script::Opcode(0xC6), T_Script::Data(i_data));
  }
};

TEST_F(AtaTargetTest, IdentifyBlockAndAttributes) {
  ReplyIdentify();
  ASSERT_EQ(0, Call({"Inquiry"}));
  ASSERT_EQ(1u, Commands().size());
  const T_Recorded& sent = Commands()[0];
  EXPECT_EQ((S_Block{IDENTIFY_BLOCK, 512, 40, 0x04, 1, 1}), Block(sent));
  EXPECT_EQ(T_Script::ROUTE_FORWARD, sent.route);
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
  m_driver->ClearScript();
  m_driver->Reply(T_Script::Opcode(0xC6), T_Script::Status(0x0C30));
  const C_Device::T_Attributes before = m_target->GetAttributes();
  EXPECT_EQ(0x0C30, Call({"Inquiry"}));
  EXPECT_EQ(before, m_target->GetAttributes());
}

// The revision is the firmware field from its fifth character; a field of
// fewer than four characters is not one (std::out_of_range).
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
      EXPECT_EQ(c.revision, target->GetAttribute("FirmwareRev"));
    } else {
      EXPECT_THROW(CallOp(*target, {"Inquiry"}), std::out_of_range);
      // What came before the revision is published; what follows is not.
      ExpectAttributes(*target,
                       {{"ProductId", "VK-ATA 2000 SIM"}, {"FirmwareRev", nullptr}, {"SerialNumber", nullptr}});
    }
  }
}

// "pHasDDFF" is "true" only for the parent's "HasDDFF" of exactly "true";
// "DeviceType" only below the two controllers that type their drives.
TEST_F(AtaTargetTest, ParentHasDDFFAndControllerDeviceType) {
  // The parent's "HasDDFF" (null: none); the target's "pHasDDFF" and
  // "DeviceType" (null: not published).
  const struct { const char* controllerId; int driveType; const char *parentHasDDFF, *pHasDDFF, *deviceType; }
  cases[] = {
      {"E0300A57", 5, "true", "true", "0X5"},
      {"E0100A57", 0x1A, "TRUE", "false", "0X1A"},
      {"E0100A57", 0, nullptr, "false", "00"},
      {"E0200A57", 5, "true", "true", nullptr},
      {"e0300a57", 5, " true", "false", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.controllerId);
    if (c.parentHasDDFF) {
      m_controller->AddAttribute("HasDDFF", c.parentHasDDFF);
    } else {
      m_controller->RemoveAttribute("HasDDFF");
    }
    C_AtaTarget* target = AttachAnother(new C_AtaTarget(c.controllerId, c.driveType));
    ReplyIdentify();
    ASSERT_EQ(0, CallOp(*target, {"Inquiry"}));
    ExpectAttributes(*target, {{"pHasDDFF", c.pHasDDFF}, {"DeviceType", c.deviceType}});
  }
}

// The sector count (length / 512) in bytes 4 and 10, length >> 17 in bytes 5
// and 11; the offset moves the data pointer only.
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
    EXPECT_EQ((S_Block{cdb, c.length, 40, 0x10, 0, 1}), Block(Commands()[0]));
    EXPECT_EQ(T_Script::ROUTE_FORWARD, Commands()[0].route);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(image.data() + c.offset), Commands()[0].dataBuffer);
    // A successful download waits 15 s for the drive to commit the image.
    EXPECT_EQ(std::vector<long>{15000}, C_SleepRecorder::Requests());
  }

  C_SleepRecorder sleeps;
  m_driver->Reply(T_Script::Opcode(0xC6), T_Script::Status(0x0C31));
  EXPECT_EQ(0x0C31, Call({"WriteBuffer", "7", AddressText(image.data()), "0", "512"}));
  EXPECT_TRUE(C_SleepRecorder::Requests().empty());
  EXPECT_EQ(0x04u, Commands().back().flags);  // the default flags
}

TEST_F(AtaTargetTest, FlashSequence) {
  std::vector<char> image(70000);
  ReplyIdentify();
  ASSERT_EQ(0, Call({"Flash", "70000", AddressText(image.data())}));
  const std::vector<T_Recorded>& sent = Commands();
  ASSERT_EQ(5u, sent.size());
  const std::uint32_t lengths[] = {32768, 32768, 4464};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0x92, sent[i].cdb[2]);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(image.data() + 32768 * i), sent[i].dataBuffer);
    EXPECT_EQ(lengths[i], sent[i].dataLength);
    EXPECT_EQ(0x04u, sent[i].flags);
  }
  // TEST UNIT READY and START STOP UNIT send nothing on ATA; the reset and
  // IDENTIFY do. No 15 s wait between chunks.
  EXPECT_EQ((S_Block{{0x03, 0x01}, 0, 40, 0, 2, 3}), Block(sent[3]));
  EXPECT_EQ(IDENTIFY_BLOCK, sent[4].cdb);
  EXPECT_TRUE(C_SleepRecorder::Requests().empty());
  EXPECT_EQ("1234", Attr("FirmwareRev"));
}

// The operations shared with the SCSI target go to ForwardCommand only, with
// a 40-byte sense buffer; the SCSI-only ones answer 0 and send nothing.
TEST_F(AtaTargetTest, SharedOperationsGoToForwardOnly) {
  std::uint8_t cdb[10] = {0xC1};
  for (const T_Args& args :
       {T_Args{"ModeSense", "0", "8"}, T_Args{"VendorSpecificCmd", "1", "10", AddressText(cdb), "0"}}) {
    m_driver->ClearCommands();
    EXPECT_EQ(0, Call(args));
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ(T_Script::ROUTE_FORWARD, Commands()[0].route) << args[0];
    EXPECT_EQ(40u, Commands()[0].senseLength) << args[0];
  }
  m_driver->ClearCommands();
  for (const char* name : {"TestUnitReady", "StartStopUnit", "RequestSense", "CmprModePage", "BlinkLeds"}) {
    EXPECT_EQ(0, Call({name})) << name;
  }
  EXPECT_TRUE(Commands().empty());
  EXPECT_EQ(13u + 1u, m_target->GetOperations().size());  // and "SetTimeout"
}

TEST(AtaTargetDetached, CommandsAnswerNoParent) {
  C_AtaTarget target("E0300A57", 1);
  for (const T_Args& args : {T_Args{"Inquiry"}, T_Args{"Reset"}, T_Args{"ModeSense", "0", "8"}}) {
    EXPECT_EQ(VEK_STATUS_NO_PARENT, CallOp(target, args)) << args[0];
  }
  EXPECT_EQ(VEK_STATUS_UNKNOWN_OPERATION, target.ForwardCommand(nullptr, &target));
}

// The serial number: leading blanks skipped, cut at the first byte that is
// not printable 7-bit, trailing blanks trimmed; cached once found.
TEST_F(AtaTargetTest, SerialNumberPageIsCleanedUp) {
  // The page's text, its length byte, the serial number.
  const struct { T_Bytes text; std::uint8_t length; std::string serial; } cases[] = {
      {{' ', ' ', 'A', 'B', 'C', '1', ' ', ' '}, 8, "ABC1"},
      {{'A', 'B', 0x01, 'C', 'D'}, 5, "AB"},
      {{'X', 'Y', 'Z', 0xC1, 'Q'}, 5, "XYZ"},
      {{'A', 'B', 'C', 'D', 'E', 'F'}, 2, "AB"},
      {{'A', ' ', 'B', ' ', ' '}, 5, "A B"},
      {{' ', ' ', ' '}, 3, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.serial);
    C_AtaTarget* target = AttachAnother(new C_AtaTarget);
    T_Bytes page = {0, 0x80, 0, c.length};
    for (std::uint8_t byte : c.text) page.push_back(byte);  // (insert upsets GCC 12's bounds warning)
    Restart();
    m_driver->Reply(VpdPage(0x80), T_Script::Data(page));
    EXPECT_EQ(c.serial, target->GetSerialNumber());
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ((S_Block{{0x12, 0x01, 0x80, 0x00, 0xFF, 0x00}, 255, 40, 0, 1, 1}), Block(Commands()[0]));
    EXPECT_EQ(T_Script::ROUTE_FORWARD, Commands()[0].route);
    target->GetSerialNumber();
    EXPECT_EQ(c.serial.empty() ? 2u : 1u, Commands().size());
  }
}

}  // namespace
