// Identity, command blocks and routes of the SCSI target.

#include "targets/C_ScsiTarget.h"

#include <cstddef>
#include <cstring>
#include <memory>

#include "TargetTest.h"
#include "foundation/StringUtil.h"
#include "targets/C_AtaTarget.h"
#include "targets/C_MPData.h"

namespace {

const T_Bytes INQUIRY_BLOCK = {0x12, 0x00, 0x00, 0x00, 0x38, 0x00};

class ScsiTargetTest : public C_TargetFixture<C_ScsiTarget> {
 protected:
  ScsiTargetTest() { Attach(new C_ScsiTarget); }
  std::string Attr(const std::string& i_name) { return m_target->GetAttribute(i_name); }
  bool HasAttr(const std::string& i_name) { return m_target->GetAttributes().count(i_name) != 0; }
  void ReplyDisk() {
    m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Data(LoadHex("inquiry_disk.hex")));
    m_driver->Reply(VpdPage(0x80), C_ScriptedDriver::Data(LoadHex("vpd80_serial.hex")));
  }
};

TEST_F(ScsiTargetTest, InquiryBlocksAndIdentityAttributes) {
  ReplyDisk();
  ASSERT_EQ(0, Call({"Inquiry"}));

  ASSERT_EQ(2u, Commands().size());
  const T_Recorded& inquiry = Commands()[0];
  EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, inquiry.route);
  EXPECT_EQ(m_target, inquiry.device);
  EXPECT_EQ(INQUIRY_BLOCK, inquiry.cdb);
  EXPECT_EQ(6, inquiry.cdbLength);
  EXPECT_EQ(m_target->GetInquiryData(), inquiry.dataBuffer);
  EXPECT_EQ(56u, inquiry.dataLength);
  EXPECT_NE(nullptr, inquiry.senseBuffer);
  EXPECT_EQ(255u, inquiry.senseLength);
  EXPECT_EQ(0x44u, inquiry.flags);
  EXPECT_EQ(1, inquiry.direction);
  EXPECT_EQ(1u, inquiry.requestType);

  const T_Recorded& vpd = Commands()[1];
  EXPECT_EQ((T_Bytes{0x12, 0x01, 0x80, 0x00, 0xFF, 0x00}), vpd.cdb);
  EXPECT_EQ(255u, vpd.dataLength);
  EXPECT_EQ(0u, vpd.flags);
  EXPECT_EQ(255u, vpd.senseLength);
  EXPECT_EQ(1, vpd.direction);

  char deviceType[16];
  std::snprintf(deviceType, sizeof deviceType, "%#02lX", 0UL);
  EXPECT_EQ(deviceType, Attr("DeviceType"));
  EXPECT_EQ("00", Attr("DeviceType"));
  EXPECT_EQ("VEKDISK", Attr("VendorId"));
  EXPECT_EQ("array0:2", Attr("DeviceId"));
  EXPECT_EQ("array0:2", m_target->GetDeviceId().Get());
  EXPECT_EQ("VK-4000 SIM", Attr("ProductId"));
  EXPECT_EQ("VK-4000 SIM", m_target->GetProductId().Get());
  EXPECT_EQ("ZQ05", Attr("FirmwareRev"));
  EXPECT_EQ("ZQ05", m_target->GetActiveFwRev().Get());
  EXPECT_EQ("  SN01234567", Attr("SerialNumber"));  // as returned, untrimmed
  EXPECT_EQ(0u, m_target->GetDeviceType());
}

// The 8-bit fields own a whole slot; the rest of the slot goes out as 0.
TEST_F(ScsiTargetTest, RecordPaddingIsZero) {
  bool checked = false;
  m_driver->Reply(C_ScriptedDriver::Any(),
                  C_ScriptedDriver::Handler([&](Driver::S_Command& command, const T_Recorded&) {
                    const std::uint8_t* raw = reinterpret_cast<const std::uint8_t*>(&command);
                    for (std::size_t i = offsetof(Driver::S_Command, cdbLength) + 1;
                         i < offsetof(Driver::S_Command, dataBuffer); ++i) {
                      EXPECT_EQ(0, raw[i]) << "byte " << i;
                    }
                    for (std::size_t i = offsetof(Driver::S_Command, direction) + 1;
                         i < offsetof(Driver::S_Command, requestType); ++i) {
                      EXPECT_EQ(0, raw[i]) << "byte " << i;
                    }
                    checked = true;
                    return 0;
                  }));
  EXPECT_EQ(0, Call({"TestUnitReady"}));
  EXPECT_TRUE(checked);
}

