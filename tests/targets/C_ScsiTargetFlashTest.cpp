// WRITE BUFFER and the direct flash sequence of the SCSI target.

#include <algorithm>
#include <cstring>
#include <map>

#include "TargetTest.h"
#include "module/E_Status.h"
#include "targets/C_ScsiTarget.h"

namespace {

bool IsWriteBuffer(const T_Recorded& i_sent) { return i_sent.Opcode() == 0x3B; }

// A compact name for each command of the sequence.
std::string Step(const T_Recorded& i_sent) {
  if (i_sent.requestType == 3) return i_sent.Opcode() == 0x03 ? "RESET" : "CONTROL";
  if (i_sent.Opcode() == 0x12) return i_sent.cdb[1] ? "VPD" : "INQUIRY";
  const std::map<std::uint8_t, std::string> names = {{0x00, "TUR"}, {0x1B, "START"}, {0x3B, "WB"}};
  return names.count(i_sent.Opcode()) ? names.at(i_sent.Opcode()) : "OTHER";
}

class FlashTest : public C_TargetFixture<C_ScsiTarget> {
 protected:
  FlashTest() {
    for (std::size_t i = 0; i < m_image.size(); ++i) m_image[i] = static_cast<char>(i * 7);
  }
  int Flash(std::size_t i_length) { return Call({"Flash", std::to_string(i_length), AddressText(m_image.data())}); }
  T_Args Steps() {
    T_Args steps;
    for (const T_Recorded& sent : Commands()) steps.push_back(Step(sent));
    return steps;
  }
  std::vector<char> m_image = std::vector<char>(140000);
};

// Mode in the low 4 bits of byte 1; offset and length 24 bits each, most
// significant byte first; the data pointer at the offset in the image.
TEST_F(FlashTest, WriteBufferBlock) {
  const std::string image = AddressText(m_image.data());
  // Arguments: mode offset length [flags].
  const struct { T_Args args; T_Bytes cdb; std::uint32_t offset, length, flags; } cases[] = {
      {{"0x17", "65536", "4464"}, {0x3B, 0x07, 0, 0x01, 0x00, 0x00, 0x00, 0x11, 0x70, 0}, 65536, 4464, 0x04},
      {{"5", "0x012345", "0x000102", "0"}, {0x3B, 0x05, 0, 0x01, 0x23, 0x45, 0x00, 0x01, 0x02, 0}, 0x12345, 0x102, 0},
      {{"0xE", "1", "2", "0x41"}, {0x3B, 0x0E, 0, 0x00, 0x00, 0x01, 0x00, 0x00, 0x02, 0}, 1, 2, 0x41},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    m_driver->ClearCommands();
    T_Args args = {"WriteBuffer", c.args[0], image, c.args[1], c.args[2]};
    if (c.args.size() > 3) args.push_back(c.args[3]);
    ASSERT_EQ(0, Call(args));
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ((S_Block{c.cdb, c.length, 255, c.flags, 0, 1}), Block(Commands()[0]));
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(m_image.data() + c.offset), Commands()[0].dataBuffer);
  }

  m_driver->Reply(T_Script::Opcode(0x3B), T_Script::Status(0x0C20));
  EXPECT_EQ(0x0C20, Call({"WriteBuffer", "7", image, "0", "16"}));
  m_driver->ClearCommands();
  for (const T_Args& args :
       {T_Args{"WriteBuffer", "7", image, "-1", "16"}, {"WriteBuffer", "7", image, "0", "-16"},
        {"WriteBuffer", "7", "0", "0", "16"}, {"Flash", "-1", image}, {"Flash", "16", "0"}}) {
    EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call(args)) << ::testing::PrintToString(args);
  }
  EXPECT_TRUE(Commands().empty());
}

