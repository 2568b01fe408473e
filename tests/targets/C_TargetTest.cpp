// What the SCSI and the ATA target share, as one typed table: the
// operations both offer (the ATA target with a 40-byte sense buffer and
// never the pass-through route), the direct flash, the serial-number page,
// Init, and a target without a parent. What differs sits in each kind.

#include <algorithm>
#include <cstring>

#include "TargetTest.h"
#include "targets/C_AtaTarget.h"
#include "targets/C_MPData.h"
#include "targets/C_ScsiTarget.h"

namespace {

const int BAD = VEK_STATUS_BAD_ARGUMENT, NO_PARENT = VEK_STATUS_NO_PARENT;

// Codes (TargetTest.h): 0x00 TEST UNIT READY, 0x03 REQUEST SENSE, 0x12
// INQUIRY, 0x1B START STOP UNIT, 0x3B WRITE BUFFER, 0x103 reset, 0xC6EC
// IDENTIFY DEVICE, 0xC692 DOWNLOAD MICROCODE.
struct S_Scsi {
  typedef C_ScsiTarget T;
  static constexpr int COLUMN = 0;  // this kind's column in the tables
  static constexpr std::uint32_t SENSE = 255;
  static constexpr bool PASS_THRU = true;  // two-route operations try the pass-through route first
  static constexpr int CHUNK = 0x3B;
  // WRITE BUFFER mode 7 with offset and length.
  static T_Bytes Chunk(std::uint32_t i_offset, std::uint32_t i_length) {
    return {0x3B, 0x07, 0, std::uint8_t(i_offset >> 16), std::uint8_t(i_offset >> 8), std::uint8_t(i_offset),
            std::uint8_t(i_length >> 16), std::uint8_t(i_length >> 8), std::uint8_t(i_length), 0};
  }
  static T_Script::S_Reply Identity() { return T_Script::Data(LoadHex("inquiry_disk.hex")); }
  // What Init sends, and what a flash sends after its chunks.
  static std::vector<int> InitCodes() { return {0x03, 0x12, 0x12}; }
  static std::vector<int> FlashTail() { return {0x00, 0x103, 0x00, 0x12, 0x12, 0x1B}; }
};

// DOWNLOAD MICROCODE: the offset moves only the data pointer; TEST UNIT
// READY, REQUEST SENSE and START STOP UNIT send nothing.
struct S_Ata {
  typedef C_AtaTarget T;
  static constexpr int COLUMN = 1;
  static constexpr std::uint32_t SENSE = 40;
  static constexpr bool PASS_THRU = false;
  static constexpr int CHUNK = 0xC692;
  static T_Bytes Chunk(std::uint32_t, std::uint32_t i_length) {
    const std::uint8_t count = std::uint8_t(i_length / 512), high = std::uint8_t(i_length >> 17);
    return {0xC6, 0x82, 0x92, 0x07, count, high, 0, 0, 0, 0, count, high};
  }
  static T_Script::S_Reply Identity() { return T_Script::Data(LoadHex("identify_ata.hex")); }
  static std::vector<int> InitCodes() { return {0xC6EC}; }
  static std::vector<int> FlashTail() { return {0x103, 0xC6EC}; }
};

template <class K>
class TargetTest : public C_TargetFixture<typename K::T> {};
typedef ::testing::Types<S_Scsi, S_Ata> T_Kinds;
struct S_KindNames {
  template <class K>
  static std::string GetName(int) { return K::COLUMN ? "Ata" : "Scsi"; }
};
TYPED_TEST_SUITE(TargetTest, T_Kinds, S_KindNames);

// Each operation both offer alike: its status and the block it sends (none
// when refused), with the pass-through route offered.
TYPED_TEST(TargetTest, SharedOperations) {
  typedef TypeParam K;
  std::uint8_t cdb[12] = {0xC1, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB}, data[64] = {};
  Driver::S_Command host = {cdb, 6, data, 8, nullptr, 0, 0x1234, Driver::DIRECTION_OUT, Driver::REQUEST_CONTROLLER};
  const std::string V = "VendorSpecificCmd", at = AddressText(cdb), dataAt = AddressText(data);
  const T_Bytes MODE_SENSE = {0x1A, 0, 0x08, 0, 0xFF, 0}, C6(cdb, cdb + 6), C10(cdb, cdb + 10), C12(cdb, cdb + 12);
  const T_Block NONE;
  const struct { T_Args args; int status; T_Block block; bool twoRoute; } cases[] = {
      {{"ModeSense", "0", "8"}, 0, {MODE_SENSE, 255, K::SENSE, 0x04, 1, 1}, false},
      {{"ModeSense", "2", "8"}, 0, {MODE_SENSE, 255, K::SENSE, 0x00, 1, 1}, false},
      {{"Reset"}, 0, {{0x03, 1}, 0, K::SENSE, 0, 2, 3}, false},
      {{"Reset", "0x103"}, 0, {{0x03, 3}, 0, K::SENSE, 0, 2, 3}, false},
      {{"ExecuteCommand", AddressText(&host)}, 0, {C6, 8, 0, 0x1234, 0, 2}, false},  // the host's record, unchanged
      {{"ExecuteCommand"}, BAD, NONE, false},
      {{"ExecuteCommand", "0"}, BAD, NONE, false},
      // Vendor-specific: flags (bit 0 adds 0x04, 8 bits kept), direction and
      // data length from the phase; a CDB length above 255 goes as its low 8 bits.
      {{V, "1", "12", at, "0"}, 0, {C12, 0, K::SENSE, 0x05, 2, 1}, true},
      {{V, "0x180", "10", at, "1", "64", dataAt}, 0, {C10, 64, K::SENSE, 0x80, 1, 1}, true},
      {{V, "0", "6", at, "2", "0x20", dataAt}, 0, {C6, 32, K::SENSE, 0x00, 0, 1}, true},
      {{V, "0", "0x10A", at, "0"}, 0, {C10, 0, K::SENSE, 0x00, 2, 1}, true},
      {{V, "0", "5", at, "0"}, BAD, NONE, false},
      {{V, "0", "10", "0", "0"}, BAD, NONE, false},
      {{V, "0", "10", at, "3"}, BAD, NONE, false},
      {{V, "0", "10", at, "1", "64"}, BAD, NONE, false},
      {{V, "0", "10", at, "1", "0", dataAt}, BAD, NONE, false},
      {{V, "0", "10", at, "2", "64", "0"}, BAD, NONE, false},
      {{V, "0", "10", at}, BAD, NONE, false},
  };
  this->m_controller->OfferPassThru(true);
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    this->m_driver->ClearCommands();
    ASSERT_EQ(c.status, this->Call(c.args));
    ASSERT_EQ(c.status ? 0u : 1u, this->Commands().size());
    if (c.status) continue;
    const T_Recorded& sent = this->Commands()[0];
    EXPECT_EQ(c.block, Block(sent));
    EXPECT_EQ(c.twoRoute && K::PASS_THRU ? T_Script::ROUTE_PASSTHRU : T_Script::ROUTE_FORWARD, sent.route);
    if (c.args[0] != "ModeSense") {
      EXPECT_EQ(std::get<1>(c.block) ? data : nullptr, sent.dataBuffer);
    }
  }
}

