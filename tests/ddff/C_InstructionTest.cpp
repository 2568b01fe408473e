#include "ddff/C_DDFF.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Record(const C_DDFF::C_Instruction& i_instruction) {
  return Bytes(i_instruction.GetAsData(), i_instruction.GetAsData() + 40);
}

// A record of 40 bytes: tag, then the given bytes at their offsets.
Bytes Expected(std::uint8_t i_tag, std::initializer_list<std::pair<int, std::uint8_t>> i_bytes) {
  Bytes record(40, 0);
  record[0] = i_tag;
  for (const auto& b : i_bytes) record[b.first] = b.second;
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

TEST(C_InstructionTest, NewRefusesBadRecordsWithExactMessages) {
  std::uint8_t record[41] = {'S'};
  EXPECT_EQ(NewMessage(nullptr, 40), "C_Instruction::New: i_pbyData == 0");
  EXPECT_EQ(NewMessage(record, 39), "C_Instruction::New: i_nSize == 39");
  EXPECT_EQ(NewMessage(record, 41), "C_Instruction::New: i_nSize == 41");
  record[0] = 'X';
  EXPECT_EQ(NewMessage(record, 40), "C_Instruction::New: tag == 0x58");
}

TEST(C_InstructionTest, NewMakesTheKindTheTagNames) {
  const Bytes scsi = Expected('S', {{1, 30}, {23, 6}, {24, 0x12}, {28, 0xAB}});
  const Bytes controller = Expected('C', {{23, 3}, {24, 1}, {25, 0xE8}, {26, 0x03}});
  auto fromScsi = C_DDFF::C_Instruction::New(scsi.data(), 40);
  auto fromController = C_DDFF::C_Instruction::New(controller.data(), 40);
  EXPECT_NE(dynamic_cast<C_DDFF::C_ScsiInstruction*>(fromScsi.get()), nullptr);
  EXPECT_NE(dynamic_cast<C_DDFF::C_ControllerInstruction*>(fromController.get()), nullptr);
  EXPECT_EQ(Record(*fromScsi), scsi);
  EXPECT_EQ(Record(*fromController), controller);
}

// What each builder call leaves in the record, byte for byte.
TEST(C_InstructionTest, RecordBytes) {
  const std::uint8_t writeBuffer[10] = {0x3B, 0x05, 0, 0, 0, 0, 0, 0x80, 0, 0};
  const std::uint8_t inquiry[6] = {0x12, 0, 0, 0, 36, 0};
  const std::uint8_t long20[20] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  using C_Scsi = C_DDFF::C_ScsiInstruction;
  using C_Cntl = C_DDFF::C_ControllerInstruction;
  const struct {
    const char* what;
    std::function<Bytes()> build;
    Bytes expected;
  } cases[] = {
      {"cleared SCSI", [] { return Record(C_Scsi()); }, Expected('S', {})},
      {"cleared controller", [] { return Record(C_Cntl()); }, Expected('C', {{23, 1}})},
      {"WRITE BUFFER gets the data-out flag",
       [&] { return Record(C_Scsi(writeBuffer, 10)); },
       Expected('S', {{4, 0x04}, {23, 10}, {24, 0x3B}, {25, 0x05}, {31, 0x80}})},
      {"every SCSI field",
       [&] {
         C_Scsi s(inquiry, 6);
         s.SetTimeout(0x1E);
         s.SetFlags(0x0171);
         s.SetScsiParamFlags(0x01020300);
         s.SetData(0x11223344, 0x55667788);
         s.SetRepeat(0x0102, 0x0304);
         s.SetSenseKey(0x06);
         s.SetAdditionalSense(0x29, 0x02);
         return Record(s);
       },
       Expected('S', {{1, 0x1E}, {2, 0x71}, {3, 0x01}, {5, 0x03}, {6, 0x02}, {7, 0x01},
                      {8, 0x44}, {9, 0x33}, {10, 0x22}, {11, 0x11}, {12, 0x88}, {13, 0x77},
                      {14, 0x66}, {15, 0x55}, {16, 0x02}, {17, 0x01}, {18, 0x04}, {19, 0x03},
                      {20, 0x06}, {21, 0x29}, {22, 0x02}, {23, 6}, {24, 0x12}, {28, 36}})},
      {"a CDB of 20 keeps its length byte, 16 bytes copied",
       [&] { return Record(C_Scsi(long20, 20)); },
       Expected('S', {{23, 20}, {24, 1},  {25, 2},  {26, 3},  {27, 4},  {28, 5},  {29, 6},
                      {30, 7},  {31, 8},  {32, 9},  {33, 10}, {34, 11}, {35, 12}, {36, 13},
                      {37, 14}, {38, 15}, {39, 16}})},
      {"sleep with a WORD",
       [] {
         C_Cntl c(DDFF::DDFF_CMD_SLEEP);
         c.AddWORDParameter(0x1234);
         return Record(c);
       },
       Expected('C', {{23, 3}, {24, 1}, {25, 0x34}, {26, 0x12}})},
      {"packed BYTE, DWORD, WORD, timeout, repeat",
       [] {
         C_Cntl c(0x7F);
         c.AddBYTEParameter(0xAA);
         c.AddDWORDParameter(0x01020304);
         c.AddWORDParameter(0xBEEF);
         c.SetTimeout(9);
         c.SetRepeat(2, 500);
         return Record(c);
       },
       Expected('C', {{1, 9}, {16, 2}, {18, 0xF4}, {19, 0x01}, {23, 8}, {24, 0x7F}, {25, 0xAA},
                      {26, 4}, {27, 3}, {28, 2}, {29, 1}, {30, 0xEF}, {31, 0xBE}})},
      {"SetCommand starts the parameters again",
       [] {
         C_Cntl c(DDFF::DDFF_CMD_SLEEP);
         c.AddDWORDParameter(0xFFFFFFFF);
         c.SetCommand(DDFF::DDFF_CMD_BUS_RESET);
         return Record(c);
       },
       Expected('C', {{23, 1}, {24, 3}})},
      {"parameters past the record are dropped",
       [] {
         C_Cntl c(DDFF::DDFF_CMD_SLEEP);
         for (int i = 0; i < 4; ++i) c.AddDWORDParameter(0x11111111u * (i + 1));
         return Record(c);
       },
       Expected('C', {{23, 17}, {24, 1},  {25, 0x11}, {26, 0x11}, {27, 0x11}, {28, 0x11},
                      {29, 0x22}, {30, 0x22}, {31, 0x22}, {32, 0x22}, {33, 0x33}, {34, 0x33},
                      {35, 0x33}, {36, 0x33}, {37, 0x44}, {38, 0x44}, {39, 0x44}})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.build(), c.expected);
  }
}

TEST(C_InstructionTest, FixupFollowsTheOpcode) {
  const std::uint8_t writeBuffer[10] = {0x3B};
  const std::uint8_t testUnitReady[6] = {0x00};
  C_DDFF::C_ScsiInstruction instruction(writeBuffer, 10);
  instruction.SetScsiParamFlags(0x100);  // stored as given: bit 0x4 cleared
  EXPECT_EQ(Record(instruction)[4], 0x00);
  EXPECT_EQ(Record(instruction)[5], 0x01);
  instruction.Fixup();
  EXPECT_EQ(Record(instruction)[4], 0x04);
  instruction.SetCDB(testUnitReady, 6);
  EXPECT_EQ(Record(instruction)[4], 0x00);
  EXPECT_EQ(Record(instruction)[5], 0x01);  // other bits pass through

  // SetAsData runs the fix-up too, also on a record that claims the flag.
  Bytes record = Expected('S', {{4, 0x04}, {23, 6}});
  instruction.SetAsData(record.data(), 40);
  EXPECT_EQ(Record(instruction)[4], 0x00);
  // A controller record is taken as it is.
  C_DDFF::C_ControllerInstruction controller;
  record[0] = 'C';
  controller.SetAsData(record.data(), 40);
  EXPECT_EQ(Record(controller), record);
}

TEST(C_InstructionTest, RequestOwnsCopiesOfItsInstructions) {
  C_DDFF request;
  C_DDFF::C_ControllerInstruction reset(DDFF::DDFF_CMD_DEVICE_RESET);
  request.AddInstruction(reset);
  reset.SetCommand(DDFF::DDFF_CMD_BUS_RESET);  // the caller's copy only
  const Bytes scsi = Expected('S', {{23, 6}});
  request.AddInstruction(scsi.data(), 40);
  ASSERT_EQ(request.GetInstructionCount(), 2u);
  EXPECT_EQ(request.GetInstruction(0).GetAsData()[24], DDFF::DDFF_CMD_DEVICE_RESET);
  EXPECT_EQ(Record(request.GetInstruction(1)), scsi);
  EXPECT_THROW(request.AddInstruction(scsi.data(), 39), C_DDFF::C_Exception);
  EXPECT_EQ(request.GetInstructionCount(), 2u);
}

}  // namespace
