#include "drivers/sim/C_SimDrive.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "drivers/sim/C_SimFirmwareImage.h"
#include "drivers/sim/C_SimModePages.h"
#include "drivers/sim/N_SimSense.h"

namespace {

using N_SimSense::BUSY;
using N_SimSense::CHECK_CONDITION;
using N_SimSense::GOOD;
using N_SimSense::TRANSPORT_ERROR;
typedef std::vector<std::uint8_t> T_Bytes;

// One drive and a way to send it command blocks as the module does.
class C_SimDriveTest : public ::testing::Test {
 protected:
  C_SimDriveTest() {
    m_state.number = 4;
    m_state.kind = "scsi";
    m_state.vendor = "KESTREL";
    m_state.product = "KS-4000";
    m_state.serial = "KSL0A1B2C3";
    m_state.firmware = "0102";
    m_state.modePages = C_SimModePages::Defaults();
  }

  int Send(T_Bytes i_cdb, T_Bytes* io_data = nullptr, std::uint8_t i_direction = 2,
           std::uint32_t i_type = Driver::REQUEST_DEVICE) {
    Driver::S_Command command = {};
    command.cdb = i_cdb.data();
    command.cdbLength = static_cast<std::uint8_t>(i_cdb.size());
    if (io_data) {
      command.dataBuffer = io_data->data();
      command.dataLength = static_cast<std::uint32_t>(io_data->size());
    }
    command.senseBuffer = m_sense;
    command.senseLength = sizeof m_sense;
    command.direction = i_direction;
    command.requestType = i_type;
    bool changed = false;
    int result = C_SimDrive(m_state, m_transient).Execute(command, changed);
    if (io_data) io_data->resize(command.dataLength);
    return result;
  }
  // Key, ASC, ASCQ of the waiting sense, which REQUEST SENSE consumes.
  std::vector<int> SenseCode() {
    T_Bytes s(255);
    EXPECT_EQ(Send({0x03, 0, 0, 0, 255, 0}, &s, 1), GOOD);
    return {s[2] & 0x0F, s[12], s[13]};
  }
  int WriteBuffer(std::uint8_t i_mode, std::uint32_t i_offset, T_Bytes i_chunk) {
    T_Bytes cdb = {0x3B, i_mode, 0,
                   std::uint8_t(i_offset >> 16), std::uint8_t(i_offset >> 8), std::uint8_t(i_offset),
                   std::uint8_t(i_chunk.size() >> 16), std::uint8_t(i_chunk.size() >> 8),
                   std::uint8_t(i_chunk.size()), 0};
    return Send(cdb, &i_chunk, 0);
  }
  // Sends an image in segments of i_chunk bytes; the first failure's result.
  int Download(const T_Bytes& i_image, std::size_t i_chunk) {
    for (std::size_t offset = 0; offset < i_image.size(); offset += i_chunk) {
      std::size_t n = std::min(i_chunk, i_image.size() - offset);
      int result = WriteBuffer(7, static_cast<std::uint32_t>(offset),
                               T_Bytes(i_image.begin() + offset, i_image.begin() + offset + n));
      if (result != GOOD) return result;
    }
    return GOOD;
  }
  int Reset() {
    T_Bytes control = {Driver::CONTROL_RESET, 1};
    return Send(control, nullptr, 2, Driver::REQUEST_CONTROL);
  }
  std::string InquiryRevision() {
    T_Bytes data(56);
    EXPECT_EQ(Send({0x12, 0, 0, 0, 56, 0}, &data, 1), GOOD);
    return std::string(data.begin() + 32, data.begin() + 36);
  }
  T_Bytes Image(const std::string& i_product, const std::string& i_revision, std::size_t i_size) {
    return C_SimFirmwareImage::Build(i_product, i_revision,
                                     C_SimFirmwareImage::SamplePayload(i_product, i_revision, i_size));
  }