TEST_F(ScsiTargetTest, IdentityFieldsKeepAllButTrailingBlanks) {
  struct S_Case {
    const char* vendor;    // 8 bytes
    const char* product;   // 16 bytes
    std::size_t productLength;
    const char* revision;  // 4 bytes
    std::string vendorId, productId, firmwareRev;
  } cases[] = {
      {"ABCDEFG ", "PRODUCT         ", 16, "AB  ", "ABCDEFG", "PRODUCT", "AB"},
      {"        ", "  LEAD IN       ", 16, "1 2 ", "", "  LEAD IN", "1 2"},
      // A NUL is not a blank: nothing is trimmed after it.
      {"V\0      ", "NUL END  \0\0\0\0\0\0\0", 16, "R\0  ", std::string("V\0", 2),
       std::string("NUL END  \0\0\0\0\0\0\0", 16), std::string("R\0", 2)},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.productId);
    T_Bytes data = LoadHex("inquiry_disk.hex");
    std::memcpy(&data[8], c.vendor, 8);
    std::memcpy(&data[16], c.product, c.productLength);
    std::memcpy(&data[32], c.revision, 4);
    m_driver->ClearScript();
    m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Data(data));
    ASSERT_EQ(0, Call({"Inquiry"}));
    EXPECT_EQ(c.vendorId, Attr("VendorId"));
    EXPECT_EQ(c.vendorId, m_target->GetVendorId());
    EXPECT_EQ(c.productId, Attr("ProductId"));
    EXPECT_EQ(c.firmwareRev, Attr("FirmwareRev"));
  }
}

TEST_F(ScsiTargetTest, FirstArgumentSwitchSetsFlag04) {
  struct S_Case {
    std::vector<std::string> args;
    std::uint32_t flags;
  } cases[] = {
      {{"Inquiry"}, 0x44},
      {{"Inquiry", "0"}, 0x44},
      {{"Inquiry", "abc"}, 0x44},
      {{"Inquiry", "1"}, 0x40},
      {{"Inquiry", "0x10"}, 0x40},
      {{"RequestSense"}, 0x04},
      {{"RequestSense", "00"}, 0x04},
      {{"RequestSense", "-1"}, 0x00},
      {{"ModeSense", "0", "8"}, 0x04},
      {{"ModeSense", "2", "8"}, 0x00},
      {{"StartStopUnit", "0", "1"}, 0x04},
      {{"StartStopUnit", "1", "1"}, 0x00},
      // TEST UNIT READY has no switch.
      {{"TestUnitReady"}, 0x00},
      {{"TestUnitReady", "0"}, 0x00},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.args[0] + " " + (c.args.size() > 1 ? c.args[1] : ""));
    m_driver->ClearCommands();
    Call(c.args);
    ASSERT_FALSE(Commands().empty());
    EXPECT_EQ(c.flags, Commands()[0].flags);
  }
}

