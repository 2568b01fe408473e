#include "ddff/C_DDFF.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using C_Scsi = C_DDFF::C_ScsiInstruction;
using C_Cntl = C_DDFF::C_ControllerInstruction;

Bytes Record(const C_DDFF::C_Instruction& i_instruction) {
  return Bytes(i_instruction.GetAsData(), i_instruction.GetAsData() + 40);
}

// A record of 40 bytes: the tag, then runs of bytes at their offsets, 0
// elsewhere.
Bytes Expected(std::uint8_t i_tag, std::initializer_list<std::pair<int, Bytes>> i_runs) {
  Bytes record(40, 0);
  record[0] = i_tag;
  for (const auto& run : i_runs) std::copy(run.second.begin(), run.second.end(), record.begin() + run.first);
  return record;
}

std::string NewMessage(const std::uint8_t* i_pbyData, std::uint32_t i_nSize) {
  try {
    C_DDFF::C_Instruction::New(i_pbyData, i_nSize);
  } catch (const C_DDFF::C_Exception& e) {
    return e.what();
  }
  return "";
}

// A record of another length or without data is refused with its reason
// (an unknown tag: C_DDFFTest; the kind a tag makes: DumpTest's fixture).
TEST(C_InstructionTest, NewSaysWhyNot) {
  std::uint8_t record[41] = {'S'};
  EXPECT_EQ(NewMessage(nullptr, 40), "C_Instruction::New: i_pbyData == 0");
  EXPECT_EQ(NewMessage(record, 39), "C_Instruction::New: i_nSize == 39");
  EXPECT_EQ(NewMessage(record, 41), "C_Instruction::New: i_nSize == 41");
  EXPECT_EQ(NewMessage(record, 40), "");
}

// What each builder call leaves in the record, byte for byte.
TEST(C_InstructionTest, RecordBytes) {
  const std::uint8_t writeBuffer[10] = {0x3B, 0x05, 0, 0, 0, 0, 0, 0x80, 0, 0}, inquiry[6] = {0x12, 0, 0, 0, 36, 0};
  const std::uint8_t long20[20] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  C_Scsi every(inquiry, 6);
  every.SetTimeout(0x1E);
  every.SetFlags(0x0171);
  every.SetScsiParamFlags(0x01020300);
  every.SetData(0x11223344, 0x55667788);
  every.SetRepeat(0x0102, 0x0304);
  every.SetSenseKey(0x06);
  every.SetAdditionalSense(0x29, 0x02);
  C_Cntl sleep(DDFF::DDFF_CMD_SLEEP), packed(0x7F), restarted(DDFF::DDFF_CMD_SLEEP), full(DDFF::DDFF_CMD_SLEEP);
  sleep.AddWORDParameter(0x1234);
  packed.AddBYTEParameter(0xAA);
  packed.AddDWORDParameter(0x01020304);
  packed.AddWORDParameter(0xBEEF);
  packed.SetTimeout(9);
  packed.SetRepeat(2, 500);
  restarted.AddDWORDParameter(0xFFFFFFFF);
  restarted.SetCommand(DDFF::DDFF_CMD_BUS_RESET);  // starts the parameters again
  for (int i = 0; i < 4; ++i) full.AddDWORDParameter(0x11111111u * (i + 1));  // the last one cut at the end
  const struct { const char* what; Bytes record, expected; } cases[] = {
      {"cleared SCSI", Record(C_Scsi()), Expected('S', {})},
      {"cleared controller", Record(C_Cntl()), Expected('C', {{23, {1}}})},
      {"WRITE BUFFER gets the data-out flag", Record(C_Scsi(writeBuffer, 10)),
       Expected('S', {{4, {0x04}}, {23, {10, 0x3B, 0x05}}, {31, {0x80}}})},
      {"every SCSI field", Record(every),
       Expected('S', {{1, {0x1E, 0x71, 0x01, 0x00, 0x03, 0x02, 0x01, 0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55,
                           0x02, 0x01, 0x04, 0x03, 0x06, 0x29, 0x02, 6, 0x12}},
                      {28, {36}}})},
      {"a CDB of 20 keeps its length byte, 16 bytes copied", Record(C_Scsi(long20, 20)),
       Expected('S', {{23, {20, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}})},
      {"sleep with a WORD", Record(sleep), Expected('C', {{23, {3, 1, 0x34, 0x12}}})},
      {"packed BYTE, DWORD, WORD, timeout, repeat", Record(packed),
       Expected('C', {{1, {9}}, {16, {2, 0, 0xF4, 0x01}}, {23, {8, 0x7F, 0xAA, 4, 3, 2, 1, 0xEF, 0xBE}}})},
      {"SetCommand starts the parameters again", Record(restarted), Expected('C', {{23, {1, 3}}})},
      {"parameters past the record are dropped", Record(full),
       Expected('C', {{23, {17, 1, 0x11, 0x11, 0x11, 0x11, 0x22, 0x22, 0x22, 0x22, 0x33, 0x33, 0x33, 0x33, 0x44, 0x44,
                            0x44}}})},
  };
  for (const auto& c : cases) EXPECT_EQ(c.record, c.expected) << c.what;
}

// Bit 0x4 of the SCSI parameter flags is set exactly for WRITE BUFFER (0x3B),
// by SetCDB, SetAsData and Fixup; the other bits pass through.
TEST(C_InstructionTest, FixupFollowsTheOpcode) {
  const std::uint8_t writeBuffer[10] = {0x3B}, testUnitReady[6] = {0x00};
  C_Scsi instruction(writeBuffer, 10);
  auto flags = [&] { return Bytes(instruction.GetAsData() + 4, instruction.GetAsData() + 6); };
  instruction.SetScsiParamFlags(0x100);  // stored as given: bit 0x4 cleared
  EXPECT_EQ((Bytes{0x00, 0x01}), flags());
  instruction.Fixup();
  EXPECT_EQ((Bytes{0x04, 0x01}), flags());
  instruction.SetCDB(testUnitReady, 6);
  EXPECT_EQ((Bytes{0x00, 0x01}), flags());
  Bytes record = Expected('S', {{4, {0x04}}, {23, {6}}});
  instruction.SetAsData(record.data(), 40);
  EXPECT_EQ((Bytes{0x00, 0x00}), flags());
  // A controller record is taken as it is.
  C_Cntl controller;
  record[0] = 'C';
  controller.SetAsData(record.data(), 40);
  EXPECT_EQ(Record(controller), record);
}

TEST(C_InstructionTest, RequestOwnsCopiesOfItsInstructions) {
  C_DDFF request;
  C_Cntl reset(DDFF::DDFF_CMD_DEVICE_RESET);
  request.AddInstruction(reset);
  reset.SetCommand(DDFF::DDFF_CMD_BUS_RESET);  // the caller's copy only
  const Bytes scsi = Expected('S', {{23, {6}}});
  request.AddInstruction(scsi.data(), 40);
  ASSERT_EQ(request.GetInstructionCount(), 2u);
  EXPECT_EQ(request.GetInstruction(0).GetAsData()[24], DDFF::DDFF_CMD_DEVICE_RESET);
  EXPECT_EQ(Record(request.GetInstruction(1)), scsi);
  EXPECT_THROW(request.AddInstruction(scsi.data(), 39), C_DDFF::C_Exception);
  EXPECT_EQ(request.GetInstructionCount(), 2u);
}

}  // namespace