// Argument count first, then the parent; the ATA target answers the
// operations it has nothing to send for with 0 even so.
TYPED_TEST(TargetTest, WithoutAParent) {
  typename TypeParam::T target;
  std::uint8_t cdb[6] = {};
  const std::string at = AddressText(cdb);
  const struct { T_Args args; int status[2]; /* SCSI, ATA */ } cases[] = {
      {{"Inquiry"}, {NO_PARENT, NO_PARENT}},
      {{"ModeSense", "0", "8"}, {NO_PARENT, NO_PARENT}},
      {{"ModeSense", "0", "8", "9"}, {BAD, BAD}},
      {{"VendorSpecificCmd", "0", "5", at, "0"}, {NO_PARENT, NO_PARENT}},
      {{"VendorSpecificCmd", "0", "6", at}, {BAD, BAD}},
      {{"Reset"}, {NO_PARENT, NO_PARENT}},
      {{"BlinkLeds"}, {NO_PARENT, 0}},
      {{"TestUnitReady"}, {NO_PARENT, 0}},
      {{"RequestSense"}, {NO_PARENT, 0}},
      {{"StartStopUnit", "0", "1"}, {NO_PARENT, 0}},
      {{"CmprModePage", "0", "8", "0", "4"}, {NO_PARENT, 0}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.status[TypeParam::COLUMN], CallOp(target, c.args)) << ::testing::PrintToString(c.args);
  }
  EXPECT_TRUE(target.GetAttributes().empty());
  EXPECT_EQ(14u, target.GetOperations().size());  // thirteen and "SetTimeout"
  // A leaf: nothing is forwarded through it, and it keeps no mode-page data.
  EXPECT_EQ(VEK_STATUS_UNKNOWN_OPERATION, target.ForwardCommand(nullptr, nullptr));
  EXPECT_FALSE(target.FindChildren());
  C_SmartPtr<C_MPData> modeData(new C_MPData(0x08, C_Blob("\x08\x02\x04\x00", 4, false)));
  target.SetMPData(modeData);
  EXPECT_EQ(1, modeData.GetReferenceCount());
  EXPECT_TRUE(target.GetMPData().IsNull());
}

// Init asks for sense (SCSI only), then identifies, and answers true when
// that failed.
TYPED_TEST(TargetTest, InitIdentifies) {
  this->m_driver->Reply(T_Script::Any(), TypeParam::Identity());
  EXPECT_FALSE(this->m_target->Init());
  EXPECT_EQ(TypeParam::InitCodes(), this->Codes());
  this->m_target->SetFirmwareRev("ZQ09");
  EXPECT_EQ("ZQ09", this->Attr("FirmwareRev"));
  EXPECT_EQ("ZQ09", this->m_target->GetFirmwareRev().Get());
  this->Restart(T_Script::Any(), T_Script::Status(0x0C01));
  EXPECT_TRUE(this->m_target->Init());
}

