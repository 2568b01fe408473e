#include "foundation/C_HexConverter.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::string Dump(const std::vector<unsigned char>& i_bytes) {
  C_HexConverter converter;
  return converter.Convert(i_bytes.data(), static_cast<unsigned>(i_bytes.size()));
}

std::vector<unsigned char> Range(unsigned char i_first, unsigned i_count) {
  std::vector<unsigned char> bytes;
  for (unsigned i = 0; i < i_count; ++i) bytes.push_back(static_cast<unsigned char>(i_first + i));
  return bytes;
}

TEST(C_HexConverterTest, LinesByLength) {
  struct S_Case {
    unsigned length;
    const char* expected;
  } cases[] = {
      {0, ""},
      {8, "00000000: 41 42 43 44 45 46 47 48 : ABCDEFGH\n"},
      {9,
       "00000000: 41 42 43 44 45 46 47 48 : ABCDEFGH\n"
       "00000008: 49                      : I       \n"},
      {17,
       "00000000: 41 42 43 44 45 46 47 48 : ABCDEFGH\n"
       "00000008: 49 4A 4B 4C 4D 4E 4F 50 : IJKLMNOP\n"
       "00000010: 51                      : Q       \n"},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.length);
    EXPECT_EQ(Dump(Range(0x41, c.length)), c.expected);
  }
}

TEST(C_HexConverterTest, NonPrintableBytesShowAsDots) {
  EXPECT_EQ(Dump({0x0A, 0x00, 0x7F, 0x80, 0xFF, 0x20, 0x7E, 0x1F}),
            "00000000: 0A 00 7F 80 FF 20 7E 1F : ..... ~.\n");
}

TEST(C_HexConverterTest, OffsetsPastSixteenBitsAreEightDigits) {
  std::vector<unsigned char> bytes(0x10008, 'a');
  std::string dump = Dump(bytes);
  EXPECT_EQ(dump.substr(dump.size() - 45), "00010000: 61 61 61 61 61 61 61 61 : aaaaaaaa\n");
}

TEST(C_HexConverterTest, HexNibbleUsesTheLowFourBits) {
  const char expected[] = "0123456789ABCDEF";
  for (unsigned value = 0; value < 256; ++value) {
    ASSERT_EQ(C_HexConverter::HexNibble(static_cast<unsigned char>(value)), expected[value & 0x0F])
        << value;
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
      {"past the end", 10, "A.B..C.D|..      "},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    C_HexConverter converter;
    if (c.marker >= 0) converter.SetMarker(static_cast<unsigned>(c.marker));
    std::string dump = converter.Convert(bytes.data(), static_cast<unsigned>(bytes.size()));
    ASSERT_EQ(dump.size(), 90u);
    std::string columns = dump.substr(36, 8) + "|" + dump.substr(45 + 36, 8);
    EXPECT_EQ(columns, c.textColumns);
    // The mark never touches the hex cells.
    EXPECT_EQ(dump.substr(10, 24), "41 01 42 02 03 43 04 44 ");
  }
}

TEST(C_HexConverterTest, MarkerLastsUntilCleared) {
  const unsigned char bytes[] = {0x00, 0x00};
  C_HexConverter converter;
  converter.SetMarker(1);
  EXPECT_EQ(converter.Convert(bytes, 2).substr(36, 2), ".~");
  EXPECT_EQ(converter.Convert(bytes, 2).substr(36, 2), ".~");
  converter.ClearMarker();
  EXPECT_EQ(converter.Convert(bytes, 2).substr(36, 2), "..");
}

TEST(C_HexConverterTest, ConvertReplacesThePreviousResult) {
  C_HexConverter converter;
  const unsigned char nine[9] = {};
  converter.Convert(nine, 9);
  const unsigned char one[1] = {0x41};
  EXPECT_EQ(converter.Convert(one, 1), "00000000: 41                      : A       \n");
  EXPECT_EQ(converter.GetString(), converter.Convert(one, 1));
  EXPECT_EQ(converter.Convert(nullptr, 5), "");
}

}  // namespace
