#ifndef VEK_FOUNDATION_C_HEXCONVERTER_H
#define VEK_FOUNDATION_C_HEXCONVERTER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "foundation/C_vstring.h"
#include "foundation/Export.h"

// Writes bytes as a classic hex dump, eight bytes a line:
//
//   00000008: 41 0A 43                : A.C
//
// the offset of the line's first byte (8 lower-case hex digits), ": ", eight
// cells of two upper-case hex digits and a blank, ": ", eight characters of
// text (the byte when isprint, else '.'), a line feed. A last partial line is
// padded with blanks to the full width. No bytes give an empty string.
//
// The marker: SetMarker(n) raises the line's marker flag when byte n is
// reached; the next byte shown as non-printable (that one or a later one)
// shows '~' instead of '.', which lowers the flag. A caller uses it to point
// at a byte, say the first that differs from what was expected.
//
// One object is used by one thread at a time; the bytes are only read during
// Convert and not kept afterwards.
class VEK_API C_HexConverter {
 public:
  static constexpr unsigned BYTES_PER_LINE = 8;

  // One hex cell: two digits and a blank.
  struct S_HexDigit {
    char digits[3];
    // All three characters blank.
    void Init();
  };

  // One output line as characters 0-35, then the number of bytes placed.
  struct S_HexDump {
    S_HexDigit cells[BYTES_PER_LINE];  // characters 0-23
    char separator[2];                 // ": " at 24-25
    char text[BYTES_PER_LINE];         // 26-33
    char terminator;                   // NUL at 34
    char marker;                       // 35: the marker flag, not printed
    unsigned count;
    // Blank cells and text, ": ", marker cleared, count 0.
    void Reset();
    // The printable line, characters 0-33.
    const char* GetText() const { return cells[0].digits; }
  };

  C_HexConverter();

  // Replaces the string with the dump of i_length bytes at i_data (which may
  // be null when i_length is 0); returns the string.
  const std::string& Convert(const void* i_data, unsigned i_length);
  // The last Convert's result.
  const std::string& GetString() const { return m_text; }

  // Marks byte i_position (counted from the start of the data) for the next
  // conversions, until ClearMarker. A position past the end marks nothing.
  void SetMarker(unsigned i_position);
  void ClearMarker() { m_hasMarker = false; }

  // The low four bits of i_value as one upper-case hex digit.
  static char HexNibble(unsigned char i_value);

 protected:
  // Appends i_line at the current offset and moves the offset on by its count.
  void AddLine(const S_HexDump& i_line);

 private:
  C_vstring m_text;
  const unsigned char* m_data;
  unsigned m_length;
  const unsigned char* m_cursor;
  unsigned m_remaining;
  std::uint32_t m_offset;
  bool m_hasMarker;
  unsigned m_markerPosition;
};

#endif