// Page 0x80 of the right code and a non-zero length gives the serial
// number, cached once found: the SCSI target takes the bytes as they are,
// the ATA target skips leading blanks, stops at the first byte that is not
// printable 7-bit and trims trailing blanks.
TYPED_TEST(TargetTest, SerialNumberPage) {
  auto page = [](std::uint8_t i_length, const std::string& i_text) {
    T_Bytes bytes = {0, 0x80, 0, i_length};
    for (char c : i_text) bytes.push_back(static_cast<std::uint8_t>(c));  // (insert upsets GCC 12's bounds warning)
    return T_Script::Data(bytes);
  };
  const struct { T_Script::S_Reply reply; std::string serial[2]; /* SCSI, ATA */ } cases[] = {
      {T_Script::Status(0x0C03), {"", ""}},
      {T_Script::Data({0x00, 0x83, 0x00, 0x02, 'A', 'B'}), {"", ""}},
      {page(0, "AB"), {"", ""}},
      {page(2, "ABCDEF"), {"AB", "AB"}},
      {page(8, "  ABC1  "), {"  ABC1  ", "ABC1"}},
      {page(5, "AB\x01" "CD"), {"AB\x01" "CD", "AB"}},
      {page(5, "XYZ\xC1Q"), {"XYZ\xC1Q", "XYZ"}},
      {page(3, "   "), {"   ", ""}},
  };
  for (const auto& c : cases) {
    const std::string& serial = c.serial[TypeParam::COLUMN];
    SCOPED_TRACE(serial);
    auto* target = this->AttachAnother(new typename TypeParam::T);
    this->Restart(VpdPage(0x80), c.reply);
    EXPECT_EQ(serial, target->GetSerialNumber());
    ASSERT_EQ(1u, this->Commands().size());
    EXPECT_EQ(T_Block({0x12, 0x01, 0x80, 0x00, 0xFF, 0x00}, 255, TypeParam::SENSE, 0, 1, 1),
              Block(this->Commands()[0]));
    target->GetSerialNumber();
    EXPECT_EQ(serial.empty() ? 2u : 1u, this->Commands().size());
  }
}

// The image goes in chunks of 32768 bytes that point into the caller's
// image (no copy), then the drive is brought back; a chunk refused stops
// the flash with the chunks before it sent.
TYPED_TEST(TargetTest, FlashChunksThenRestart) {
  typedef TypeParam K;
  std::vector<char> image(140000);
  for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i * 7);
  const struct { std::size_t length; std::vector<std::pair<std::uint32_t, std::uint32_t>> chunks; } cases[] = {
      {70000, {{0, 32768}, {32768, 32768}, {65536, 4464}}},
      {65536, {{0, 32768}, {32768, 32768}}},
      {0, {}},  // an empty image still brings the drive back
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    this->Restart();
    ASSERT_EQ(0, this->Call({"Flash", std::to_string(c.length), AddressText(image.data())}));
    std::vector<int> expected(c.chunks.size(), K::CHUNK);
    for (int code : K::FlashTail()) expected.push_back(code);
    ASSERT_EQ(expected, this->Codes());
    for (std::size_t i = 0; i < c.chunks.size(); ++i) {
      const T_Recorded& sent = this->Commands()[i];
      const std::uint32_t offset = c.chunks[i].first, length = c.chunks[i].second;
      EXPECT_EQ(T_Block(K::Chunk(offset, length), length, K::SENSE, 0x04, 0, 1), Block(sent));
      EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(image.data() + offset), sent.dataBuffer);
    }
    const std::size_t reset = std::find(expected.begin(), expected.end(), 0x103) - expected.begin();
    EXPECT_EQ(T_Block({0x03, 0x01}, 0, K::SENSE, 0, 2, 3), Block(this->Commands()[reset]));
    EXPECT_TRUE(C_SleepRecorder::Requests().empty());  // no wait between chunks, a ready drive
  }

  this->Restart();
  auto isChunk = [](const T_Recorded& r) { return Code(r) == K::CHUNK; };
  this->m_driver->Reply(isChunk, T_Script::Status(0), 1);
  this->m_driver->Reply(isChunk, T_Script::Status(0x0C21));
  EXPECT_EQ(0x0C21, this->Call({"Flash", "100000", AddressText(image.data())}));
  EXPECT_EQ(std::vector<int>(2, K::CHUNK), this->Codes());
  for (const T_Args& args : {T_Args{"Flash", "-1", AddressText(image.data())}, T_Args{"Flash", "16", "0"}}) {
    EXPECT_EQ(BAD, this->Call(args));
  }
  EXPECT_EQ(2u, this->Commands().size());
}

}  // namespace
