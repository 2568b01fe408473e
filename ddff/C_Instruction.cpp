#include "ddff/C_Instruction.h"

C_DDFF::C_Instruction::~C_Instruction() = default;

std::unique_ptr<C_DDFF::C_Instruction> C_DDFF::C_Instruction::New(const std::uint8_t* i_pbyData,
                                                                   std::uint32_t i_nSize) {
  if (!i_pbyData) ThrowF("C_Instruction::New: i_pbyData == 0");
  if (i_nSize != DDFF::INSTRUCTION_SIZE) ThrowF("C_Instruction::New: i_nSize == %d", static_cast<int>(i_nSize));
  switch (i_pbyData[0]) {
    case DDFF::TAG_CONTROLLER:
      return std::make_unique<C_ControllerInstruction>(i_pbyData);
    case DDFF::TAG_SCSI:
      return std::make_unique<C_ScsiInstruction>(i_pbyData);
    default:
      ThrowF("C_Instruction::New: tag == %#x", i_pbyData[0]);
  }
}