// Which operations use the pass-through route first, and which go to
// ForwardCommand only.
TEST_F(ScsiTargetTest, TwoRouteAndSingleRouteOperations) {
  std::uint8_t vendorCdb[10] = {0xC1, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::vector<char> image(16);
  Driver::S_Command hostCommand;
  std::memset(&hostCommand, 0, sizeof hostCommand);
  hostCommand.cdb = vendorCdb;
  hostCommand.cdbLength = 10;
  struct S_Case {
    std::vector<std::string> args;
    bool twoRoute;
  } cases[] = {
      {{"Inquiry"}, true},
      {{"RequestSense"}, true},
      {{"StartStopUnit", "0", "1"}, true},
      {{"TestUnitReady"}, true},
      {{"WriteBuffer", "7", AddressText(image.data()), "0", "16"}, true},
      {{"VendorSpecificCmd", "0", "10", AddressText(vendorCdb), "0"}, true},
      {{"ModeSense", "0", "8"}, false},
      {{"CmprModePage", "0", "8", "0", "0"}, false},
      {{"Reset"}, false},
      {{"ExecuteCommand", AddressText(&hostCommand)}, false},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.args[0]);
    // Pass-through offered and succeeding: a two-route command never reaches
    // ForwardCommand.
    m_controller->OfferPassThru(true);
    m_driver->ClearScript();
    m_driver->ClearCommands();
    Call(c.args);
    ASSERT_FALSE(Commands().empty());
    for (const T_Recorded& sent : Commands()) {
      EXPECT_EQ(c.twoRoute ? C_ScriptedDriver::ROUTE_PASSTHRU : C_ScriptedDriver::ROUTE_FORWARD,
                sent.route);
    }

    // Pass-through failing: the same record goes on to ForwardCommand, whose
    // code is the answer (INQUIRY then asks for the identity, which this
    // controller does not offer).
    m_driver->Reply([](const T_Recorded& r) { return r.route == C_ScriptedDriver::ROUTE_PASSTHRU; },
                    C_ScriptedDriver::Status(0x0BAD));
    m_driver->Reply(C_ScriptedDriver::Any(), C_ScriptedDriver::Status(0x0777));
    m_driver->ClearCommands();
    EXPECT_EQ(c.args[0] == "Inquiry" ? VEK_STATUS_NOT_SUPPORTED : 0x0777, Call(c.args));
    if (c.twoRoute) {
      ASSERT_EQ(2u, Commands().size());
      EXPECT_EQ(C_ScriptedDriver::ROUTE_PASSTHRU, Commands()[0].route);
      EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, Commands()[1].route);
      EXPECT_EQ(Commands()[0].cdb, Commands()[1].cdb);
      EXPECT_EQ(Commands()[0].dataBuffer, Commands()[1].dataBuffer);
    } else {
      ASSERT_EQ(1u, Commands().size());
      EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, Commands()[0].route);
    }
  }
}

TEST_F(ScsiTargetTest, InquiryFallsBackToParentIdentity) {
  const T_Bytes disk = LoadHex("inquiry_disk.hex");
  const std::string serial = "FALLBACK-SERIAL-0042                    ";
  ASSERT_EQ(40u, serial.size());
  m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Status(0x0C01));
  m_controller->OfferIdentify([&](scsi::S_IDPhysicalDevice* o_identity) {
    std::memcpy(o_identity->inquiry, &disk[8], 32);
    std::memcpy(o_identity->serialNumber, serial.data(), 40);
    return 0;
  });

  ASSERT_EQ(0, Call({"Inquiry"}));
  EXPECT_EQ("VEKDISK", Attr("VendorId"));
  EXPECT_EQ("VK-4000 SIM", Attr("ProductId"));
  EXPECT_EQ("ZQ05", Attr("FirmwareRev"));
  EXPECT_EQ(serial, Attr("SerialNumber"));  // all 40 characters
  EXPECT_EQ(0, std::memcmp(m_target->GetInquiryData() + 8, &disk[8], 32));
  // The serial came with the identity: no serial-number page is read.
  ASSERT_EQ(1u, Commands().size());
  EXPECT_EQ(INQUIRY_BLOCK, Commands()[0].cdb);
}

TEST_F(ScsiTargetTest, InquiryWithoutAnyRouteChangesNothing) {
  ReplyDisk();
  ASSERT_EQ(0, Call({"Inquiry"}));
  m_driver->ClearScript();
  m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Status(0x0C01));

  // The controller does not offer the identity: its 1027 is the answer.
  EXPECT_EQ(VEK_STATUS_NOT_SUPPORTED, Call({"Inquiry"}));
  EXPECT_EQ("VEKDISK", Attr("VendorId"));
  EXPECT_EQ("ZQ05", Attr("FirmwareRev"));
  for (unsigned int i = 0; i < C_ScsiTarget::INQUIRY_LENGTH; ++i) {
    ASSERT_EQ(0, m_target->GetInquiryData()[i]) << "byte " << i;
  }

  m_controller->OfferIdentify([](scsi::S_IDPhysicalDevice*) { return 0x0C02; });
  EXPECT_EQ(0x0C02, Call({"Inquiry"}));
}

