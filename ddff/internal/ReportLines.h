#ifndef VEK_DDFF_INTERNAL_REPORTLINES_H
#define VEK_DDFF_INTERNAL_REPORTLINES_H

// Pieces of the request report shared by C_DDFF and its instructions. Not
// part of the module's interface.

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "ddff/DDFFFormat.h"

namespace DDFF {
namespace report {

// "0x" and lower-case hexadecimal digits, for every hexadecimal value of the
// report.
std::string Hex(std::uint32_t i_value);
// i_nSize bytes exactly as they lie, zero bytes and bytes above 0x7E
// included: the report shows a field at its full width, byte for byte.
std::string Raw(const void* i_pData, std::size_t i_nSize);
// Two hexadecimal digits per byte, separated by one space.
std::string Bytes(const std::uint8_t* i_pData, std::size_t i_nSize);

// The lines both instruction reports share, each only when its fields are
// not zero.
void DumpTimeout(std::ostream& io_stream, const S_DDFF_Instruction& i_record);
void DumpData(std::ostream& io_stream, const S_DDFF_Instruction& i_record);
void DumpRepeat(std::ostream& io_stream, const S_DDFF_Instruction& i_record);
// One line per instruction flag set, the names prefixed by i_prefix ("DDFF"
// for SCSI records, "DFF" for controller records, as report readers expect),
// then "<Unknown ...>" with the whole value when unknown bits are set.
void DumpFlags(std::ostream& io_stream, std::uint16_t i_nFlags, const char* i_prefix);

}  // namespace report
}  // namespace DDFF

#endif
