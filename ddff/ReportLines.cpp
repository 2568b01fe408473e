#include "ddff/internal/ReportLines.h"

#include <ostream>

#include "foundation/StringUtil.h"

namespace DDFF {
namespace report {

std::string Hex(std::uint32_t i_value) { return stringFormat("0x%x", i_value); }

std::string Raw(const void* i_pData, std::size_t i_nSize) {
  const char* bytes = static_cast<const char*>(i_pData);
  return std::string(bytes, bytes + i_nSize);
}

std::string Bytes(const std::uint8_t* i_pData, std::size_t i_nSize) {
  std::string text;
  for (std::size_t i = 0; i < i_nSize; ++i) text += stringFormat(i ? " %02x" : "%02x", i_pData[i]);
  return text;
}

void DumpTimeout(std::ostream& io_stream, const S_DDFF_Instruction& i_record) {
  if (i_record.timeout != 0)
    io_stream << "    Timeout: \t" << static_cast<unsigned>(i_record.timeout) << " Seconds\n";
}

void DumpData(std::ostream& io_stream, const S_DDFF_Instruction& i_record) {
  if (i_record.dataOffset != 0 || i_record.dataSize != 0)
    io_stream << "      Data: Offset=" << i_record.dataOffset << "  Size=" << i_record.dataSize << "\n";
}

void DumpRepeat(std::ostream& io_stream, const S_DDFF_Instruction& i_record) {
  if (i_record.repeatCount != 0)
    io_stream << "      Repeat: Count=" << i_record.repeatCount << "  Delay=" << i_record.repeatDelay
              << "\n";
}

void DumpFlags(std::ostream& io_stream, std::uint16_t i_nFlags, const char* i_prefix) {
  static const struct {
    std::uint16_t bit;
    const char* name;
  } FLAGS[] = {{DDFF_INS_IGNORE_ERRORS, "_INS_IGNORE_ERRORS"},
               {DDFF_INS_SENSE_KEY, "_INS_SENSE_KEY"},
               {DDFF_INS_SENSE_ASC, "_INS_SENSE_ASC"},
               {DDFF_INS_SENSE_ASQ, "_INS_SENSE_ASQ"}};
  for (const auto& flag : FLAGS)
    if (i_nFlags & flag.bit) io_stream << "      " << i_prefix << flag.name << "\n";
  if (i_nFlags & ~DDFF_INS_KNOWN) io_stream << "      <Unknown " << Hex(i_nFlags) << ">\n";
}

}  // namespace report
}  // namespace DDFF