TEST_F(ScsiTargetTest, SerialNumberPageCases) {
  struct S_Case {
    const char* name;
    C_ScriptedDriver::S_Reply reply;
    bool published;
  } cases[] = {
      {"page read fails", C_ScriptedDriver::Status(0x0C03), false},
      {"wrong page code", C_ScriptedDriver::Data({0x00, 0x83, 0x00, 0x02, 'A', 'B'}), false},
      {"length 0", C_ScriptedDriver::Data({0x00, 0x80, 0x00, 0x00, 'A', 'B'}), false},
      {"length 2", C_ScriptedDriver::Data({0x00, 0x80, 0x00, 0x02, 'A', 'B', 'C'}), true},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    C_ScsiTarget* target = new C_ScsiTarget;
    m_driver->Attach(m_controller, target, nullptr);
    m_driver->ClearScript();
    m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Data(LoadHex("inquiry_disk.hex")));
    m_driver->Reply(VpdPage(0x80), c.reply);
    ASSERT_EQ(0, CallOp(*target, {"Inquiry"}));
    EXPECT_EQ(c.published, target->GetAttributes().count("SerialNumber") != 0);
    EXPECT_EQ(c.published ? "AB" : "", target->GetSerialNumber());

    // Only a found serial number is cached; otherwise the page is read again.
    m_driver->ClearCommands();
    target->GetSerialNumber();
    EXPECT_EQ(c.published ? 0u : 1u, Commands().size());
  }
}

TEST_F(ScsiTargetTest, SetFirmwareRevChangesBothRevisionsAndAttribute) {
  ReplyDisk();
  ASSERT_EQ(0, Call({"Inquiry"}));
  m_target->SetFirmwareRev("ZQ09");
  EXPECT_EQ("ZQ09", m_target->GetFirmwareRev().Get());
  EXPECT_EQ("ZQ09", m_target->GetActiveFwRev().Get());
  EXPECT_EQ("ZQ09", Attr("FirmwareRev"));
}

TEST_F(ScsiTargetTest, InitClearsSenseThenIdentifies) {
  ReplyDisk();
  // Init answers Inquiry's status as a bool: false once identified.
  EXPECT_FALSE(m_target->Init());
  ASSERT_EQ(3u, Commands().size());
  EXPECT_EQ(0x03, Commands()[0].Opcode());
  EXPECT_EQ(INQUIRY_BLOCK, Commands()[1].cdb);
  EXPECT_EQ("VEKDISK", Attr("VendorId"));

  m_driver->ClearScript();
  m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Status(0x0C01));
  EXPECT_TRUE(m_target->Init());
}

TEST_F(ScsiTargetTest, RequestSenseStoresFixedFormatData) {
  T_Bytes fixed40 = LoadHex("sense_fixed_40.hex");
  T_Bytes byte12Zero = fixed40;
  byte12Zero[12] = 0;
  T_Bytes byte12Large = fixed40;
  byte12Large[12] = 0x20;
  T_Bytes deferred8 = {0x71, 0, 3, 0, 0, 0, 0, 0};
  T_Bytes vendor11 = {0x7F, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  T_Bytes descriptor = fixed40;
  descriptor[0] = 0x72;
  T_Bytes fixed7E = fixed40;
  fixed7E[0] = 0x7E;
  struct S_Case {
    const char* name;
    T_Bytes data;
    std::size_t stored;  // bytes in "$SenseData"; npos: no attribute
  } cases[] = {
      {"40 bytes, byte 12 = 4", fixed40, 11},
      {"40 bytes, byte 12 = 0", byte12Zero, 18},
      {"40 bytes, byte 12 = 0x20", byte12Large, 39},
      {"8 bytes deferred", deferred8, 8},
      {"11 bytes 0x7F", vendor11, 11},
      {"descriptor format", descriptor, std::string::npos},
      {"0x7E", fixed7E, std::string::npos},
      {"nothing returned", T_Bytes{}, std::string::npos},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_target->RemoveAttribute("$SenseData");
    m_driver->ClearScript();
    m_driver->ClearCommands();
    m_driver->Reply(C_ScriptedDriver::Opcode(0x03), C_ScriptedDriver::Data(c.data));
    EXPECT_EQ(0, Call({"RequestSense"}));
    if (c.stored == std::string::npos) {
      EXPECT_FALSE(HasAttr("$SenseData"));
    } else {
      EXPECT_EQ(ByteText(T_Bytes(c.data.begin(), c.data.begin() + c.stored)), Attr("$SenseData"));
    }
  }

  const T_Recorded& sent = Commands().at(0);
  EXPECT_EQ((T_Bytes{0x03, 0x00, 0x00, 0x00, 0xFF, 0x00}), sent.cdb);
  EXPECT_EQ(255u, sent.dataLength);
  EXPECT_EQ(nullptr, sent.senseBuffer);
  EXPECT_EQ(0u, sent.senseLength);
  EXPECT_EQ(1, sent.direction);

  m_target->RemoveAttribute("$SenseData");
  m_driver->ClearScript();
  m_driver->Reply(C_ScriptedDriver::Opcode(0x03), C_ScriptedDriver::Data(fixed40, 0x0C04));
  EXPECT_EQ(0x0C04, Call({"RequestSense"}));
  EXPECT_FALSE(HasAttr("$SenseData"));
}

TEST_F(ScsiTargetTest, StartStopAndTestUnitReadyBlocks) {
  struct S_Case {
    std::vector<std::string> args;
    T_Bytes cdb;
  } cases[] = {
      {{"StartStopUnit", "0", "1"}, {0x1B, 0, 0, 0, 1, 0}},
      {{"StartStopUnit", "0", "0", "1"}, {0x1B, 1, 0, 0, 0, 0}},
      {{"StartStopUnit", "1", "0x101", "0x3"}, {0x1B, 3, 0, 0, 1, 0}},
      {{"TestUnitReady"}, {0, 0, 0, 0, 0, 0}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.args.size());
    m_driver->ClearCommands();
    EXPECT_EQ(0, Call(c.args));
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ(c.cdb, Commands()[0].cdb);
    EXPECT_EQ(nullptr, Commands()[0].dataBuffer);
    EXPECT_EQ(0u, Commands()[0].dataLength);
    EXPECT_EQ(2, Commands()[0].direction);
    EXPECT_EQ(255u, Commands()[0].senseLength);
  }
  m_driver->ClearCommands();
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"StartStopUnit", "0"}));
  EXPECT_TRUE(Commands().empty());
}

