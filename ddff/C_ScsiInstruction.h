// Defined inside C_DDFF.h, which includes this header after the class;
// including this header alone includes C_DDFF.h (outside the guard, so the
// enclosing class is always complete first).
#include "ddff/C_DDFF.h"

#ifndef VEK_DDFF_C_SCSIINSTRUCTION_H
#define VEK_DDFF_C_SCSIINSTRUCTION_H

// A SCSI command that the agent sends to the drive (tag 'S').
//
// Parameter flag DDFF_SCSI_DATA_OUT (0x4) marks a command that sends data
// to the drive. Fixup keeps it in step with the CDB: set exactly when the
// opcode is WRITE BUFFER (0x3B). SetCDB and SetAsData run Fixup;
// SetScsiParamFlags stores the value as given. The other parameter flags
// belong to the agent and are passed through.
class VEK_API C_DDFF::C_ScsiInstruction : public C_DDFF::C_Instruction {
 public:
  // A cleared record.
  C_ScsiInstruction();
  // A cleared record with this CDB (see SetCDB).
  C_ScsiInstruction(const std::uint8_t* i_pbyCdb, std::uint8_t i_nLength);
  // The 40 bytes at i_pbyData, as SetAsData.
  explicit C_ScsiInstruction(const std::uint8_t* i_pbyData);
  ~C_ScsiInstruction() override;

  // All 40 bytes zero, tag 'S'.
  void Clear();
  // The length byte takes i_nLength as given (6, 10, 12 or 16 in practice);
  // min(i_nLength, 16) bytes are copied when i_pbyCdb is not null. Then Fixup.
  void SetCDB(const std::uint8_t* i_pbyCdb, std::uint8_t i_nLength);
  void Fixup();

  void SetTimeout(std::uint8_t i_nSeconds);
  void SetFlags(std::uint16_t i_nFlags);  // DDFF_INS_* bits
  void SetScsiParamFlags(std::uint32_t i_nFlags);
  void SetSenseKey(std::uint8_t i_nKey);
  void SetAdditionalSense(std::uint8_t i_nAsc, std::uint8_t i_nAsq);
  // The bytes of the request's data area (the image) this command sends.
  void SetData(std::uint32_t i_nOffset, std::uint32_t i_nSize);
  void SetRepeat(std::uint16_t i_nCount, std::uint16_t i_nDelay);

  const std::uint8_t* GetAsData() const override;
  // Copies the bytes (see C_Instruction), then Fixup.
  void SetAsData(const std::uint8_t* i_pbyData, std::uint32_t i_nSize) override;
  void Dump(std::ostream& io_stream) const override;

 private:
  S_DDFF_Instruction m_record;
};

#endif
