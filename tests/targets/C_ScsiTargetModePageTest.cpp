// MODE SENSE, MODE SELECT and the mode page comparison of the SCSI target.

#include <map>

#include "TargetTest.h"
#include "targets/C_ScsiTarget.h"

namespace {

const T_Bytes MODE_SENSE_BLOCK = {0x1A, 0x00, 0x08, 0x00, 0xFF, 0x00};

// Sensed data: 4-byte header, 8-byte block descriptor, page 8 (with the PS
// bit) of length 18.
T_Bytes CachingPage() {
  T_Bytes data(32);
  data[0] = 0x1F;
  data[2] = 0x10;
  data[3] = 0x08;
  for (int i = 4; i < 12; ++i) data[i] = static_cast<std::uint8_t>(0xA0 + i);
  data[12] = 0x88;
  data[13] = 18;
  for (int k = 0; k < 18; ++k) data[14 + k] = static_cast<std::uint8_t>(0x10 + k);
  return data;
}

class ModePageTest : public C_TargetFixture<C_ScsiTarget> {
 protected:
  ModePageTest() { Attach(new C_ScsiTarget); }
  void ReplyPage(const T_Bytes& i_page) {
    m_driver->ClearScript();
    m_driver->ClearCommands();
    m_driver->Reply(C_ScriptedDriver::Opcode(0x1A), C_ScriptedDriver::Data(i_page));
  }
  // The MODE SELECT data the page turns into: header bytes 0 and 2 cleared,
  // page code 8 without the PS bit.
  static T_Bytes Selected(T_Bytes i_page, std::size_t i_length) {
    i_page.resize(i_length);
    i_page[0] = 0;
    i_page[2] = 0;
    i_page[12] = 0x08;
    return i_page;
  }
};

TEST_F(ModePageTest, ModeSenseBlockAndArgumentCount) {
  ReplyPage(CachingPage());
  m_driver->Reply(C_ScriptedDriver::Any(), C_ScriptedDriver::Status(0x0C10));
  EXPECT_EQ(0, Call({"ModeSense", "0", "8"}));
  ASSERT_EQ(1u, Commands().size());
  const T_Recorded& sent = Commands()[0];
  EXPECT_EQ(MODE_SENSE_BLOCK, sent.cdb);
  EXPECT_NE(nullptr, sent.dataBuffer);
  EXPECT_EQ(255u, sent.dataLength);
  EXPECT_EQ(1, sent.direction);
  EXPECT_EQ(0x04u, sent.flags);
  EXPECT_EQ(255u, sent.senseLength);

  m_driver->ClearScript();
  m_driver->Reply(C_ScriptedDriver::Any(), C_ScriptedDriver::Status(0x0C10));
  EXPECT_EQ(0x0C10, Call({"ModeSense", "1", "0x08"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"ModeSense", "0"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"ModeSense", "0", "8", "0"}));
  EXPECT_EQ(2u, Commands().size());
}

TEST_F(ModePageTest, ModeSelectEditTriples) {
  struct S_Case {
    std::vector<std::string> triples;
    std::map<int, std::uint8_t> changed;  // buffer byte -> new value
  } cases[] = {
      {{"2", "1", "0x04"}, {{14, 0x14}}},
      {{"2", "0", "0x10"}, {{14, 0x00}}},
      {{"2", "2", "0x80"}, {{14, 0x80}}},
      {{"2", "2", "0x80", "5", "1", "0x01"}, {{14, 0x80}, {17, 0x13}}},
      {{"-1", "2", "0x55"}, {{11, 0x55}}},
      // An incomplete triple at the end is not read.
      {{"2", "2", "0x80", "3", "1"}, {{14, 0x80}}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.triples));
    ReplyPage(CachingPage());
    std::vector<std::string> args = {"ModeSelect", "0", "8"};
    args.insert(args.end(), c.triples.begin(), c.triples.end());
    ASSERT_EQ(0, Call(args));

    ASSERT_EQ(2u, Commands().size());
    EXPECT_EQ(MODE_SENSE_BLOCK, Commands()[0].cdb);
    const T_Recorded& select = Commands()[1];
    EXPECT_EQ((T_Bytes{0x15, 0x11, 0x00, 0x00, 32, 0x00}), select.cdb);
    EXPECT_EQ(32u, select.dataLength);
    EXPECT_EQ(0, select.direction);
    EXPECT_EQ(0x04u, select.flags);
    EXPECT_EQ(C_ScriptedDriver::ROUTE_FORWARD, select.route);
    T_Bytes expected = Selected(CachingPage(), 32);
    for (const auto& change : c.changed) expected[change.first] = change.second;
    EXPECT_EQ(expected, select.dataOut);
  }
}

