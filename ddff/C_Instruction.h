// Defined inside C_DDFF.h, which includes this header after the class;
// including this header alone includes C_DDFF.h (outside the guard, so the
// enclosing class is always complete first).
#include "ddff/C_DDFF.h"

#ifndef VEK_DDFF_C_INSTRUCTION_H
#define VEK_DDFF_C_INSTRUCTION_H

#include <cstdint>
#include <iosfwd>
#include <memory>

// One step of a request's program, serialized as one 40-byte record
// (S_DDFF_Instruction): a SCSI command for the drive (tag 'S',
// C_ScsiInstruction) or a controller action (tag 'C',
// C_ControllerInstruction). Each concrete object holds exactly its record;
// copying copies the record.
class VEK_API C_DDFF::C_Instruction {
 public:
  virtual ~C_Instruction();
  // The 40-byte record, valid while the object lives and is not changed.
  virtual const std::uint8_t* GetAsData() const = 0;
  // Copies min(i_nSize, 40) bytes of i_pbyData over the start of the record
  // (nothing when i_pbyData is null); what the concrete class does after
  // that is said there.
  virtual void SetAsData(const std::uint8_t* i_pbyData, std::uint32_t i_nSize) = 0;
  // Writes this instruction's report, starting on the current line.
  virtual void Dump(std::ostream& io_stream) const = 0;

  // The instruction a 40-byte record describes, by its tag; the caller owns
  // it. Throws C_Exception:
  //   "C_Instruction::New: i_pbyData == 0"  for a null pointer,
  //   "C_Instruction::New: i_nSize == %d"   for a size other than 40,
  //   "C_Instruction::New: tag == %#x"      for a tag other than 'S' or 'C'.
  static std::unique_ptr<C_Instruction> New(const std::uint8_t* i_pbyData, std::uint32_t i_nSize);

 protected:
  C_Instruction() = default;
  C_Instruction(const C_Instruction&) = default;
  C_Instruction& operator=(const C_Instruction&) = default;
};

#endif
