#include "ddff/C_ControllerInstruction.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "ddff/internal/ReportLines.h"

using namespace DDFF;

C_DDFF::C_ControllerInstruction::C_ControllerInstruction() { Clear(); }

C_DDFF::C_ControllerInstruction::C_ControllerInstruction(std::uint8_t i_nCommand) {
  Clear();
  SetCommand(i_nCommand);
}

C_DDFF::C_ControllerInstruction::C_ControllerInstruction(const std::uint8_t* i_pbyData) {
  Clear();
  SetAsData(i_pbyData, INSTRUCTION_SIZE);
}

C_DDFF::C_ControllerInstruction::~C_ControllerInstruction() = default;

void C_DDFF::C_ControllerInstruction::Clear() {
  std::memset(&m_record, 0, sizeof m_record);
  m_record.tag = TAG_CONTROLLER;
  m_record.length = 1;
}

void C_DDFF::C_ControllerInstruction::SetCommand(std::uint8_t i_nCommand) {
  m_record.length = 1;
  m_record.bytes[0] = i_nCommand;
  std::memset(m_record.bytes + 1, 0, sizeof m_record.bytes - 1);
}

void C_DDFF::C_ControllerInstruction::AddParameter(std::uint32_t i_nValue, unsigned i_nWidth) {
  for (unsigned i = 0; i < i_nWidth; ++i) {
    const std::size_t at = static_cast<std::size_t>(m_record.length) + i;
    if (at < sizeof m_record.bytes) m_record.bytes[at] = static_cast<std::uint8_t>(i_nValue >> (8 * i));
  }
  m_record.length = static_cast<std::uint8_t>(m_record.length + i_nWidth);
}

void C_DDFF::C_ControllerInstruction::AddBYTEParameter(std::uint8_t i_nValue) { AddParameter(i_nValue, 1); }
void C_DDFF::C_ControllerInstruction::AddWORDParameter(std::uint16_t i_nValue) { AddParameter(i_nValue, 2); }
void C_DDFF::C_ControllerInstruction::AddDWORDParameter(std::uint32_t i_nValue) { AddParameter(i_nValue, 4); }

void C_DDFF::C_ControllerInstruction::SetTimeout(std::uint8_t i_nSeconds) { m_record.timeout = i_nSeconds; }
void C_DDFF::C_ControllerInstruction::SetFlags(std::uint16_t i_nFlags) { m_record.flags = i_nFlags; }
void C_DDFF::C_ControllerInstruction::SetRepeat(std::uint16_t i_nCount, std::uint16_t i_nDelay) {
  m_record.repeatCount = i_nCount;
  m_record.repeatDelay = i_nDelay;
}

const std::uint8_t* C_DDFF::C_ControllerInstruction::GetAsData() const {
  return reinterpret_cast<const std::uint8_t*>(&m_record);
}

void C_DDFF::C_ControllerInstruction::SetAsData(const std::uint8_t* i_pbyData, std::uint32_t i_nSize) {
  if (i_pbyData) std::memcpy(&m_record, i_pbyData, std::min<std::size_t>(i_nSize, sizeof m_record));
}

void C_DDFF::C_ControllerInstruction::Dump(std::ostream& io_stream) const {
  using namespace DDFF::report;
  if (m_record.tag == TAG_CONTROLLER)
    io_stream << "    CNTL: ";
  else
    io_stream << "    <" << Raw(&m_record.tag, 1) << ">";
  const std::size_t shown = std::min<std::size_t>(m_record.length, sizeof m_record.bytes);
  io_stream << " [" << Bytes(m_record.bytes, shown) << "] \t";
  switch (m_record.bytes[0]) {
    case DDFF_CMD_SLEEP:
      io_stream << "DDFF_CMD_SLEEP \t" << (m_record.bytes[1] | m_record.bytes[2] << 8) << " milliseconds";
      break;
    case DDFF_CMD_DEVICE_RESET:
      io_stream << "DDFF_CMD_DEVICE_RESET";
      break;
    case DDFF_CMD_BUS_RESET:
      io_stream << "DDFF_CMD_BUS_RESET";
      break;
    default:
      io_stream << "Unknown <" << Hex(m_record.bytes[0]) << ">";
      break;
  }
  io_stream << "\n";
  DumpTimeout(io_stream, m_record);
  DumpData(io_stream, m_record);
  DumpRepeat(io_stream, m_record);
  DumpFlags(io_stream, m_record.flags, "DFF");
}