TEST_F(ModePageTest, ModeSelectWholePage) {
  struct S_Case {
    std::vector<std::string> values;  // after the form 255
    std::uint8_t length;
    std::map<int, std::uint8_t> changed;
  } cases[] = {
      // L = 3: at most L + 1 = 4 values are stored, the last one past the
      // L + 14 bytes sent; the page code argument never reaches the drive.
      {{"0x3F", "3", "1", "2", "3", "4", "5", "6"}, 3, {{14, 1}, {15, 2}, {16, 3}, {17, 4}}},
      {{"0x3F", "4", "9"}, 4, {{14, 9}}},
      {{"0x3F", "0"}, 0, {}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.values));
    ReplyPage(CachingPage());
    std::vector<std::string> args = {"ModeSelect", "1", "8", "255"};
    args.insert(args.end(), c.values.begin(), c.values.end());
    ASSERT_EQ(0, Call(args));
    ASSERT_EQ(2u, Commands().size());
    const T_Recorded& select = Commands()[1];
    const std::size_t length = c.length + 14u;
    EXPECT_EQ(length, select.cdb[4]);
    EXPECT_EQ(length, select.dataLength);
    EXPECT_EQ(0x00u, select.flags);
    T_Bytes expected = Selected(CachingPage(), length);
    expected[13] = c.length;
    for (const auto& change : c.changed) expected[change.first] = change.second;
    EXPECT_EQ(expected, select.dataOut);
  }
}

TEST_F(ModePageTest, ModeSelectStopsWithoutSelecting) {
  T_Bytes emptyPage = CachingPage();
  emptyPage[13] = 0;
  struct S_Case {
    const char* name;
    C_ScriptedDriver::S_Reply sensed;
    std::vector<std::string> args;
    int status;
  } cases[] = {
      {"page length 0", C_ScriptedDriver::Data(emptyPage), {"ModeSelect", "0", "8", "2", "2", "1"}, 0},
      {"sense fails", C_ScriptedDriver::Data(CachingPage(), 0x0C11), {"ModeSelect", "0", "8", "2", "2", "1"},
       0x0C11},
      {"form below -1", C_ScriptedDriver::Data(CachingPage()), {"ModeSelect", "0", "8", "-2", "2", "1"},
       VEK_STATUS_BAD_ARGUMENT},
      {"offset past the buffer", C_ScriptedDriver::Data(CachingPage()),
       {"ModeSelect", "0", "8", "300", "2", "1"}, VEK_STATUS_BAD_ARGUMENT},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_driver->ClearScript();
    m_driver->ClearCommands();
    m_driver->Reply(C_ScriptedDriver::Opcode(0x1A), c.sensed);
    EXPECT_EQ(c.status, Call(c.args));
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ(0x1A, Commands()[0].Opcode());
  }
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"ModeSelect", "0", "8"}));
}

TEST_F(ModePageTest, CompareModePageCountsDifferences) {
  T_Bytes page = CachingPage();
  page[13] = 4;
  page[14] = 1;
  page[15] = 2;
  page[16] = 3;
  page[17] = 4;
  page[18] = 0;  // past the page
  struct S_Case {
    std::vector<std::string> args;
    int status;
  } cases[] = {
      {{"0", "8", "0", "4", "1", "2", "3", "4"}, 2000},
      {{"0", "8", "0", "4", "1", "9", "3", "8"}, 2002},
      {{"0", "8", "0", "4", "0x1", "02", "3", "4"}, 2000},
      // The count is raised to the page length; missing values count as 0.
      {{"0", "8", "0", "2", "1", "2", "3", "4"}, 2000},
      {{"0", "8", "0", "2", "1", "2"}, 2002},
      // Offsets count from the first byte after the page length.
      {{"0", "8", "1", "4", "2", "3", "4", "0"}, 2000},
      {{"0", "8", "1", "5", "2", "3", "4", "0", "7"}, 2001},
      {{"0", "8", "0", "4", "1", "2", "3", "0x104"}, 2001},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    ReplyPage(page);
    std::vector<std::string> args = {"CmprModePage"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    EXPECT_EQ(c.status, Call(args));
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ(MODE_SENSE_BLOCK, Commands()[0].cdb);
  }

  ReplyPage(page);
  m_driver->ClearScript();
  m_driver->Reply(C_ScriptedDriver::Opcode(0x1A), C_ScriptedDriver::Status(0x0C12));
  EXPECT_EQ(0x0C12, Call({"CmprModePage", "0", "8", "0", "4", "1", "2", "3", "4"}));
  EXPECT_EQ(VEK_STATUS_BAD_ARGUMENT, Call({"CmprModePage", "0", "8", "0"}));
}

}  // namespace
