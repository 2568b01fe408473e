// What only the SCSI target does: INQUIRY and its identity fallback, the
// two routes, REQUEST SENSE, START STOP UNIT, the LEDs. What it shares with
// the ATA target is in C_TargetTest.cpp.

#include "targets/C_ScsiTarget.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "TargetTest.h"

namespace {

const T_Bytes INQUIRY_BLOCK = {0x12, 0x00, 0x00, 0x00, 0x38, 0x00};
const int BAD = VEK_STATUS_BAD_ARGUMENT;

class ScsiTargetTest : public C_TargetFixture<C_ScsiTarget> {};

TEST_F(ScsiTargetTest, InquiryBlocksAndIdentityAttributes) {
  m_driver->Reply(StandardInquiry(), T_Script::Data(LoadHex("inquiry_disk.hex")));
  m_driver->Reply(VpdPage(0x80), T_Script::Data(LoadHex("vpd80_serial.hex")));
  ASSERT_EQ(0, Call({"Inquiry"}));
  ASSERT_EQ(2u, Commands().size());
  EXPECT_EQ(m_target, Commands()[0].device);
  EXPECT_EQ(m_target->GetInquiryData(), Commands()[0].dataBuffer);
  ExpectAttributes(*m_target, {{"DeviceType", "00"},
                               {"VendorId", "VEKDISK"},
                               {"DeviceId", "array0:2"},
                               {"ProductId", "VK-4000 SIM"},
                               {"FirmwareRev", "ZQ05"},
                               {"SerialNumber", "  SN01234567"}});  // as returned, untrimmed

  // Only blanks (0x20) are trimmed, and only at the end: leading blanks and
  // NULs are kept, and the blanks before a NUL.
  T_Bytes data = LoadHex("inquiry_disk.hex");
  const std::string vendor = "        ", product("  LEAD IN  \0\0\0\0\0", 16), revision("R\0  ", 4);
  std::copy(vendor.begin(), vendor.end(), data.begin() + 8);
  std::copy(product.begin(), product.end(), data.begin() + 16);
  std::copy(revision.begin(), revision.end(), data.begin() + 32);
  Restart(StandardInquiry(), T_Script::Data(data));
  ASSERT_EQ(0, Call({"Inquiry"}));
  EXPECT_EQ("", Attr("VendorId"));
  EXPECT_EQ(product, Attr("ProductId"));
  EXPECT_EQ(std::string("R\0", 2), Attr("FirmwareRev"));
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

// With the pass-through route offered and failing, a two-route command goes
// to it first, then the same record to ForwardCommand, whose code is the
// answer (INQUIRY then asks for the identity, not offered here); when it
// succeeds, ForwardCommand is not asked. (Which operations are two-route:
// C_TargetTest.cpp.)
TEST_F(ScsiTargetTest, PassThroughFirstThenForward) {
  std::vector<char> image(16);
  m_controller->OfferPassThru(true);
  for (const T_Args& args : {T_Args{"Inquiry"}, T_Args{"RequestSense"}, T_Args{"StartStopUnit", "0", "1"},
                             T_Args{"TestUnitReady"}, T_Args{"WriteBuffer", "7", AddressText(image.data()), "0", "16"}}) {
    SCOPED_TRACE(args[0]);
    Restart([](const T_Recorded& r) { return r.route == T_Script::ROUTE_PASSTHRU; }, T_Script::Status(0x0BAD));
    m_driver->Reply(T_Script::Any(), T_Script::Status(0x0777));
    EXPECT_EQ(args[0] == "Inquiry" ? VEK_STATUS_NOT_SUPPORTED : 0x0777, Call(args));
    ASSERT_EQ(2u, Commands().size());
    EXPECT_EQ(T_Script::ROUTE_PASSTHRU, Commands()[0].route);
    EXPECT_EQ(T_Script::ROUTE_FORWARD, Commands()[1].route);
    EXPECT_EQ(Block(Commands()[0]), Block(Commands()[1]));
    EXPECT_EQ(Commands()[0].dataBuffer, Commands()[1].dataBuffer);
  }
  Restart();
  EXPECT_EQ(0, Call({"Inquiry"}));
  ASSERT_EQ(2u, Commands().size());  // the serial-number page goes the same way
  for (const T_Recorded& sent : Commands()) EXPECT_EQ(T_Script::ROUTE_PASSTHRU, sent.route);
}

TEST_F(ScsiTargetTest, InquiryFallsBackToParentIdentity) {
  const T_Bytes disk = LoadHex("inquiry_disk.hex");
  const std::string serial = "FALLBACK-SERIAL-0042                    ";
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
    std::string text;  // " %2x" per byte
    for (std::size_t i = 0; i < c.stored; ++i) text += stringFormat(" %2x", c.data[i]);
    EXPECT_EQ(c.stored != 0, HasAttr("$SenseData"));
    EXPECT_EQ(text, Attr("$SenseData"));
  }

  Restart(T_Script::Opcode(0x03), T_Script::Data(fixed40, 0x0C04));
  EXPECT_EQ(0x0C04, Call({"RequestSense"}));
  EXPECT_FALSE(HasAttr("$SenseData"));
}

// The first block of each SCSI-only operation. The first argument switches
// flag 0x04 off when it parses (base detected) to non-zero.
TEST_F(ScsiTargetTest, CommandBlocks) {
  const T_Bytes SENSE = {0x03, 0, 0, 0, 0xFF, 0};
  const struct { T_Args args; T_Block block; } cases[] = {
      {{"Inquiry"}, {INQUIRY_BLOCK, 56, 255, 0x44, 1, 1}},
      {{"Inquiry", "abc"}, {INQUIRY_BLOCK, 56, 255, 0x44, 1, 1}},
      {{"Inquiry", "0x10"}, {INQUIRY_BLOCK, 56, 255, 0x40, 1, 1}},
      {{"RequestSense"}, {SENSE, 255, 0, 0x04, 1, 1}},  // no sense buffer
      {{"RequestSense", "-1"}, {SENSE, 255, 0, 0x00, 1, 1}},
      {{"StartStopUnit", "0", "1"}, {{0x1B, 0, 0, 0, 1, 0}, 0, 255, 0x04, 2, 1}},
      {{"StartStopUnit", "0", "0", "1"}, {{0x1B, 1, 0, 0, 0, 0}, 0, 255, 0x04, 2, 1}},
      {{"StartStopUnit", "1", "0x101", "0x3"}, {{0x1B, 3, 0, 0, 1, 0}, 0, 255, 0x00, 2, 1}},
      {{"TestUnitReady", "0"}, {{0, 0, 0, 0, 0, 0}, 0, 255, 0x00, 2, 1}},  // no switch
  };
  for (const auto& c : cases) {
    m_driver->ClearCommands();
    Call(c.args);
    ASSERT_FALSE(Commands().empty());
    const T_Recorded& sent = Commands()[0];
    EXPECT_EQ(c.block, Block(sent)) << ::testing::PrintToString(c.args);
    EXPECT_EQ(std::get<1>(c.block) == 0, sent.dataBuffer == nullptr);
    EXPECT_EQ(std::get<2>(c.block) == 0, sent.senseBuffer == nullptr);
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
  EXPECT_EQ(T_Block({0x02}, 3, 255, 0x40, 1, 3), Block(Commands().at(0)));
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

}  // namespace
