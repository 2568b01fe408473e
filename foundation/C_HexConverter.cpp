#include "foundation/C_HexConverter.h"

#include <cctype>
#include <cstring>
#include <type_traits>

// GetText prints the line straight from the record, so its characters must
// lie back to back in the documented order.
static_assert(std::is_standard_layout<C_HexConverter::S_HexDump>::value, "line layout");
static_assert(sizeof(C_HexConverter::S_HexDigit) == 3, "cell width");
static_assert(offsetof(C_HexConverter::S_HexDump, separator) == 24, "separator position");
static_assert(offsetof(C_HexConverter::S_HexDump, text) == 26, "text column position");
static_assert(offsetof(C_HexConverter::S_HexDump, terminator) == 34, "terminator position");
static_assert(offsetof(C_HexConverter::S_HexDump, marker) == 35, "marker position");

void C_HexConverter::S_HexDigit::Init() { std::memset(digits, ' ', sizeof digits); }

void C_HexConverter::S_HexDump::Reset() {
  for (S_HexDigit& cell : cells) cell.Init();
  separator[0] = ':';
  separator[1] = ' ';
  std::memset(text, ' ', sizeof text);
  terminator = '\0';
  marker = 0;
  count = 0;
}

C_HexConverter::C_HexConverter()
    : m_data(nullptr),
      m_length(0),
      m_cursor(nullptr),
      m_remaining(0),
      m_offset(0),
      m_hasMarker(false),
      m_markerPosition(0) {}

void C_HexConverter::SetMarker(unsigned i_position) {
  m_hasMarker = true;
  m_markerPosition = i_position;
}

char C_HexConverter::HexNibble(unsigned char i_value) {
  return "0123456789ABCDEF"[i_value & 0x0F];
}

const std::string& C_HexConverter::Convert(const void* i_data, unsigned i_length) {
  m_text.clear();
  m_data = static_cast<const unsigned char*>(i_data);
  m_length = i_data ? i_length : 0;
  m_cursor = m_data;
  m_remaining = m_length;
  m_offset = 0;

  S_HexDump line;
  line.Reset();
  for (; m_remaining != 0; ++m_cursor, --m_remaining) {
    unsigned char byte = *m_cursor;
    if (m_hasMarker && m_markerPosition == static_cast<unsigned>(m_cursor - m_data)) {
      line.marker = 1;
    }
    S_HexDigit& cell = line.cells[line.count];
    cell.digits[0] = HexNibble(byte >> 4);
    cell.digits[1] = HexNibble(byte & 0x0F);
    if (std::isprint(byte)) {
      line.text[line.count] = static_cast<char>(byte);
    } else if (line.marker) {
      line.text[line.count] = '~';
      line.marker = 0;
    } else {
      line.text[line.count] = '.';
    }
    if (++line.count == BYTES_PER_LINE) {
      AddLine(line);
      // Not a full Reset: a raised marker still waits for its byte.
      char marker = line.marker;
      line.Reset();
      line.marker = marker;
    }
  }
  if (line.count != 0) AddLine(line);
  return m_text;
}

void C_HexConverter::AddLine(const S_HexDump& i_line) {
  m_text.AppendFormat("%08x: %s\n", m_offset, i_line.GetText());
  m_offset += i_line.count;
}
