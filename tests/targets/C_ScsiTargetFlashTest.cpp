// WRITE BUFFER and the direct flash sequence of the SCSI target.

#include <algorithm>
#include <cstring>

#include "TargetTest.h"
#include "foundation/StringUtil.h"
#include "module/E_Status.h"
#include "targets/C_ScsiTarget.h"

namespace {

// Where a WRITE BUFFER block says its chunk lies.
std::uint32_t BlockOffset(const T_Recorded& i_sent) {
  return static_cast<std::uint32_t>(i_sent.cdb[3]) << 16 | i_sent.cdb[4] << 8 | i_sent.cdb[5];
}
std::uint32_t BlockLength(const T_Recorded& i_sent) {
  return static_cast<std::uint32_t>(i_sent.cdb[6]) << 16 | i_sent.cdb[7] << 8 | i_sent.cdb[8];
}

bool IsWriteBuffer(const T_Recorded& i_sent) { return i_sent.Opcode() == 0x3B; }

// A compact name for each command of the sequence.
std::string Step(const T_Recorded& i_sent) {
  if (i_sent.requestType == 3) return i_sent.Opcode() == 0x03 ? "RESET" : "CONTROL";
  switch (i_sent.Opcode()) {
    case 0x00:
      return "TUR";
    case 0x12:
      return i_sent.cdb[1] ? "VPD" : "INQUIRY";
    case 0x1B:
      return "START";
    case 0x3B:
      return "WB";
    default:
      return "OTHER";
  }
}

class FlashTest : public C_TargetFixture<C_ScsiTarget> {
 protected:
  FlashTest() {
    Attach(new C_ScsiTarget);
    for (std::size_t i = 0; i < m_image.size(); ++i) m_image[i] = static_cast<char>(i * 7);
  }
  int Flash(std::size_t i_length) {
    return Call({"Flash", std::to_string(i_length), AddressText(m_image.data())});
  }
  std::vector<std::string> Steps() {
    std::vector<std::string> steps;
    for (const T_Recorded& sent : Commands()) steps.push_back(Step(sent));
    return steps;
  }
  std::vector<char> m_image = std::vector<char>(140000);
};

TEST_F(FlashTest, WriteBufferBlock) {
  const char* image = m_image.data();
  struct S_Case {
    std::vector<std::string> args;  // mode offset length [flags]
    T_Bytes cdb;
    std::uint32_t flags;
  } cases[] = {
      {{"7", "0", "32768"}, {0x3B, 0x07, 0, 0x00, 0x00, 0x00, 0x00, 0x80, 0x00, 0}, 0x04},
      {{"0x17", "65536", "4464"}, {0x3B, 0x07, 0, 0x01, 0x00, 0x00, 0x00, 0x11, 0x70, 0}, 0x04},
      {{"5", "0x012345", "0x000102", "0"}, {0x3B, 0x05, 0, 0x01, 0x23, 0x45, 0x00, 0x01, 0x02, 0},
       0x00},
      {{"0xE", "1", "2", "0x41"}, {0x3B, 0x0E, 0, 0x00, 0x00, 0x01, 0x00, 0x00, 0x02, 0}, 0x41},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    m_driver->ClearCommands();
    std::vector<std::string> args = {"WriteBuffer", c.args[0], AddressText(image), c.args[1],
                                     c.args[2]};
    if (c.args.size() > 3) args.push_back(c.args[3]);
    ASSERT_EQ(0, Call(args));
    ASSERT_EQ(1u, Commands().size());
    const T_Recorded& sent = Commands()[0];
    const unsigned long offset = ParseUnsigned(c.args[1].c_str());
    EXPECT_EQ(c.cdb, sent.cdb);
    EXPECT_EQ(10, sent.cdbLength);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(image + offset), sent.dataBuffer);
    EXPECT_EQ(ParseUnsigned(c.args[2].c_str()), sent.dataLength);
    EXPECT_EQ(c.flags, sent.flags);
    EXPECT_EQ(0, sent.direction);
    EXPECT_EQ(255u, sent.senseLength);
    EXPECT_EQ(1u, sent.requestType);
  }

  m_driver->Reply(C_ScriptedDriver::Opcode(0x3B), C_ScriptedDriver::Status(0x0C20));
  EXPECT_EQ(0x0C20, Call({"WriteBuffer", "7", AddressText(image), "0", "16"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"WriteBuffer", "7", AddressText(image), "-1", "16"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"WriteBuffer", "7", AddressText(image), "0", "-16"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"WriteBuffer", "7", "0", "0", "16"}));
}

TEST_F(FlashTest, ChunksPointIntoTheCallersImage) {
  struct S_Case {
    std::size_t length;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> chunks;  // offset, length
  } cases[] = {
      {70000, {{0, 32768}, {32768, 32768}, {65536, 4464}}},
      {32768, {{0, 32768}}},
      {65536, {{0, 32768}, {32768, 32768}}},
      {1, {{0, 1}}},
      {0, {}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.length);
    m_driver->ClearCommands();
    ASSERT_EQ(0, Flash(c.length));
    std::vector<T_Recorded> writes;
    for (const T_Recorded& sent : Commands()) {
      if (IsWriteBuffer(sent)) writes.push_back(sent);
    }
    ASSERT_EQ(c.chunks.size(), writes.size());
    for (std::size_t i = 0; i < writes.size(); ++i) {
      const T_Recorded& sent = writes[i];
      EXPECT_EQ(0x07, sent.cdb[1]);
      EXPECT_EQ(0x04u, sent.flags);
      EXPECT_EQ(c.chunks[i].first, BlockOffset(sent));
      EXPECT_EQ(c.chunks[i].second, BlockLength(sent));
      EXPECT_EQ(c.chunks[i].second, sent.dataLength);
      // No copy: the data pointer is the caller's image at the chunk's offset.
      EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(m_image.data() + c.chunks[i].first),
                sent.dataBuffer);
      EXPECT_EQ(0, std::memcmp(sent.dataOut.data(), m_image.data() + c.chunks[i].first,
                               c.chunks[i].second));
    }
    // An empty image still brings the drive back.
    EXPECT_EQ("START", Steps().back());
  }
}

