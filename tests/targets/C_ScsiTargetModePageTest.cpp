// MODE SENSE, MODE SELECT and the mode page comparison of the SCSI target.

#include <map>

#include "TargetTest.h"
#include "targets/C_ScsiTarget.h"

namespace {

const T_Bytes MODE_SENSE_BLOCK = {0x1A, 0x00, 0x08, 0x00, 0xFF, 0x00};
const int BAD = VEK_STATUS_BAD_ARGUMENT;

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
  void ReplyPage(const T_Script::S_Reply& i_reply) { Restart(T_Script::Opcode(0x1A), i_reply); }
  // Selects after sensing CachingPage; answers the data selected.
  T_Bytes Select(const T_Args& i_args) {
    ReplyPage(T_Script::Data(CachingPage()));
    EXPECT_EQ(0, Call(i_args));
    if (Commands().size() != 2) return {};
    EXPECT_EQ(MODE_SENSE_BLOCK, Commands()[0].cdb);
    return Commands()[1].dataOut;
  }
  // The sensed page as it goes back, cut to i_length, with the changes: the
  // header bytes 0 and 2 cleared, the page code the one sensed (no PS bit).
  static T_Bytes Expected(std::size_t i_length, const std::map<int, std::uint8_t>& i_changed) {
    T_Bytes page = CachingPage();
    page.resize(i_length);
    page[0] = page[2] = 0;
    page[12] = 0x08;
    for (const auto& change : i_changed) page[change.first] = change.second;
    return page;
  }
};

// Triples (offset from byte 12, op, value): op 1 sets bits, 0 clears them, 2
// sets the byte; an incomplete triple at the end is not read.
TEST_F(ModePageTest, ModeSelectEditTriples) {
  EXPECT_EQ(Expected(32, {{14, 0x14}, {15, 0x00}, {17, 0x80}, {11, 0x55}}),
            Select({"ModeSelect", "0", "8", "2", "1", "0x04", "3", "0", "0x11", "5", "2", "0x80", "-1", "2", "0x55",
                    "3", "1"}));
  ASSERT_EQ(2u, Commands().size());
  EXPECT_EQ(T_Block({0x15, 0x11, 0x00, 0x00, 32, 0x00}, 32, 255, 0x04, 0, 1), Block(Commands()[1]));
  EXPECT_EQ(T_Script::ROUTE_FORWARD, Commands()[1].route);
}

// Form 255: code, length L, then at most L + 1 values (the last past the
// L + 14 bytes sent); the page code argument never reaches the drive.
TEST_F(ModePageTest, ModeSelectWholePage) {
  EXPECT_EQ(Expected(17, {{13, 3}, {14, 1}, {15, 2}, {16, 3}}),
            Select({"ModeSelect", "1", "8", "255", "0x3F", "3", "1", "2", "3", "4", "5", "6"}));
  EXPECT_EQ((T_Bytes{0x15, 0x11, 0, 0, 17, 0}), Commands().at(1).cdb);
  EXPECT_EQ(0x00u, Commands()[1].flags);
  EXPECT_EQ(Expected(14, {{13, 0}}), Select({"ModeSelect", "1", "8", "255", "0x3F", "0"}));
}

TEST_F(ModePageTest, ModeSelectStopsWithoutSelecting) {
  T_Bytes emptyPage = CachingPage();
  emptyPage[13] = 0;
  const struct { const char* name; T_Bytes sensed; const char* form; int status; } cases[] = {
      {"page length 0", emptyPage, "2", 0},
      {"form below -1", CachingPage(), "-2", BAD},
      {"offset past the buffer", CachingPage(), "300", BAD},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ReplyPage(T_Script::Data(c.sensed));
    EXPECT_EQ(c.status, Call({"ModeSelect", "0", "8", c.form, "2", "1"}));
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ(0x1A, Commands()[0].Opcode());
  }
}

// 2000 plus the number of differences.
TEST_F(ModePageTest, CompareModePageCountsDifferences) {
  T_Bytes page = CachingPage();
  const std::uint8_t values[] = {4, 1, 2, 3, 4, 0};  // length 4, the page, a byte past it
  std::copy(values, values + 6, page.begin() + 13);
  const struct { T_Args args; int status; } cases[] = {
      {{"0", "8", "0", "4", "1", "9", "3", "8"}, 2002},
      // The count is raised to the page length; missing values count as 0.
      {{"0", "8", "0", "2", "1", "2", "3", "4"}, 2000},
      {{"0", "8", "0", "2", "1", "2"}, 2002},
      // Offsets count from the first byte after the page length.
      {{"0", "8", "1", "4", "2", "3", "4", "0"}, 2000},
      {{"0", "8", "1", "5", "2", "3", "4", "0", "7"}, 2001},
      {{"0", "8", "0", "4", "0x1", "02", "3", "0x104"}, 2001},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    ReplyPage(T_Script::Data(page));
    T_Args args = {"CmprModePage"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    EXPECT_EQ(c.status, Call(args));
    ASSERT_EQ(1u, Commands().size());
    EXPECT_EQ(MODE_SENSE_BLOCK, Commands()[0].cdb);
  }
  // A failed MODE SENSE is the answer; too few arguments send nothing.
  ReplyPage(T_Script::Status(0x0C12));
  EXPECT_EQ(0x0C12, Call({"CmprModePage", "0", "8", "0", "4", "1", "2", "3", "4"}));
  EXPECT_EQ(0x0C12, Call({"ModeSense", "1", "0x08"}));
  EXPECT_EQ(0x0C12, Call({"ModeSelect", "0", "8", "2", "2", "1"}));
  for (const T_Args& args :
       {T_Args{"CmprModePage", "0", "8", "0"}, T_Args{"ModeSense", "0"}, T_Args{"ModeSelect", "0", "8"}}) {
    EXPECT_EQ(BAD, Call(args)) << args[0];
  }
  EXPECT_EQ(3u, Commands().size());
}

}  // namespace