TEST_F(ScsiTargetTest, ResetAndAddressControlRequests) {
  struct S_Case {
    std::vector<std::string> args;
    std::uint8_t kind;
  } cases[] = {{{"Reset"}, 1}, {{"Reset", "2"}, 2}, {{"Reset", "0x103"}, 3}, {{"Reset", "0"}, 0}};
  for (const S_Case& c : cases) {
    m_driver->ClearCommands();
    EXPECT_EQ(0, Call(c.args));
    ASSERT_EQ(1u, Commands().size());
    const T_Recorded& sent = Commands()[0];
    EXPECT_EQ((T_Bytes{0x03, c.kind}), sent.cdb);
    EXPECT_EQ(2, sent.cdbLength);
    EXPECT_EQ(nullptr, sent.dataBuffer);
    EXPECT_EQ(0u, sent.flags);
    EXPECT_EQ(2, sent.direction);
    EXPECT_EQ(3u, sent.requestType);
  }

  m_driver->ClearCommands();
  m_driver->Reply(ControlRequest(0x02), C_ScriptedDriver::Data({5, 7, 9}));
  scsi::S_Address address;
  std::memset(&address, 0xEE, sizeof address);
  EXPECT_EQ(0, m_target->GetScsiAddress(&address));
  EXPECT_EQ(5, address.bytes[0]);
  EXPECT_EQ(9, address.bytes[2]);
  const T_Recorded& sent = Commands().at(0);
  EXPECT_EQ(T_Bytes{0x02}, sent.cdb);
  EXPECT_EQ(1, sent.cdbLength);
  EXPECT_EQ(address.bytes, sent.dataBuffer);
  EXPECT_EQ(3u, sent.dataLength);
  EXPECT_EQ(0x40u, sent.flags);
  EXPECT_EQ(1, sent.direction);
  EXPECT_EQ(3u, sent.requestType);
}

TEST_F(ScsiTargetTest, BlinkLedsCallsParentWithAddress) {
  m_driver->Reply(ControlRequest(0x02), C_ScriptedDriver::Data({5, 200, 9}));
  m_controller->SetBlinkResult(77);
  EXPECT_EQ(77, Call({"BlinkLeds"}));
  m_controller->SetBlinkResult(0);
  EXPECT_EQ(0, Call({"BlinkLeds", "30"}));
  ASSERT_EQ(2u, m_controller->BlinkCalls().size());
  EXPECT_EQ((std::vector<std::string>{"BlinkDriveLeds", "0", "5", "200"}),
            m_controller->BlinkCalls()[0]);
  EXPECT_EQ("30", m_controller->BlinkCalls()[1][1]);
  // The target sends nothing itself besides the address request.
  for (const T_Recorded& sent : Commands()) EXPECT_EQ(3u, sent.requestType);

  m_driver->ClearScript();
  m_driver->Reply(ControlRequest(0x02), C_ScriptedDriver::Status(0x0C05));
  EXPECT_EQ(0x0C05, Call({"BlinkLeds"}));
  EXPECT_EQ(2u, m_controller->BlinkCalls().size());
}

