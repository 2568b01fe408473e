// The ATA target: IDENTIFY, DOWNLOAD MICROCODE, and the operations it shares
// with or answers differently from the SCSI target.

#include "targets/C_AtaTarget.h"

#include <cstring>
#include <stdexcept>

#include "TargetTest.h"
#include "foundation/StringUtil.h"

namespace {

const T_Bytes IDENTIFY_BLOCK = {0xC6, 0x01, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 0x01};

class AtaTargetTest : public C_TargetFixture<C_AtaTarget> {
 protected:
  AtaTargetTest() {
    Attach(new C_AtaTarget("E0300A57", 5));
    m_controller->OfferPassThru(true);  // offered, and never used by ATA
  }
  std::string Attr(const std::string& i_name) { return m_target->GetAttribute(i_name); }
  void ReplyIdentify(const T_Bytes& i_data) {
    m_driver->ClearScript();
    m_driver->Reply(C_ScriptedDriver::Opcode(0xC6), C_ScriptedDriver::Data(i_data));
  }
  static T_Bytes WithFirmware(const char* i_field) {
    T_Bytes data = LoadHex("identify_ata.hex");
    std::memcpy(&data[46], i_field, 8);
    return data;
  }
};

TEST_F(AtaTargetTest, IdentifyBlockAndAttributes) {
  ReplyIdentify(LoadHex("identify_ata.hex"));
  ASSERT_EQ(0, Call({"Inquiry"}));

  ASSERT_EQ(1u, Commands().size());
  const T_Recorded& sent = Commands()[0];
  EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, sent.route);
  EXPECT_EQ(IDENTIFY_BLOCK, sent.cdb);
  EXPECT_EQ(12, sent.cdbLength);
  EXPECT_EQ(m_target->GetIdentifyData(), sent.dataBuffer);
  EXPECT_EQ(512u, sent.dataLength);
  EXPECT_NE(nullptr, sent.senseBuffer);
  EXPECT_EQ(40u, sent.senseLength);
  EXPECT_EQ(0x04u, sent.flags);
  EXPECT_EQ(1, sent.direction);
  EXPECT_EQ(1u, sent.requestType);

  EXPECT_EQ("false", Attr("pHasDDFF"));
  EXPECT_EQ("0X5", Attr("DeviceType"));  // "%#02lX"
  EXPECT_EQ("ZQ", Attr("VendorId"));
  EXPECT_EQ("array0:2", Attr("DeviceId"));
  EXPECT_EQ("VK-ATA 2000 SIM", Attr("ProductId"));
  EXPECT_EQ("1234", Attr("FirmwareRev"));
  EXPECT_EQ("1234", m_target->GetActiveFwRev().Get());
  EXPECT_EQ("ATASN-000000000042  ", Attr("SerialNumber"));

  m_driver->ClearCommands();
  EXPECT_EQ(0, Call({"Inquiry", "1"}));
  EXPECT_EQ(0x00u, Commands().at(0).flags);
}

TEST_F(AtaTargetTest, FirmwareRevisionFromTheFifthCharacter) {
  struct S_Case {
    const char* field;
    const char* revision;  // null: std::out_of_range
  } cases[] = {
      {"ABCD1234", "1234"},
      {"ABCD12  ", "12"},
      {"ABCD    ", ""},
      {"  CD12  ", "12"},
      {"ABC     ", nullptr},
      {"        ", nullptr},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.field);
    C_AtaTarget* target = new C_AtaTarget;
    m_driver->Attach(m_controller, target, nullptr);
    ReplyIdentify(WithFirmware(c.field));
    if (c.revision) {
      EXPECT_EQ(0, CallOp(*target, {"Inquiry"}));
      EXPECT_EQ(c.revision, target->GetAttribute("FirmwareRev"));
    } else {
      EXPECT_THROW(CallOp(*target, {"Inquiry"}), std::out_of_range);
      // What came before the revision is published; what follows is not.
      EXPECT_EQ("VK-ATA 2000 SIM", target->GetAttribute("ProductId"));
      EXPECT_EQ(0u, target->GetAttributes().count("FirmwareRev"));
      EXPECT_EQ(0u, target->GetAttributes().count("SerialNumber"));
    }
  }
}

