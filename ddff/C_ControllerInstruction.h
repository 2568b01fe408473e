// Defined inside C_DDFF.h, which includes this header after the class;
// including this header alone includes C_DDFF.h (outside the guard, so the
// enclosing class is always complete first).
#include "ddff/C_DDFF.h"

#ifndef VEK_DDFF_C_CONTROLLERINSTRUCTION_H
#define VEK_DDFF_C_CONTROLLERINSTRUCTION_H

// A controller action (tag 'C'): record byte 24 is the command
// (DDFF_CMD_SLEEP, DDFF_CMD_DEVICE_RESET, DDFF_CMD_BUS_RESET), bytes 25 to
// 39 its parameters packed little-endian, and byte 23 the number of bytes
// used from byte 24, the command byte included.
class VEK_API C_DDFF::C_ControllerInstruction : public C_DDFF::C_Instruction {
 public:
  // A cleared record.
  C_ControllerInstruction();
  // A cleared record with this command.
  explicit C_ControllerInstruction(std::uint8_t i_nCommand);
  // The 40 bytes at i_pbyData, as SetAsData.
  explicit C_ControllerInstruction(const std::uint8_t* i_pbyData);
  ~C_ControllerInstruction() override;

  // All 40 bytes zero, tag 'C', parameter length 1.
  void Clear();
  // Parameter length 1, the command byte set, bytes 25 to 39 zeroed.
  void SetCommand(std::uint8_t i_nCommand);
  // Store the value little-endian at byte 24 + parameter length and add its
  // width to the parameter length. Room is not checked: 15 parameter bytes
  // fit and callers keep within that. Bytes that would fall past the record
  // are dropped, never written.
  void AddBYTEParameter(std::uint8_t i_nValue);
  void AddWORDParameter(std::uint16_t i_nValue);
  void AddDWORDParameter(std::uint32_t i_nValue);

  void SetTimeout(std::uint8_t i_nSeconds);
  void SetFlags(std::uint16_t i_nFlags);  // DDFF_INS_* bits
  void SetRepeat(std::uint16_t i_nCount, std::uint16_t i_nDelay);

  const std::uint8_t* GetAsData() const override;
  // Copies the bytes (see C_Instruction), without any fix-up.
  void SetAsData(const std::uint8_t* i_pbyData, std::uint32_t i_nSize) override;
  void Dump(std::ostream& io_stream) const override;

 private:
  void AddParameter(std::uint32_t i_nValue, unsigned i_nWidth);

  S_DDFF_Instruction m_record;
};

#endif