TEST_F(ScsiTargetTest, ParentThatIsNotADevice) {
  C_ScsiTarget* target = new C_ScsiTarget;
  m_driver->Attach(m_root.get(), target, nullptr);  // the root is not a C_Device
  scsi::S_Address address;
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, target->GetScsiAddress(&address));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, CallOp(*target, {"BlinkLeds"}));
  EXPECT_TRUE(Commands().empty());
}

TEST_F(ScsiTargetTest, VendorSpecificCommandRules) {
  std::uint8_t cdb[12] = {0xC1, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB};
  std::uint8_t data[64] = {};
  const std::string cdbAt = AddressText(cdb);
  const std::string dataAt = AddressText(data);
  const int BAD = VEK_STATUS_BAD_ARGUMENT;
  struct S_Case {
    std::vector<std::string> args;
    int status;
    std::uint32_t flags = 0;
    std::uint8_t direction = 0;
    std::uint32_t dataLength = 0;
  } cases[] = {
      {{"VendorSpecificCmd", "0", "6", cdbAt, "0"}, 0, 0x00, 2, 0},
      {{"VendorSpecificCmd", "1", "12", cdbAt, "0"}, 0, 0x05, 2, 0},
      {{"VendorSpecificCmd", "0x180", "10", cdbAt, "0"}, 0, 0x80, 2, 0},
      {{"VendorSpecificCmd", "0", "10", cdbAt, "1", "64", dataAt}, 0, 0x00, 1, 64},
      {{"VendorSpecificCmd", "0", "10", cdbAt, "2", "0x20", dataAt}, 0, 0x00, 0, 32},
      {{"VendorSpecificCmd", "0", "5", cdbAt, "0"}, BAD},
      {{"VendorSpecificCmd", "0", "256", cdbAt, "0"}, BAD},
      {{"VendorSpecificCmd", "0", "10", "0", "0"}, BAD},
      {{"VendorSpecificCmd", "0", "10", cdbAt, "3"}, BAD},
      {{"VendorSpecificCmd", "0", "10", cdbAt, "-1"}, BAD},
      {{"VendorSpecificCmd", "0", "10", cdbAt, "1", "64"}, BAD},
      {{"VendorSpecificCmd", "0", "10", cdbAt, "1", "0", dataAt}, BAD},
      {{"VendorSpecificCmd", "0", "10", cdbAt, "2", "64", "0"}, BAD},
      {{"VendorSpecificCmd", "0", "10", cdbAt}, BAD},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    m_driver->ClearCommands();
    ASSERT_EQ(c.status, Call(c.args));
    if (c.status != 0) {
      EXPECT_TRUE(Commands().empty());
      continue;
    }
    ASSERT_EQ(1u, Commands().size());
    const T_Recorded& sent = Commands()[0];
    const long length = ParseSigned(c.args[2].c_str());
    EXPECT_EQ(T_Bytes(cdb, cdb + length), sent.cdb);
    EXPECT_EQ(c.flags, sent.flags);
    EXPECT_EQ(c.direction, sent.direction);
    EXPECT_EQ(c.dataLength, sent.dataLength);
    EXPECT_EQ(c.dataLength ? data : nullptr, sent.dataBuffer);
    EXPECT_EQ(1u, sent.requestType);
  }
}