TEST_F(AtaTargetTest, ParentHasDDFFAndControllerDeviceType) {
  struct S_Case {
    const char* controllerId;
    int driveType;
    const char* parentHasDDFF;  // null: no attribute
    const char* pHasDDFF;
    const char* deviceType;     // null: not published
  } cases[] = {
      {"E0300A57", 5, "true", "true", "0X5"},
      {"E0100A57", 0x1A, "TRUE", "false", "0X1A"},
      {"E0100A57", 0, nullptr, "false", "00"},
      {"E0200A57", 5, "true", "true", nullptr},
      {"e0300a57", 5, "false", "false", nullptr},
      {"", 5, " true", "false", nullptr},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.controllerId);
    if (c.parentHasDDFF) {
      m_controller->AddAttribute("HasDDFF", c.parentHasDDFF);
    } else {
      m_controller->RemoveAttribute("HasDDFF");
    }
    C_AtaTarget* target = new C_AtaTarget(c.controllerId, c.driveType);
    m_driver->Attach(m_controller, target, nullptr);
    ReplyIdentify(LoadHex("identify_ata.hex"));
    ASSERT_EQ(0, CallOp(*target, {"Inquiry"}));
    EXPECT_EQ(c.pHasDDFF, target->GetAttribute("pHasDDFF"));
    if (c.deviceType) {
      EXPECT_EQ(c.deviceType, target->GetAttribute("DeviceType"));
    } else {
      EXPECT_EQ(0u, target->GetAttributes().count("DeviceType"));
    }
    EXPECT_EQ(static_cast<unsigned int>(c.driveType), target->GetDriveType());
    EXPECT_EQ(c.controllerId, target->GetCtlrId());
  }
}

TEST_F(AtaTargetTest, FailedIdentifyChangesNothing) {
  ReplyIdentify(LoadHex("identify_ata.hex"));
  ASSERT_EQ(0, Call({"Inquiry"}));
  m_driver->ClearScript();
  m_driver->Reply(C_ScriptedDriver::Opcode(0xC6), C_ScriptedDriver::Status(0x0C30));
  const C_Device::T_Attributes before = m_target->GetAttributes();
  EXPECT_EQ(0x0C30, Call({"Inquiry"}));
  EXPECT_EQ(before, m_target->GetAttributes());
}

TEST_F(AtaTargetTest, DownloadMicrocodeBlock) {
  std::vector<char> image(140000);
  struct S_Case {
    std::uint32_t offset, length;
    std::uint8_t count, countHigh;  // bytes 4 and 10, bytes 5 and 11
  } cases[] = {
      {0, 65536, 128, 0},
      {0, 131072, 0, 1},
      {65536, 4464, 8, 0},
      {512, 512, 1, 0},
      {0, 70000, 136, 0},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.length);
    m_driver->ClearCommands();
    C_SleepRecorder sleeps;
    ASSERT_EQ(0, Call({"WriteBuffer", "7", AddressText(image.data()), std::to_string(c.offset),
                       std::to_string(c.length), "0x10"}));
    ASSERT_EQ(1u, Commands().size());
    const T_Recorded& sent = Commands()[0];
    EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, sent.route);
    // The offset moves the data pointer only; it is not in the block.
    EXPECT_EQ((T_Bytes{0xC6, 0x82, 0x92, 0x07, c.count, c.countHigh, 0, 0, 0, 0, c.count,
                       c.countHigh}),
              sent.cdb);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(image.data() + c.offset), sent.dataBuffer);
    EXPECT_EQ(c.length, sent.dataLength);
    EXPECT_EQ(0x10u, sent.flags);
    EXPECT_EQ(0, sent.direction);
    EXPECT_EQ(40u, sent.senseLength);
    // A successful download waits 15 s for the drive to commit the image.
    EXPECT_EQ(std::vector<long>{15000}, C_SleepRecorder::Requests());
  }

  C_SleepRecorder sleeps;
  m_driver->Reply(C_ScriptedDriver::Opcode(0xC6), C_ScriptedDriver::Status(0x0C31));
  EXPECT_EQ(0x0C31, Call({"WriteBuffer", "7", AddressText(image.data()), "0", "512"}));
  EXPECT_TRUE(C_SleepRecorder::Requests().empty());
  EXPECT_EQ(0x04u, Commands().back().flags);  // the default flags
}

TEST_F(AtaTargetTest, FlashSequence) {
  std::vector<char> image(70000);
  ReplyIdentify(LoadHex("identify_ata.hex"));
  ASSERT_EQ(0, Call({"Flash", "70000", AddressText(image.data())}));

  const std::vector<T_Recorded>& sent = Commands();
  ASSERT_EQ(5u, sent.size());
  const std::uint32_t offsets[] = {0, 32768, 65536};
  const std::uint32_t lengths[] = {32768, 32768, 4464};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0x92, sent[i].cdb[2]);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(image.data() + offsets[i]), sent[i].dataBuffer);
    EXPECT_EQ(lengths[i], sent[i].dataLength);
    EXPECT_EQ(0x04u, sent[i].flags);
  }
  // TEST UNIT READY and START STOP UNIT send nothing on ATA; the reset and
  // IDENTIFY do. No 15 s wait between chunks.
  EXPECT_EQ((T_Bytes{0x03, 0x01}), sent[3].cdb);
  EXPECT_EQ(3u, sent[3].requestType);
  EXPECT_EQ(40u, sent[3].senseLength);
  EXPECT_EQ(IDENTIFY_BLOCK, sent[4].cdb);
  EXPECT_TRUE(C_SleepRecorder::Requests().empty());
  EXPECT_EQ("1234", Attr("FirmwareRev"));
}

