#include "ddff/C_ScsiInstruction.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "ddff/internal/ReportLines.h"
#include "foundation/StringUtil.h"

using namespace DDFF;

namespace {

const std::uint8_t OPCODE_TEST_UNIT_READY = 0x00;
const std::uint8_t OPCODE_REQUEST_SENSE = 0x03;
const std::uint8_t OPCODE_START_STOP_UNIT = 0x1B;
const std::uint8_t OPCODE_WRITE_BUFFER = 0x3B;

// The command's name and, for WRITE BUFFER, its mode, buffer offset and
// length fields; empty for other opcodes.
std::string CommandName(const std::uint8_t* i_cdb) {
  switch (i_cdb[0]) {
    case OPCODE_TEST_UNIT_READY:
      return "TestUnitReady";
    case OPCODE_REQUEST_SENSE:
      return "RequestSense";
    case OPCODE_START_STOP_UNIT:
      return (i_cdb[4] & 1) ? "StartUnit" : "StopUnit";
    case OPCODE_WRITE_BUFFER:
      return stringFormat("WriteBuffer Mode=0x%02x Offset=%u Length=%u", i_cdb[1] & 0x1F,
                          static_cast<unsigned>(i_cdb[3] << 16 | i_cdb[4] << 8 | i_cdb[5]),
                          static_cast<unsigned>(i_cdb[6] << 16 | i_cdb[7] << 8 | i_cdb[8]));
    default:
      return std::string();
  }
}

}  // namespace

C_DDFF::C_ScsiInstruction::C_ScsiInstruction() { Clear(); }

C_DDFF::C_ScsiInstruction::C_ScsiInstruction(const std::uint8_t* i_pbyCdb, std::uint8_t i_nLength) {
  Clear();
  SetCDB(i_pbyCdb, i_nLength);
}

C_DDFF::C_ScsiInstruction::C_ScsiInstruction(const std::uint8_t* i_pbyData) {
  Clear();
  SetAsData(i_pbyData, INSTRUCTION_SIZE);
}

C_DDFF::C_ScsiInstruction::~C_ScsiInstruction() = default;

void C_DDFF::C_ScsiInstruction::Clear() {
  std::memset(&m_record, 0, sizeof m_record);
  m_record.tag = TAG_SCSI;
}

void C_DDFF::C_ScsiInstruction::SetCDB(const std::uint8_t* i_pbyCdb, std::uint8_t i_nLength) {
  m_record.length = i_nLength;
  if (i_pbyCdb) std::memcpy(m_record.bytes, i_pbyCdb, std::min<std::size_t>(i_nLength, sizeof m_record.bytes));
  Fixup();
}

void C_DDFF::C_ScsiInstruction::Fixup() {
  if (m_record.bytes[0] == OPCODE_WRITE_BUFFER)
    m_record.scsiParamFlags |= DDFF_SCSI_DATA_OUT;
  else
    m_record.scsiParamFlags &= ~DDFF_SCSI_DATA_OUT;
}

void C_DDFF::C_ScsiInstruction::SetTimeout(std::uint8_t i_nSeconds) { m_record.timeout = i_nSeconds; }
void C_DDFF::C_ScsiInstruction::SetFlags(std::uint16_t i_nFlags) { m_record.flags = i_nFlags; }
void C_DDFF::C_ScsiInstruction::SetScsiParamFlags(std::uint32_t i_nFlags) { m_record.scsiParamFlags = i_nFlags; }
void C_DDFF::C_ScsiInstruction::SetSenseKey(std::uint8_t i_nKey) { m_record.senseKey = i_nKey; }
void C_DDFF::C_ScsiInstruction::SetAdditionalSense(std::uint8_t i_nAsc, std::uint8_t i_nAsq) {
  m_record.asc = i_nAsc;
  m_record.asq = i_nAsq;
}
void C_DDFF::C_ScsiInstruction::SetData(std::uint32_t i_nOffset, std::uint32_t i_nSize) {
  m_record.dataOffset = i_nOffset;
  m_record.dataSize = i_nSize;
}
void C_DDFF::C_ScsiInstruction::SetRepeat(std::uint16_t i_nCount, std::uint16_t i_nDelay) {
  m_record.repeatCount = i_nCount;
  m_record.repeatDelay = i_nDelay;
}

const std::uint8_t* C_DDFF::C_ScsiInstruction::GetAsData() const {
  return reinterpret_cast<const std::uint8_t*>(&m_record);
}

void C_DDFF::C_ScsiInstruction::SetAsData(const std::uint8_t* i_pbyData, std::uint32_t i_nSize) {
  if (i_pbyData) std::memcpy(&m_record, i_pbyData, std::min<std::size_t>(i_nSize, sizeof m_record));
  Fixup();
}

void C_DDFF::C_ScsiInstruction::Dump(std::ostream& io_stream) const {
  using namespace DDFF::report;
  if (m_record.tag == TAG_SCSI)
    io_stream << "    SCSI: ";
  else
    io_stream << "    <" << Raw(&m_record.tag, 1) << ">";
  // A length byte from a foreign record may exceed the 16 CDB bytes held.
  const std::size_t shown = std::min<std::size_t>(m_record.length, sizeof m_record.bytes);
  io_stream << " [" << Bytes(m_record.bytes, shown) << "] \t" << CommandName(m_record.bytes) << "\n";
  DumpTimeout(io_stream, m_record);
  DumpFlags(io_stream, m_record.flags, "DDFF");
  if (m_record.scsiParamFlags != 0) io_stream << "      SCSI Flags: \t" << Hex(m_record.scsiParamFlags) << "\n";
  DumpData(io_stream, m_record);
  DumpRepeat(io_stream, m_record);
  if (m_record.flags & (DDFF_INS_SENSE_KEY | DDFF_INS_SENSE_ASC | DDFF_INS_SENSE_ASQ)) {
    io_stream << "      Sense : \t";
    const char* separator = "";
    if (m_record.flags & DDFF_INS_SENSE_KEY) {
      io_stream << "Key=" << stringFormat("0x%02x", m_record.senseKey);
      separator = " ";
    }
    if (m_record.flags & DDFF_INS_SENSE_ASC) {
      io_stream << separator << "ASC=" << stringFormat("0x%02x", m_record.asc);
      separator = " ";
    }
    if (m_record.flags & DDFF_INS_SENSE_ASQ) io_stream << separator << "ASQ=" << stringFormat("0x%02x", m_record.asq);
    io_stream << "\n";
  }
}