TEST_F(FlashTest, ChunksPointIntoTheCallersImage) {
  const struct { std::size_t length; std::vector<std::pair<std::uint32_t, std::uint32_t>> chunks; } cases[] = {
      {70000, {{0, 32768}, {32768, 32768}, {65536, 4464}}},
      {65536, {{0, 32768}, {32768, 32768}}},
      {0, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    m_driver->ClearCommands();
    ASSERT_EQ(0, Flash(c.length));
    std::vector<T_Recorded> writes;
    std::copy_if(Commands().begin(), Commands().end(), std::back_inserter(writes), IsWriteBuffer);
    ASSERT_EQ(c.chunks.size(), writes.size());
    for (std::size_t i = 0; i < writes.size(); ++i) {
      const std::uint32_t offset = c.chunks[i].first, length = c.chunks[i].second;
      T_Bytes cdb = {0x3B, 0x07, 0, std::uint8_t(offset >> 16), std::uint8_t(offset >> 8), std::uint8_t(offset),
                     std::uint8_t(length >> 16), std::uint8_t(length >> 8), std::uint8_t(length), 0};
      EXPECT_EQ((S_Block{cdb, length, 255, 0x04, 0, 1}), Block(writes[i]));
      // No copy: the data pointer is the caller's image at the chunk's offset.
      EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(m_image.data() + offset), writes[i].dataBuffer);
      EXPECT_EQ(0, std::memcmp(writes[i].dataOut.data(), m_image.data() + offset, length));
    }
    // An empty image still brings the drive back.
    EXPECT_EQ("START", Steps().back());
  }
}

TEST_F(FlashTest, SequenceAfterTheLastChunk) {
  m_driver->Reply(StandardInquiry(), T_Script::Data(LoadHex("inquiry_disk.hex")), 1);
  ASSERT_FALSE(m_target->Init());
  EXPECT_EQ("ZQ05", Attr("FirmwareRev"));
  m_driver->Reply(StandardInquiry(), T_Script::Data(LoadHex("inquiry_disk_zq07.hex")));
  m_driver->Reply(ControlRequest(0x03), T_Script::Status(0x0C22));  // no longer changes the answer
  m_driver->ClearCommands();

  ASSERT_EQ(0, Flash(70000));
  EXPECT_EQ((T_Args{"WB", "WB", "WB", "TUR", "RESET", "TUR", "INQUIRY", "VPD", "START"}), Steps());
  EXPECT_EQ((T_Bytes{0x03, 0x01}), Commands()[4].cdb);
  EXPECT_EQ(0x44u, Commands()[6].flags);
  EXPECT_EQ((S_Block{{0x1B, 0x01, 0x00, 0x00, 0x01, 0x00}, 0, 255, 0x04, 2, 1}), Block(Commands()[8]));
  EXPECT_TRUE(C_SleepRecorder::Requests().empty());
  EXPECT_EQ("ZQ07", Attr("FirmwareRev"));
}

TEST_F(FlashTest, ChunkRejectedPartWay) {
  // The chunk at offset 32768 (00 80 00).
  m_driver->Reply([](const T_Recorded& r) { return IsWriteBuffer(r) && r.cdb[4] == 0x80; }, T_Script::Status(0x0C21));
  EXPECT_EQ(0x0C21, Flash(100000));
  // The first chunk stays sent; nothing follows the rejected one.
  EXPECT_EQ((T_Args{"WB", "WB"}), Steps());
}

TEST_F(FlashTest, BusyDrivePolling) {
  // TEST UNIT READY answers 1036 this often first (-1: always), and is sent
  // this often before the reset and after it.
  const struct { const char* name; int busyAnswers; std::size_t firstPhase, secondPhase; } cases[] = {
      {"busy three times", 3, 4, 1},
      {"busy across the reset", 1000, 999, 2},
      {"busy for ever", -1, 999, 999},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Restart();
    C_SleepRecorder sleeps;
    m_driver->Reply(T_Script::Opcode(0x00), T_Script::Status(VEK_STATUS_BUSY), c.busyAnswers);
    ASSERT_EQ(0, Flash(100));

    const T_Args steps = Steps();
    const auto reset = std::find(steps.begin(), steps.end(), "RESET");
    ASSERT_NE(steps.end(), reset);
    EXPECT_EQ(c.firstPhase, static_cast<std::size_t>(std::count(steps.begin(), reset, "TUR")));
    EXPECT_EQ(c.secondPhase, static_cast<std::size_t>(std::count(reset, steps.end(), "TUR")));
    EXPECT_EQ("START", steps.back());
    // One 100 ms sleep after every busy answer, none after the last ready one.
    const std::size_t busy = c.busyAnswers < 0 ? 1998 : static_cast<std::size_t>(c.busyAnswers);
    EXPECT_EQ(std::vector<long>(busy, 100), C_SleepRecorder::Requests());
  }
}

}  // namespace
