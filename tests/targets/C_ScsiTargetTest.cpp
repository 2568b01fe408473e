// Identity, command blocks and routes of the SCSI target.

#include "targets/C_ScsiTarget.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "TargetTest.h"
#include "foundation/StringUtil.h"
#include "targets/C_MPData.h"

namespace {

const T_Bytes INQUIRY_BLOCK = {0x12, 0x00, 0x00, 0x00, 0x38, 0x00};
const int BAD = VEK_STATUS_BAD_ARGUMENT, NO_PARENT = VEK_STATUS_NO_PARENT;

class ScsiTargetTest : public C_TargetFixture<C_ScsiTarget> {
 protected:
  void ReplyDisk() {
    m_driver->Reply(StandardInquiry(), T_Script::Data(LoadHex("inquiry_disk.hex")));
    m_driver->Reply(VpdPage(0x80), T_Script::Data(LoadHex("vpd80_serial.hex")));
  }
};

TEST_F(ScsiTargetTest, InquiryBlocksAndIdentityAttributes) {
  ReplyDisk();
  ASSERT_EQ(0, Call({"Inquiry"}));
  ASSERT_EQ(2u, Commands().size());
  const T_Recorded& inquiry = Commands()[0];
  EXPECT_EQ(T_Script::ROUTE_FORWARD, inquiry.route);
  EXPECT_EQ(m_target, inquiry.device);
  EXPECT_EQ(m_target->GetInquiryData(), inquiry.dataBuffer);
  EXPECT_EQ((S_Block{{0x12, 0x01, 0x80, 0x00, 0xFF, 0x00}, 255, 255, 0, 1, 1}), Block(Commands()[1]));
  ExpectAttributes(*m_target, {{"DeviceType", "00"},
                               {"VendorId", "VEKDISK"},
                               {"DeviceId", "array0:2"},
                               {"ProductId", "VK-4000 SIM"},
                               {"FirmwareRev", "ZQ05"},
                               {"SerialNumber", "  SN01234567"}});  // as returned, untrimmed
}

// The 8-bit fields own a whole slot; the rest of the slot goes out as 0.
TEST_F(ScsiTargetTest, RecordPaddingIsZero) {
  int checked = 0;
  m_driver->Reply(T_Script::Any(), T_Script::Handler([&](Driver::S_Command& command, const T_Recorded&) {
    const std::uint8_t* raw = reinterpret_cast<const std::uint8_t*>(&command);
    typedef Driver::S_Command R;
    const std::size_t gaps[][2] = {{offsetof(R, cdbLength) + 1, offsetof(R, dataBuffer)},
                                   {offsetof(R, direction) + 1, offsetof(R, requestType)}};
    for (const auto& gap : gaps) {
      for (std::size_t i = gap[0]; i < gap[1]; ++i, ++checked) EXPECT_EQ(0, raw[i]) << "byte " << i;
    }
    return 0;
  }));
  EXPECT_EQ(0, Call({"TestUnitReady"}));
  EXPECT_GT(checked, 0);
}

// Only blanks (0x20) are trimmed, and only at the end: leading blanks and
// NULs are kept, and the blanks before a NUL.
TEST_F(ScsiTargetTest, IdentityFieldsKeepAllButTrailingBlanks) {
  T_Bytes data = LoadHex("inquiry_disk.hex");
  const std::string vendor = "        ", product("  LEAD IN  \0\0\0\0\0", 16), revision("R\0  ", 4);
  std::copy(vendor.begin(), vendor.end(), data.begin() + 8);
  std::copy(product.begin(), product.end(), data.begin() + 16);
  std::copy(revision.begin(), revision.end(), data.begin() + 32);
  m_driver->Reply(StandardInquiry(), T_Script::Data(data));
  ASSERT_EQ(0, Call({"Inquiry"}));
  EXPECT_EQ("", Attr("VendorId"));
  EXPECT_EQ("", m_target->GetVendorId());
  EXPECT_EQ(product, Attr("ProductId"));
  EXPECT_EQ(std::string("R\0", 2), Attr("FirmwareRev"));
}

// Which operations use the pass-through route first, and which go to
// ForwardCommand only.
TEST_F(ScsiTargetTest, TwoRouteAndSingleRouteOperations) {
  std::uint8_t vendorCdb[10] = {0xC1, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::vector<char> image(16);
  Driver::S_Command hostCommand = {vendorCdb, 10, nullptr, 0, nullptr, 0, 0, 0, 0};
  const struct { T_Args args; bool twoRoute; } cases[] = {
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
  // Pass-through offered and failing: a two-route command goes to it first,
  // then the same record to ForwardCommand, whose code is the answer
  // (INQUIRY then asks for the identity, which this controller does not
  // offer).
  m_controller->OfferPassThru(true);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args[0]);
    Restart([](const T_Recorded& r) { return r.route == T_Script::ROUTE_PASSTHRU; }, T_Script::Status(0x0BAD));
    m_driver->Reply(T_Script::Any(), T_Script::Status(0x0777));
    EXPECT_EQ(c.args[0] == "Inquiry" ? VEK_STATUS_NOT_SUPPORTED : 0x0777, Call(c.args));
    ASSERT_EQ(c.twoRoute ? 2u : 1u, Commands().size());
    EXPECT_EQ(c.twoRoute ? T_Script::ROUTE_PASSTHRU : T_Script::ROUTE_FORWARD, Commands()[0].route);
    EXPECT_EQ(T_Script::ROUTE_FORWARD, Commands().back().route);
    EXPECT_EQ(Commands()[0].cdb, Commands().back().cdb);
    EXPECT_EQ(Commands()[0].dataBuffer, Commands().back().dataBuffer);
  }
  // Pass-through succeeding: ForwardCommand is not asked (the serial-number
  // page goes the same way as INQUIRY).
  Restart();
  EXPECT_EQ(0, Call({"Inquiry"}));
  ASSERT_EQ(2u, Commands().size());
  for (const T_Recorded& sent : Commands()) EXPECT_EQ(T_Script::ROUTE_PASSTHRU, sent.route);
}

TEST_F(ScsiTargetTest, InquiryFallsBackToParentIdentity) {
  const T_Bytes disk = LoadHex("inquiry_disk.hex");
  const std::string serial = "FALLBACK-SERIAL-0042                    ";
  ASSERT_EQ(40u, serial.size());
  m_driver->Reply(StandardInquiry(), T_Script::Status(0x0C01));
  m_controller->OfferIdentify([&](scsi::S_IDPhysicalDevice* o_identity) {
    std::memcpy(o_identity->inquiry, &disk[8], 32);
    std::memcpy(o_identity->serialNumber, serial.data(), 40);
    return 0;
  });
  ASSERT_EQ(0, Call({"Inquiry"}));
  ExpectAttributes(*m_target, {{"VendorId", "VEKDISK"},
                               {"ProductId", "VK-4000 SIM"},
                               {"FirmwareRev", "ZQ05"},
                               {"SerialNumber", serial.c_str()}});  // all 40 characters
  // The serial came with the identity: no serial-number page is read.
  ASSERT_EQ(1u, Commands().size());
  EXPECT_EQ(INQUIRY_BLOCK, Commands()[0].cdb);

  // Neither route: the parent's answer, and nothing published changes.
  m_controller->OfferIdentify([](scsi::S_IDPhysicalDevice*) { return 0x0C02; });
  EXPECT_EQ(0x0C02, Call({"Inquiry"}));
  EXPECT_EQ("VEKDISK", Attr("VendorId"));
}

// Page 0x80 of the right code and a non-zero length gives the serial number,
// which is then cached; otherwise the page is read again on each request.
TEST_F(ScsiTargetTest, SerialNumberPage) {
  const struct { const char* name; T_Script::S_Reply reply; bool published; } cases[] = {
      {"page read fails", T_Script::Status(0x0C03), false},
      {"wrong page code", T_Script::Data({0x00, 0x83, 0x00, 0x02, 'A', 'B'}), false},
      {"length 0", T_Script::Data({0x00, 0x80, 0x00, 0x00, 'A', 'B'}), false},
      {"length 2", T_Script::Data({0x00, 0x80, 0x00, 0x02, 'A', 'B', 'C'}), true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    C_ScsiTarget* target = AttachAnother(new C_ScsiTarget);
    Restart(StandardInquiry(), T_Script::Data(LoadHex("inquiry_disk.hex")));
    m_driver->Reply(VpdPage(0x80), c.reply);
    ASSERT_EQ(0, CallOp(*target, {"Inquiry"}));
    ExpectAttributes(*target, {{"SerialNumber", c.published ? "AB" : nullptr}});
    m_driver->ClearCommands();
    EXPECT_EQ(c.published ? "AB" : "", target->GetSerialNumber());
    EXPECT_EQ(c.published ? 0u : 1u, Commands().size());
  }
}

TEST_F(ScsiTargetTest, InitClearsSenseThenIdentifies) {
  ReplyDisk();
  // Init answers Inquiry's status as a bool: false once identified.
  EXPECT_FALSE(m_target->Init());
  ASSERT_EQ(3u, Commands().size());
  EXPECT_EQ(0x03, Commands()[0].Opcode());
  EXPECT_EQ(INQUIRY_BLOCK, Commands()[1].cdb);
  m_target->SetFirmwareRev("ZQ09");
  EXPECT_EQ("ZQ09", Attr("FirmwareRev"));
  EXPECT_EQ("ZQ09", m_target->GetFirmwareRev().Get());
  Restart(StandardInquiry(), T_Script::Status(0x0C01));
  EXPECT_TRUE(m_target->Init());
}

// Fixed-format data (0x70, 0x71, 0x7F) is kept; beyond 11 bytes the length
// is byte 12 + 7, or 18 when byte 12 is 0.
TEST_F(ScsiTargetTest, RequestSenseStoresFixedFormatData) {
  const T_Bytes fixed40 = LoadHex("sense_fixed_40.hex");
  auto with = [&](std::size_t i_at, std::uint8_t i_value) {
    T_Bytes data = fixed40;
    data[i_at] = i_value;
    return data;
  };
  const struct { const char* name; T_Bytes data; std::size_t stored; /* 0: no attribute */ } cases[] = {
      {"40 bytes, byte 12 = 4", fixed40, 11},
      {"40 bytes, byte 12 = 0", with(12, 0), 18},
      {"40 bytes, byte 12 = 0x40", with(12, 0x40), 40},
      {"8 bytes deferred", {0x71, 0, 3, 0, 0, 0, 0, 0}, 8},
      {"11 bytes 0x7F", {0x7F, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 11},
      {"descriptor format", with(0, 0x72), 0},
      {"nothing returned", T_Bytes{}, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    m_target->RemoveAttribute("$SenseData");
    Restart(T_Script::Opcode(0x03), T_Script::Data(c.data));
    EXPECT_EQ(0, Call({"RequestSense"}));
    EXPECT_EQ(c.stored != 0, HasAttr("$SenseData"));
    EXPECT_EQ(ByteText(T_Bytes(c.data.begin(), c.data.begin() + c.stored)), Attr("$SenseData"));
  }

  Restart(T_Script::Opcode(0x03), T_Script::Data(fixed40, 0x0C04));
  EXPECT_EQ(0x0C04, Call({"RequestSense"}));
  EXPECT_FALSE(HasAttr("$SenseData"));
}

// The first block each operation sends. The first argument switches flag
// 0x04 off when it parses (base detected) to non-zero.
TEST_F(ScsiTargetTest, CommandBlocks) {
  const T_Bytes SENSE = {0x03, 0, 0, 0, 0xFF, 0}, MODE_SENSE = {0x1A, 0, 0x08, 0, 0xFF, 0};
  const struct { T_Args args; S_Block block; } cases[] = {
      {{"Inquiry"}, {INQUIRY_BLOCK, 56, 255, 0x44, 1, 1}},
      {{"Inquiry", "abc"}, {INQUIRY_BLOCK, 56, 255, 0x44, 1, 1}},
      {{"Inquiry", "0x10"}, {INQUIRY_BLOCK, 56, 255, 0x40, 1, 1}},
      {{"RequestSense"}, {SENSE, 255, 0, 0x04, 1, 1}},  // no sense buffer
      {{"RequestSense", "-1"}, {SENSE, 255, 0, 0x00, 1, 1}},
      {{"ModeSense", "0", "8"}, {MODE_SENSE, 255, 255, 0x04, 1, 1}},
      {{"ModeSense", "2", "8"}, {MODE_SENSE, 255, 255, 0x00, 1, 1}},
      {{"StartStopUnit", "0", "1"}, {{0x1B, 0, 0, 0, 1, 0}, 0, 255, 0x04, 2, 1}},
      {{"StartStopUnit", "0", "0", "1"}, {{0x1B, 1, 0, 0, 0, 0}, 0, 255, 0x04, 2, 1}},
      {{"StartStopUnit", "1", "0x101", "0x3"}, {{0x1B, 3, 0, 0, 1, 0}, 0, 255, 0x00, 2, 1}},
      {{"TestUnitReady", "0"}, {{0, 0, 0, 0, 0, 0}, 0, 255, 0x00, 2, 1}},  // no switch
      {{"Reset"}, {{0x03, 1}, 0, 255, 0, 2, 3}},
      {{"Reset", "0x103"}, {{0x03, 3}, 0, 255, 0, 2, 3}},
  };
  for (const auto& c : cases) {
    m_driver->ClearCommands();
    Call(c.args);
    ASSERT_FALSE(Commands().empty());
    const T_Recorded& sent = Commands()[0];
    EXPECT_EQ(c.block, Block(sent)) << ::testing::PrintToString(c.args);
    EXPECT_EQ(c.block.dataLength == 0, sent.dataBuffer == nullptr);
    EXPECT_EQ(c.block.senseLength == 0, sent.senseBuffer == nullptr);
  }
  m_driver->ClearCommands();
  EXPECT_EQ(BAD, Call({"StartStopUnit", "0"}));
  EXPECT_TRUE(Commands().empty());
}

TEST_F(ScsiTargetTest, BlinkLedsCallsParentWithTheAddress) {
  m_driver->Reply(ControlRequest(0x02), T_Script::Data({5, 200, 9}));
  scsi::S_Address address;
  std::memset(&address, 0xEE, sizeof address);
  EXPECT_EQ(0, m_target->GetScsiAddress(&address));
  EXPECT_EQ(5, address.bytes[0]);
  EXPECT_EQ(9, address.bytes[2]);
  EXPECT_EQ((S_Block{{0x02}, 3, 255, 0x40, 1, 3}), Block(Commands().at(0)));
  EXPECT_EQ(address.bytes, Commands()[0].dataBuffer);

  m_controller->SetBlinkResult(77);
  EXPECT_EQ(77, Call({"BlinkLeds"}));
  m_controller->SetBlinkResult(0);
  EXPECT_EQ(0, Call({"BlinkLeds", "30"}));
  ASSERT_EQ(2u, m_controller->BlinkCalls().size());
  EXPECT_EQ((T_Args{"BlinkDriveLeds", "0", "5", "200"}), m_controller->BlinkCalls()[0]);
  EXPECT_EQ("30", m_controller->BlinkCalls()[1][1]);
  // The target sends nothing itself besides the address request.
  for (const T_Recorded& sent : Commands()) EXPECT_EQ(3u, sent.requestType);

  Restart(ControlRequest(0x02), T_Script::Status(0x0C05));
  EXPECT_EQ(0x0C05, Call({"BlinkLeds"}));
  EXPECT_EQ(2u, m_controller->BlinkCalls().size());

  // A parent that is not a device (the root) has no address to give.
  C_ScsiTarget* below = new C_ScsiTarget;
  m_driver->Attach(m_root.get(), below, nullptr);
  m_driver->ClearCommands();
  EXPECT_EQ(BAD, below->GetScsiAddress(&address));
  EXPECT_EQ(BAD, CallOp(*below, {"BlinkLeds"}));
  EXPECT_TRUE(Commands().empty());
}

TEST_F(ScsiTargetTest, VendorSpecificCommandRules) {
  std::uint8_t cdb[12] = {0xC1, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB};
  std::uint8_t data[64] = {};
  const std::string V = "VendorSpecificCmd", at = AddressText(cdb), dataAt = AddressText(data);
  // Sent: flags (bit 0 adds 0x04, 8 bits kept), direction, data length.
  const struct { T_Args args; int status; std::uint32_t flags; int direction; std::uint32_t dataLength; } cases[] = {
      {{V, "1", "12", at, "0"}, 0, 0x05, 2, 0},
      {{V, "0x180", "10", at, "1", "64", dataAt}, 0, 0x80, 1, 64},
      {{V, "0", "6", at, "2", "0x20", dataAt}, 0, 0x00, 0, 32},
      {{V, "0", "5", at, "0"}, BAD, 0, 0, 0},
      {{V, "0", "0x10A", at, "0"}, 0, 0x00, 2, 0},  // above 255: its low 8 bits go, as the field holds them
      {{V, "0", "10", "0", "0"}, BAD, 0, 0, 0},
      {{V, "0", "10", at, "3"}, BAD, 0, 0, 0},
      {{V, "0", "10", at, "1", "64"}, BAD, 0, 0, 0},
      {{V, "0", "10", at, "1", "0", dataAt}, BAD, 0, 0, 0},
      {{V, "0", "10", at, "2", "64", "0"}, BAD, 0, 0, 0},
      {{V, "0", "10", at}, BAD, 0, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    m_driver->ClearCommands();
    ASSERT_EQ(c.status, Call(c.args));
    ASSERT_EQ(c.status ? 0u : 1u, Commands().size());
    if (c.status) continue;
    const T_Bytes block(cdb, cdb + (ParseSigned(c.args[2].c_str()) & 0xFF));
    EXPECT_EQ((S_Block{block, c.dataLength, 255, c.flags, c.direction, 1}), Block(Commands()[0]));
    EXPECT_EQ(c.dataLength ? data : nullptr, Commands()[0].dataBuffer);
  }
}

TEST_F(ScsiTargetTest, ExecuteCommandSendsTheHostRecordUnchanged) {
  std::uint8_t cdb[6] = {0x1D, 0, 0, 0, 0, 0}, data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  Driver::S_Command command = {cdb,    6, data, 8, nullptr, 0, 0x1234, Driver::DIRECTION_OUT,
                               Driver::REQUEST_CONTROLLER};
  m_driver->Reply(T_Script::Opcode(0x1D), T_Script::Status(0x0C06));
  EXPECT_EQ(0x0C06, Call({"ExecuteCommand", AddressText(&command)}));
  ASSERT_EQ(1u, Commands().size());
  EXPECT_EQ((S_Block{T_Bytes(cdb, cdb + 6), 8, 0, 0x1234, 0, 2}), Block(Commands()[0]));
  EXPECT_EQ(data, Commands()[0].dataBuffer);
  EXPECT_EQ(BAD, Call({"ExecuteCommand"}));
  EXPECT_EQ(BAD, Call({"ExecuteCommand", "0"}));
}

// Argument count first, then the parent, then the other arguments.
TEST(ScsiTargetDetached, CommandsAnswerNoParent) {
  C_ScsiTarget target;
  std::uint8_t cdb[6] = {};
  const std::string at = AddressText(cdb);
  const struct { T_Args args; int status; } cases[] = {
      {{"Inquiry"}, NO_PARENT},
      {{"BlinkLeds"}, NO_PARENT},
      {{"VendorSpecificCmd", "0", "5", at, "0"}, NO_PARENT},
      {{"ModeSense", "0", "8", "9"}, BAD},
      {{"VendorSpecificCmd", "0", "6", at}, BAD},
  };
  for (const auto& c : cases) EXPECT_EQ(c.status, CallOp(target, c.args)) << ::testing::PrintToString(c.args);
  EXPECT_TRUE(target.GetAttributes().empty());
  // A leaf: nothing is forwarded through it, and it keeps no mode-page data.
  EXPECT_EQ(VEK_STATUS_UNKNOWN_OPERATION, target.ForwardCommand(nullptr, nullptr));
  EXPECT_FALSE(target.FindChildren());
  C_SmartPtr<C_MPData> modeData(new C_MPData(0x08, C_Blob("\x08\x02\x04\x00", 4, false)));
  target.SetMPData(modeData);
  EXPECT_EQ(1, modeData.GetReferenceCount());
  EXPECT_TRUE(target.GetMPData().IsNull());
}

}  // namespace