TEST_F(AtaTargetTest, SharedOperationsGoToForwardOnly) {
  std::uint8_t cdb[10] = {0xC1};
  struct S_Case {
    std::vector<std::string> args;
    std::uint8_t opcode;
  } cases[] = {
      {{"ModeSense", "0", "8"}, 0x1A},
      {{"ModeSelect", "0", "8", "2", "2", "1"}, 0x1A},
      {{"VendorSpecificCmd", "1", "10", AddressText(cdb), "0"}, 0xC1},
      {{"Reset", "4"}, 0x03},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.args[0]);
    m_driver->ClearCommands();
    EXPECT_EQ(0, Call(c.args));
    ASSERT_FALSE(Commands().empty());
    EXPECT_EQ(c.opcode, Commands()[0].Opcode());
    for (const T_Recorded& sent : Commands()) {
      EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, sent.route);
      EXPECT_EQ(40u, sent.senseLength);
    }
  }
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"ModeSense", "0"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"VendorSpecificCmd", "0", "5", AddressText(cdb), "0"}));
}

TEST(AtaTargetDetached, ScsiOnlyOperationsAnswerZeroAndSendNothing) {
  C_AtaTarget target("E0300A57", 1);
  for (const char* name : {"TestUnitReady", "StartStopUnit", "RequestSense", "CmprModePage",
                           "BlinkLeds"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(0, CallOp(target, {name}));
  }
  EXPECT_EQ(VEK_STATUS_NO_PARENT, CallOp(target, {"Inquiry"}));
  EXPECT_EQ(VEK_STATUS_NO_PARENT, CallOp(target, {"Reset"}));
  EXPECT_EQ(VEK_STATUS_NO_PARENT, CallOp(target, {"ModeSense", "0", "8"}));
  Driver::S_Command command;
  std::memset(&command, 0, sizeof command);
  EXPECT_EQ(VEK_STATUS_NO_PARENT, CallOp(target, {"ExecuteCommand", AddressText(&command)}));
  EXPECT_EQ(VEK_STATUS_UNKNOWN_OPERATION, target.ForwardCommand(&command, &target));
  EXPECT_FALSE(target.FindChildren());
  EXPECT_EQ(13u + 1u, target.GetOperations().size());  // and "SetTimeout"
}

TEST_F(AtaTargetTest, SerialNumberPageIsCleanedUp) {
  struct S_Case {
    T_Bytes text;
    std::size_t length;  // the page's length byte
    std::string serial;
  } cases[] = {
      {{' ', ' ', 'A', 'B', 'C', '1', ' ', ' '}, 8, "ABC1"},
      {{'A', 'B', 0x01, 'C', 'D'}, 5, "AB"},
      {{'X', 'Y', 'Z', 0xC1, 'Q'}, 5, "XYZ"},
      {{'A', 'B', 'C', 'D', 'E', 'F'}, 2, "AB"},
      {{'A', ' ', 'B', ' ', ' '}, 5, "A B"},
      {{' ', ' ', ' '}, 3, ""},
      {{0x80, 'A'}, 2, ""},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.serial);
    C_AtaTarget* target = new C_AtaTarget;
    m_driver->Attach(m_controller, target, nullptr);
    T_Bytes page(4);
    page[1] = 0x80;
    page[3] = static_cast<std::uint8_t>(c.length);
    for (std::uint8_t byte : c.text) page.push_back(byte);
    m_driver->ClearScript();
    m_driver->ClearCommands();
    m_driver->Reply(VpdPage(0x80), C_ScriptedDriver::Data(page));
    EXPECT_EQ(c.serial, target->GetSerialNumber());
    ASSERT_EQ(1u, Commands().size());
    const T_Recorded& sent = Commands()[0];
    EXPECT_EQ((T_Bytes{0x12, 0x01, 0x80, 0x00, 0xFF, 0x00}), sent.cdb);
    EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, sent.route);
    EXPECT_EQ(0u, sent.flags);
    // Cached once found; read again while empty.
    target->GetSerialNumber();
    EXPECT_EQ(c.serial.empty() ? 2u : 1u, Commands().size());
  }
}

}  // namespace
