// WRITE BUFFER and what the SCSI target's direct flash does after the last
// chunk. (The chunks themselves, for both targets: C_TargetTest.cpp.)

#include <algorithm>

#include "TargetTest.h"
#include "module/E_Status.h"
#include "targets/C_ScsiTarget.h"

namespace {

class FlashTest : public C_TargetFixture<C_ScsiTarget> {
 protected:
  int Flash(std::size_t i_length) { return Call({"Flash", std::to_string(i_length), AddressText(m_image.data())}); }
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
    EXPECT_EQ(T_Block(c.cdb, c.length, 255, c.flags, 0, 1), Block(Commands()[0]));
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(m_image.data() + c.offset), Commands()[0].dataBuffer);
  }

  m_driver->Reply(T_Script::Opcode(0x3B), T_Script::Status(0x0C20));
  EXPECT_EQ(0x0C20, Call({"WriteBuffer", "7", image, "0", "16"}));
  m_driver->ClearCommands();
  for (const T_Args& args : {T_Args{"WriteBuffer", "7", image, "-1", "16"}, {"WriteBuffer", "7", image, "0", "-16"},
                             {"WriteBuffer", "7", "0", "0", "16"}}) {
    EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call(args)) << ::testing::PrintToString(args);
  }
  EXPECT_TRUE(Commands().empty());
}

// After the chunks: TEST UNIT READY, reset, TEST UNIT READY, INQUIRY (the
// new revision is published), START UNIT. A failing reset changes nothing.
TEST_F(FlashTest, SequenceAfterTheLastChunk) {
  m_driver->Reply(StandardInquiry(), T_Script::Data(LoadHex("inquiry_disk.hex")), 1);
  ASSERT_FALSE(m_target->Init());
  EXPECT_EQ("ZQ05", Attr("FirmwareRev"));
  m_driver->Reply(StandardInquiry(), T_Script::Data(LoadHex("inquiry_disk_zq07.hex")));
  m_driver->Reply(ControlRequest(0x03), T_Script::Status(0x0C22));
  m_driver->ClearCommands();

  ASSERT_EQ(0, Flash(70000));
  EXPECT_EQ((std::vector<int>{0x3B, 0x3B, 0x3B, 0x00, 0x103, 0x00, 0x12, 0x12, 0x1B}), Codes());
  EXPECT_EQ(0x44u, Commands()[6].flags);
  EXPECT_EQ(T_Block({0x1B, 0x01, 0x00, 0x00, 0x01, 0x00}, 0, 255, 0x04, 2, 1), Block(Commands()[8]));
  EXPECT_EQ("ZQ07", Attr("FirmwareRev"));
}

TEST_F(FlashTest, BusyDrivePolling) {
  // TEST UNIT READY answers 1036 this often first (-1: always), and is sent
  // this often before the reset and after it.
  const struct { const char* name; int busyAnswers; long firstPhase, secondPhase; } cases[] = {
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

    const std::vector<int> opcodes = Codes();
    const auto reset = std::find(opcodes.begin(), opcodes.end(), 0x103);
    ASSERT_NE(opcodes.end(), reset);
    EXPECT_EQ(c.firstPhase, std::count(opcodes.begin(), reset, 0x00));
    EXPECT_EQ(c.secondPhase, std::count(reset, opcodes.end(), 0x00));
    EXPECT_EQ(0x1B, opcodes.back());
    // One 100 ms sleep after every busy answer, none after the last ready one.
    const std::size_t busy = c.busyAnswers < 0 ? 1998 : static_cast<std::size_t>(c.busyAnswers);
    EXPECT_EQ(std::vector<long>(busy, 100), C_SleepRecorder::Requests());
  }
}

}  // namespace