TEST_F(ScsiTargetTest, ExecuteCommandSendsTheHostRecordUnchanged) {
  std::uint8_t cdb[6] = {0x1D, 0, 0, 0, 0, 0};
  std::uint8_t data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  Driver::S_Command command;
  std::memset(&command, 0, sizeof command);
  command.cdb = cdb;
  command.cdbLength = 6;
  command.dataBuffer = data;
  command.dataLength = 8;
  command.flags = 0x1234;
  command.direction = Driver::DIRECTION_OUT;
  command.requestType = Driver::REQUEST_CONTROLLER;
  m_driver->Reply(C_ScriptedDriver::Opcode(0x1D), C_ScriptedDriver::Status(0x0C06));

  EXPECT_EQ(0x0C06, Call({"ExecuteCommand", AddressText(&command)}));
  ASSERT_EQ(1u, Commands().size());
  const T_Recorded& sent = Commands()[0];
  EXPECT_EQ(data, sent.dataBuffer);
  EXPECT_EQ((T_Bytes{1, 2, 3, 4, 5, 6, 7, 8}), sent.dataOut);
  EXPECT_EQ(0x1234u, sent.flags);
  EXPECT_EQ(2u, sent.requestType);

  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"ExecuteCommand"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"ExecuteCommand", "0"}));
}

TEST_F(ScsiTargetTest, LeafAnswers1024AndHasNoChildren) {
  Driver::S_Command command;
  std::memset(&command, 0, sizeof command);
  EXPECT_EQ(VEK_STATUS_UNKNOWN_OPERATION, m_target->ForwardCommand(&command, m_target));
  EXPECT_EQ(VEK_STATUS_UNKNOWN_OPERATION, m_target->ForwardCommand(nullptr, nullptr));
  EXPECT_FALSE(m_target->FindChildren());
  EXPECT_EQ(VEK_STATUS_UNKNOWN_OPERATION, Call({"NoSuchOperation"}));
}

TEST(ScsiTargetDetached, EveryCommandAnswersNoParent) {
  C_ScsiTarget target;
  std::uint8_t cdb[6] = {};
  std::vector<char> image(8);
  const int NO_PARENT = VEK_STATUS_NO_PARENT;
  const int BAD = VEK_STATUS_BAD_ARGUMENT;
  struct S_Case {
    std::vector<std::string> args;
    int status;
  } cases[] = {
      {{"Inquiry"}, NO_PARENT},
      {{"RequestSense"}, NO_PARENT},
      {{"TestUnitReady"}, NO_PARENT},
      {{"StartStopUnit", "0", "1"}, NO_PARENT},
      {{"ModeSense", "0", "8"}, NO_PARENT},
      {{"ModeSelect", "0", "8", "2"}, NO_PARENT},
      {{"CmprModePage", "0", "8", "0", "0"}, NO_PARENT},
      {{"Reset"}, NO_PARENT},
      {{"BlinkLeds"}, NO_PARENT},
      {{"WriteBuffer", "7", AddressText(image.data()), "0", "8"}, NO_PARENT},
      {{"Flash", "8", AddressText(image.data())}, NO_PARENT},
      // The parent is checked before the vendor command's own arguments.
      {{"VendorSpecificCmd", "0", "5", AddressText(cdb), "0"}, NO_PARENT},
      // The argument count is checked before the parent.
      {{"ModeSense", "0"}, BAD},
      {{"ModeSense", "0", "8", "9"}, BAD},
      {{"ModeSelect", "0", "8"}, BAD},
      {{"CmprModePage", "0", "8", "0"}, BAD},
      {{"StartStopUnit", "0"}, BAD},
      {{"VendorSpecificCmd", "0", "6", AddressText(cdb)}, BAD},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    EXPECT_EQ(c.status, CallOp(target, c.args));
  }
  std::uint8_t page[16];
  EXPECT_EQ(NO_PARENT, target.GetVitalProductData(0x80, page, sizeof page, 0));
  scsi::S_Address address;
  EXPECT_EQ(NO_PARENT, target.GetScsiAddress(&address));
  EXPECT_EQ("", target.GetSerialNumber());
  EXPECT_TRUE(target.GetAttributes().empty());
}

}  // namespace

namespace {

// Plain targets keep no mode-page data: what they are given is released.
TEST(C_TargetMPDataTest, TargetsKeepNoModePageData) {
  C_SmartPtr<C_MPData> data(new C_MPData(0x08, C_Blob("\x08\x02\x04\x00", 4, false)));
  C_ScsiTarget scsi;
  C_AtaTarget ata("E0300A57", 1);
  scsi.SetMPData(data);
  ata.SetMPData(data);
  EXPECT_EQ(data.GetReferenceCount(), 1);
  EXPECT_TRUE(scsi.GetMPData().IsNull());
  EXPECT_TRUE(ata.GetMPData().IsNull());
}

}  // namespace