  S_SimDrive m_state;
  C_SimDrive::S_Transient m_transient;
  std::uint8_t m_sense[255] = {};
};

// The identity pages are read through vekctl's "list"; here, what the drive
// refuses.
TEST_F(C_SimDriveTest, ReservedBitsAndUnofferedCommands) {
  struct S_Case {
    T_Bytes cdb;
    std::vector<int> sense;
  } refused[] = {
      {{0x12, 0x02, 0, 0, 56, 0}, {5, 0x24, 0}},   // reserved bit in byte 1
      {{0x12, 0x01, 0x83, 0, 255, 0}, {5, 0x24, 0}},  // page not supported
      {{0x00, 0, 0, 0, 1, 0}, {5, 0x24, 0}},       // TEST UNIT READY with a reserved byte
      {{0x28, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {5, 0x20, 0}},  // READ(10): not offered
  };
  for (S_Case& c : refused) {
    SCOPED_TRACE(int(c.cdb[0]));
    T_Bytes data(255);
    EXPECT_EQ(Send(c.cdb, &data, 1), CHECK_CONDITION);
    EXPECT_EQ(m_sense[0], 0x70);  // also copied to the command's sense buffer
    EXPECT_EQ(SenseCode(), c.sense);
  }
  EXPECT_EQ(Send({0xC1, 0, 0, 0, 0, 0}), GOOD);  // vendor-specific: accepted
}

TEST_F(C_SimDriveTest, ModeSelectChangesOnlyChangeableBits) {
  auto sensePage = [this](std::uint8_t i_control) {
    T_Bytes data(255);
    EXPECT_EQ(Send({0x1A, 0, std::uint8_t(i_control << 6 | 0x08), 0, 255, 0}, &data, 1), GOOD);
    return data;
  };
  T_Bytes current = sensePage(0);
  ASSERT_EQ(current[12], 0x08);
  ASSERT_EQ(current[13], 0x12);
  T_Bytes mask = sensePage(1);
  EXPECT_EQ(mask[14], 0x05);  // WCE and RCD

  auto select = [this](T_Bytes i_data) {
    i_data[0] = 0;
    return Send({0x15, 0x11, 0, 0, std::uint8_t(i_data.size()), 0}, &i_data, 0);
  };
  T_Bytes allowed(current.begin(), current.begin() + 14 + 0x12);
  allowed[14] ^= 0x04;  // write cache enable
  EXPECT_EQ(select(allowed), GOOD);
  EXPECT_EQ(sensePage(0)[14], allowed[14]);

  T_Bytes forbidden = allowed;
  forbidden[16] ^= 0x01;  // a bit the drive does not let change
  EXPECT_EQ(select(forbidden), CHECK_CONDITION);
  EXPECT_EQ(SenseCode(), (std::vector<int>{5, 0x26, 0}));
  EXPECT_EQ(sensePage(0)[16], allowed[16]);  // nothing changed
}

TEST_F(C_SimDriveTest, ValidImageIsPendingUntilAResetActivatesIt) {
  T_Bytes image = Image("KS-4000", "0103", 70000);
  ASSERT_EQ(Download(image, 32768), GOOD);
  EXPECT_EQ(m_state.pending, "0103");
  EXPECT_EQ(InquiryRevision(), "0102");  // still the old firmware
  for (int i = 0; i < m_state.busyPolls; ++i) EXPECT_EQ(Send({0, 0, 0, 0, 0, 0}), BUSY);
  EXPECT_EQ(Send({0, 0, 0, 0, 0, 0}), GOOD);
  EXPECT_EQ(Reset(), GOOD);
  EXPECT_EQ(InquiryRevision(), "0103");
  EXPECT_EQ(SenseCode(), (std::vector<int>{6, 0x3F, 0x01}));  // microcode changed
  EXPECT_EQ(SenseCode(), (std::vector<int>{0, 0, 0}));        // consumed
}

TEST_F(C_SimDriveTest, RefusedImagesLeaveTheOldFirmware) {
  struct S_Case {
    const char* name;
    T_Bytes image;
    std::vector<int> sense;
  };
  T_Bytes damaged = Image("KS-4000", "0103", 5000);
  damaged.back() ^= 0xFF;
  T_Bytes notAnImage(5000, 0x5A);
  S_Case cases[] = {
      {"other product", Image("HC-900S", "0103", 5000), {5, 0x26, 0x00}},
      {"bad CRC", damaged, {5, 0x26, 0x02}},
      {"not an image", notAnImage, {5, 0x26, 0x00}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Download(c.image, 4096), CHECK_CONDITION);
    EXPECT_EQ(SenseCode(), c.sense);
    EXPECT_EQ(m_state.pending, "");
    EXPECT_EQ(Reset(), GOOD);
    EXPECT_EQ(InquiryRevision(), "0102");
    SenseCode();
  }
  // A truncated image never completes: the next command reports it.
  T_Bytes image = Image("KS-4000", "0103", 5000);
  image.resize(3000);
  EXPECT_EQ(Download(image, 1024), GOOD);
  EXPECT_EQ(Send({0, 0, 0, 0, 0, 0}), CHECK_CONDITION);
  EXPECT_EQ(SenseCode(), (std::vector<int>{5, 0x2C, 0x00}));
  EXPECT_EQ(m_state.pending, "");
}

TEST_F(C_SimDriveTest, SegmentsMustArriveInOrder) {
  T_Bytes image = Image("KS-4000", "0103", 10000);
  T_Bytes first(image.begin(), image.begin() + 4096);
  T_Bytes second(image.begin() + 4096, image.begin() + 8192);
  ASSERT_EQ(WriteBuffer(7, 0, first), GOOD);
  EXPECT_EQ(WriteBuffer(7, 8192, second), CHECK_CONDITION);  // a gap
  EXPECT_EQ(SenseCode(), (std::vector<int>{5, 0x24, 0}));
  ASSERT_EQ(WriteBuffer(7, 0, first), GOOD);
  EXPECT_EQ(WriteBuffer(7, 2048, second), CHECK_CONDITION);  // an overlap
  EXPECT_EQ(WriteBuffer(6, 0, first), CHECK_CONDITION);      // mode 6 is not offered
  EXPECT_EQ(WriteBuffer(5, 0, image), GOOD);                 // mode 5: all at once
  EXPECT_EQ(m_state.pending, "0103");
}

// A power loss mid-download; the other injected faults (a refused segment,
// busy forever, a failing opcode, a throwing driver) are vekctl's flash tests.
// The address a control request answers names the target.
TEST_F(C_SimDriveTest, PowerLossAndAddress) {
  m_state.faults.powerLossAtChunk = 3;
  EXPECT_EQ(Download(Image("KS-4000", "0103", 100000), 32768), TRANSPORT_ERROR);
  EXPECT_EQ(SenseCode(), (std::vector<int>{6, 0x29, 0x01}));
  EXPECT_EQ(InquiryRevision(), "0102");
  T_Bytes address(3, 0xFF);
  EXPECT_EQ(Send({Driver::CONTROL_GET_ADDRESS}, &address, 1, Driver::REQUEST_CONTROL), GOOD);
  EXPECT_EQ(address, (T_Bytes{0, 4, 0}));
}

TEST_F(C_SimDriveTest, AtaDriveIdentifiesAndDownloadsThroughThePassThroughBlock) {
  m_state.kind = "ata";
  m_state.product = "ZQ-ATA-500";
  m_state.firmware = "0210";
  auto identify = [this] {
    T_Bytes data(512);
    EXPECT_EQ(Send({0xC6, 0x01, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 1}, &data, 1), GOOD);
    return std::string(data.begin(), data.end());
  };
  // Serial at 20, firmware at 46 after four leading characters, model at 54.
  const std::string before = identify();
  EXPECT_EQ(before.substr(20, 20) + before.substr(46, 24), "KSL0A1B2C3          ZQAT0210ZQ-ATA-500      ");

  T_Bytes image = Image("ZQ-ATA-500", "0211", 40000);
  for (std::size_t offset = 0; offset < image.size(); offset += 32768) {
    T_Bytes chunk(image.begin() + offset, image.begin() + std::min(image.size(), offset + 32768));
    std::uint8_t sectors = std::uint8_t(chunk.size() / 512);
    ASSERT_EQ(Send({0xC6, 0x82, 0x92, 7, sectors, 0, 0, 0, 0, 0, sectors, 0}, &chunk, 0), GOOD);
  }
  EXPECT_EQ(m_state.pending, "0211");
  EXPECT_EQ(Reset(), GOOD);
  EXPECT_EQ(identify().substr(46, 8), "ZQAT0211");
}

}  // namespace
