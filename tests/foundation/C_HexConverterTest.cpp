#include "foundation/C_HexConverter.h"
#include "foundation/C_vstring.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::string Dump(const std::vector<unsigned char>& i_bytes) {
  C_HexConverter converter;
  return converter.Convert(i_bytes.data(), static_cast<unsigned>(i_bytes.size()));
}

TEST(C_HexConverterTest, LinesByLength) {
  const std::string full = "00000000: 41 42 43 44 45 46 47 48 : ABCDEFGH\n";
  struct S_Case { unsigned length; std::string expected; } cases[] = {
      {0, ""},
      {8, full},
      {9, full + "00000008: 49                      : I       \n"},
      {17, full + "00000008: 49 4A 4B 4C 4D 4E 4F 50 : IJKLMNOP\n00000010: 51                      : Q       \n"},
  };
  for (const S_Case& c : cases) {
    std::vector<unsigned char> bytes;
    for (unsigned i = 0; i < c.length; ++i) bytes.push_back(static_cast<unsigned char>('A' + i));
    EXPECT_EQ(Dump(bytes), c.expected) << c.length;
  }
  EXPECT_EQ(Dump({0x0A, 0x00, 0x7F, 0x80, 0xFF, 0x20, 0x7E, 0x1F}), "00000000: 0A 00 7F 80 FF 20 7E 1F : ..... ~.\n");
  const std::string big = Dump(std::vector<unsigned char>(0x10008, 'a'));
  EXPECT_EQ(big.substr(big.size() - 45), "00010000: 61 61 61 61 61 61 61 61 : aaaaaaaa\n");
  for (unsigned value = 0; value < 256; ++value) {
    ASSERT_EQ(C_HexConverter::HexNibble(static_cast<unsigned char>(value)), "0123456789ABCDEF"[value & 0x0F]);
  }
}

TEST(C_HexConverterTest, MarkerShowsTildeOnTheNextNonPrintableByte) {
  const std::vector<unsigned char> bytes = {'A', 0x01, 'B', 0x02, 0x03, 'C', 0x04, 'D', 0x06, 0x07};
  struct S_Case {
    const char* name;
    int marker;  // -1: none
    const char* textColumns;
  } cases[] = {
      {"no marker", -1, "A.B..C.D|..      "},
      {"on a non-printable byte", 3, "A.B~.C.D|..      "},
      {"on a printable byte: the next non-printable one", 5, "A.B..C~D|..      "},
      {"carried into the next line", 7, "A.B..C.D|~.      "},
  };
  C_HexConverter converter;
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.marker >= 0) converter.SetMarker(static_cast<unsigned>(c.marker));
    std::string dump = converter.Convert(bytes.data(), static_cast<unsigned>(bytes.size()));
    ASSERT_EQ(dump.size(), 90u);
    EXPECT_EQ(dump.substr(36, 8) + "|" + dump.substr(45 + 36, 8), c.textColumns);
    EXPECT_EQ(dump.substr(10, 24), "41 01 42 02 03 43 04 44 ");  // the mark never touches the hex cells
  }
  EXPECT_EQ(converter.Convert(bytes.data(), 10).substr(81, 2), "~.");  // the marker lasts until cleared
  converter.ClearMarker();
  EXPECT_EQ(converter.Convert(bytes.data(), 10).substr(81, 2), "..");
  // Each Convert replaces the last result.
  EXPECT_EQ(converter.Convert(bytes.data(), 1), "00000000: 41                      : A       \n");
  EXPECT_EQ(converter.GetString(), converter.Convert(bytes.data(), 1));
  EXPECT_EQ(converter.Convert(nullptr, 5), "");
}

TEST(C_vstringTest, FormatReplacesAppendFormatAppends) {
  C_vstring text("old");
  EXPECT_EQ(text.Format("%08x|%s|%d", 0x1Au, "ab", -3), "0000001a|ab|-3");
  text.AppendFormat("+%c", 'z').AppendFormat("%s", "");
  EXPECT_EQ(text, "0000001a|ab|-3+z");
}

}  // namespace