TEST_F(FlashTest, SequenceAfterTheLastChunk) {
  m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Data(LoadHex("inquiry_disk.hex")), 1);
  ASSERT_FALSE(m_target->Init());
  EXPECT_EQ("ZQ05", m_target->GetAttribute("FirmwareRev"));
  m_driver->Reply(StandardInquiry(), C_ScriptedDriver::Data(LoadHex("inquiry_disk_zq07.hex")));
  m_driver->ClearCommands();

  ASSERT_EQ(0, Flash(70000));
  EXPECT_EQ((std::vector<std::string>{"WB", "WB", "WB", "TUR", "RESET", "TUR", "INQUIRY", "VPD",
                                      "START"}),
            Steps());
  const T_Recorded& reset = Commands()[4];
  EXPECT_EQ((T_Bytes{0x03, 0x01}), reset.cdb);
  const T_Recorded& inquiry = Commands()[6];
  EXPECT_EQ(0x44u, inquiry.flags);
  const T_Recorded& start = Commands()[8];
  EXPECT_EQ((T_Bytes{0x1B, 0x01, 0x00, 0x00, 0x01, 0x00}), start.cdb);
  EXPECT_EQ(0x04u, start.flags);
  EXPECT_EQ(0x00u, Commands()[3].flags);  // TEST UNIT READY has no switch
  EXPECT_TRUE(C_SleepRecorder::Requests().empty());

  EXPECT_EQ("ZQ07", m_target->GetAttribute("FirmwareRev"));
  EXPECT_EQ("ZQ07", m_target->GetFirmwareRev().Get());
}

TEST_F(FlashTest, ChunkRejectedPartWay) {
  m_driver->Reply([](const T_Recorded& r) { return IsWriteBuffer(r) && BlockOffset(r) == 32768; },
                  C_ScriptedDriver::Status(0x0C21));
  EXPECT_EQ(0x0C21, Flash(100000));
  // The first chunk stays sent; nothing follows the rejected one.
  EXPECT_EQ((std::vector<std::string>{"WB", "WB"}), Steps());
}

TEST_F(FlashTest, BusyDrivePolling) {
  struct S_Case {
    const char* name;
    int busyAnswers;           // TEST UNIT READY answers 1036 this often first
    std::size_t firstPhase;    // TEST UNIT READY calls before the reset
    std::size_t secondPhase;   // and after it
  } cases[] = {
      {"ready at once", 0, 1, 1},
      {"busy three times", 3, 4, 1},
      {"busy across the reset", 1000, 999, 2},
      {"busy for ever", -1, 999, 999},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_driver->ClearScript();
    m_driver->ClearCommands();
    C_SleepRecorder sleeps;
    m_driver->Reply(C_ScriptedDriver::Opcode(0x00), C_ScriptedDriver::Status(VEK_STATUS_BUSY),
                    c.busyAnswers);
    ASSERT_EQ(0, Flash(100));

    const std::vector<std::string> steps = Steps();
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

TEST_F(FlashTest, BadArguments) {
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"Flash", "-1", AddressText(m_image.data())}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"Flash", "16", "0"}));
  EXPECT_TRUE(Commands().empty());
}

// A derived target's members are the ones the sequence calls.
class C_CountingTarget : public C_ScsiTarget {
 public:
  int DoWriteBuffer(int i_mode, const char* i_image, unsigned int i_offset, unsigned int i_length,
                    unsigned int i_flags) override {
    chunks.push_back(i_length);
    return C_ScsiTarget::DoWriteBuffer(i_mode, i_image, i_offset, i_length, i_flags);
  }
  int TestUnitReady(int, const char**) override {
    ++polls;
    return 0;
  }
  int Reset(int, const char**) override {
    ++resets;
    return 0x0C22;  // ignored by the sequence
  }
  std::vector<unsigned int> chunks;
  int polls = 0;
  int resets = 0;
};

TEST(FlashVirtualTest, SequenceCallsTheDerivedMembers) {
  std::unique_ptr<C_Root> root(new C_Root);
  C_ScriptedDriver* driver = new C_ScriptedDriver;
  root->SetDriver(driver);
  C_CountingTarget* target = new C_CountingTarget;
  driver->Attach(root.get(), target, nullptr);
  std::vector<char> image(40000);
  EXPECT_EQ(0, CallOp(*target, {"Flash", "40000", AddressText(image.data())}));
  EXPECT_EQ((std::vector<unsigned int>{32768, 7232}), target->chunks);
  EXPECT_EQ(2, target->polls);
  EXPECT_EQ(1, target->resets);
  // Only the target's own chunks, inquiry and start reached the driver.
  for (const T_Recorded& sent : driver->Commands()) EXPECT_NE(0x00, sent.Opcode());
  root->Cleanup();
}

}  // namespace
