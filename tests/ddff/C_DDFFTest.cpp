#include "ddff/C_DDFF.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "foundation/StringUtil.h"
#include "support/TestSupport.h"
#include "tests/ddff/Reference.h"

namespace {

using ddfftest::Get32;
using ddfftest::Put32;
using ddfftest::ReferenceCrc;
using ddfftest::Seal;

std::string Image(C_DDFF& io_request) {
  return std::string(reinterpret_cast<const char*>(io_request.GetRequest()), io_request.GetRequestSize());
}

// The message Read throws for an image, or "" when it reads.
std::string ReadMessage(const std::string& i_image) {
  C_DDFF request;
  try {
    request.Read(i_image.data(), i_image.size(), "test.dat");
  } catch (const C_DDFF::C_Exception& e) {
    return e.what();
  }
  return "";
}

std::string Hex(std::uint32_t i_value) { return stringFormat("%#x", i_value); }

// A request with two instructions and a 600-byte image: 204 + 80 + 600 = 884
// bytes, padded to 1024.
struct S_Sample {
  std::vector<std::uint8_t> image;
  C_DDFF request;
  S_Sample() : image(600) {
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<std::uint8_t>(i * 7 + 1);
    const std::uint8_t writeBuffer[10] = {0x3B, 0x05, 0, 0, 0, 0, 0, 0x02, 0x58, 0};
    C_DDFF::C_ScsiInstruction download(writeBuffer, 10);
    download.SetData(0, 600);
    request.AddInstruction(download);
    C_DDFF::C_ControllerInstruction sleep(DDFF::DDFF_CMD_SLEEP);
    sleep.AddWORDParameter(1000);
    request.AddInstruction(sleep);
    request.SetDriveVendorId("ACME");
    request.SetDriveSerialNumber("SN0001");
    request.SetRomImage(image.data(), static_cast<std::uint32_t>(image.size()));
  }
};

// The time stamp of i_time: day, month, year (LE), second, minute, hour, 0.
std::string Stamp(std::time_t i_time) {
  std::tm local;
  localtime_r(&i_time, &local);
  const unsigned year = static_cast<unsigned>(local.tm_year + 1900);
  const int bytes[8] = {local.tm_mday, local.tm_mon + 1, int(year & 0xFF), int(year >> 8),
                        local.tm_sec,  local.tm_min,     local.tm_hour,    0};
  return std::string(bytes, bytes + 8);
}

TEST(C_DDFFTest, ClearedRequestBuildsToOneBlockWithItsDefaults) {
  const std::time_t before = std::time(nullptr);
  C_DDFF request;
  const std::time_t after = std::time(nullptr);
  const std::string image = Image(request);
  ASSERT_EQ(image.size(), 512u);
  const struct { std::size_t offset; std::string bytes; } fields[] = {
      {0, "rBlC"},
      {52, std::string("\0\0\0\0\x01\0\0\0", 8)},  // reserved, status LOADING
      {76, "    "},                                 // old ROM revision
      {92, std::string("\x70\0\0\0", 4)},           // request size 112
      {96, std::string(4, '\0')},                   // flags
      {100, "zqsetup" + std::string(29, ' ')},      // component and its version
      {136, "    0101MOLDUR  " + std::string(20, ' ')},  // ROM, engine, vendor, product, revision
      {172, std::string(20, '\0')},                 // serial: zeros, not spaces
      {204, std::string(308, '\0')},                // padding
  };
  for (const auto& field : fields) {
    EXPECT_EQ(image.substr(field.offset, field.bytes.size()), field.bytes) << field.offset;
  }
  // Offset, value of the 32-bit fields: sizes, offsets and counts.
  const std::uint32_t words[][2] = {{4, 48},  {12, 48},  {16, 44}, {24, 92}, {28, 112}, {36, 0},
                                    {40, 0},  {44, 0},   {48, 44}, {192, 112}, {196, 0}, {200, 40}};
  for (const auto& word : words) EXPECT_EQ(Get32(image, word[0]), word[1]) << "offset " << word[0];
  EXPECT_EQ(Get32(image, 20), ReferenceCrc(image.data() + 48, 44));
  EXPECT_EQ(Get32(image, 32), ReferenceCrc(image.data() + 92, 112));
  EXPECT_EQ(Get32(image, 8), ReferenceCrc(image.data() + 12, 36));
  // Both time stamps: the local time at construction (to the second).
  for (std::size_t offset : {60u, 68u}) {
    const std::string stamp = image.substr(offset, 8);
    EXPECT_TRUE(stamp == Stamp(before) || stamp == Stamp(after)) << "offset " << offset;
  }
}

TEST(C_DDFFTest, LayoutWithInstructionsAndImage) {
  S_Sample sample;
  const std::string image = Image(sample.request);
  ASSERT_EQ(image.size(), 1024u);
  // Request size with the records, data offset and size, record count.
  const std::uint32_t words[][2] = {{28, 112 + 80}, {36, 284}, {40, 600}, {196, 2}};
  for (const auto& word : words) EXPECT_EQ(Get32(image, word[0]), word[1]) << "offset " << word[0];
  EXPECT_EQ(image.substr(204, 40),
            std::string(reinterpret_cast<const char*>(sample.request.GetInstruction(0).GetAsData()), 40));
  EXPECT_EQ(image.substr(284, 600), std::string(sample.image.begin(), sample.image.end()));
  EXPECT_EQ(image.substr(884), std::string(140, '\0'));
  // Its CRCs: pinned by DumpTest's fixture image, which holds records and data.
  EXPECT_EQ(sample.request.FixupHeader(), 884u);

  // A total that is already a multiple of 512 gets no padding: 204 + 40 + 780.
  C_DDFF exact;
  exact.AddInstruction(C_DDFF::C_ControllerInstruction(DDFF::DDFF_CMD_BUS_RESET));
  const std::vector<std::uint8_t> rom(780, 0x5A);
  exact.SetRomImage(rom.data(), 780);
  EXPECT_EQ(exact.GetRequestSize(), 1024u);
  EXPECT_EQ(Image(exact).substr(244), std::string(780, '\x5A'));

  // FixupHeader reads the record size and never writes it: a request reset
  // without Clear keeps 0 there, so its records count for nothing in the
  // sizes, yet each is written 40 bytes wide right after the fixed part.
  C_DDFF reset;
  reset.Reset();
  reset.AddInstruction(C_DDFF::C_ControllerInstruction(DDFF::DDFF_CMD_BUS_RESET));
  const std::vector<std::uint8_t> tail(308, 0x3C);  // 204 + 308: exactly one block
  reset.SetRomImage(tail.data(), 308);
  const std::string bytes = Image(reset);
  ASSERT_EQ(bytes.size(), 512u);
  const std::uint32_t resetWords[][2] = {{28, 112}, {36, 204}, {40, 308}, {196, 1}, {200, 0}};
  for (const auto& word : resetWords) EXPECT_EQ(Get32(bytes, word[0]), word[1]) << "offset " << word[0];
  EXPECT_EQ(bytes.substr(204, 1) + bytes.substr(244), "C" + std::string(268, '\x3C'));

  // Clear drops the instructions, the image and the layout.
  sample.request.Clear();
  EXPECT_EQ(sample.request.GetInstructionCount(), 0u);
  EXPECT_EQ(sample.request.GetRomImage(), nullptr);
  EXPECT_EQ(sample.request.GetRequestSize(), 512u);
  EXPECT_EQ(sample.request.GetDataSize(), 0u);
}

// Texts are cut to their width and padded with blanks; read back without
// the trailing blanks (leading ones kept).
TEST(C_DDFFTest, TextFieldsAreCutToWidthAndReadBackTrimmed) {
  C_DDFF request;
  request.SetComponentName(std::string(40, 'c'), "v1");
  request.SetDriveVendorId("VENDORIDX");
  request.SetDriveProductId("DISK 1");
  request.SetDriveRevision("ZQ1");
  request.SetDriveSerialNumber("  SN 7  ");
  request.SetRomFileVersion("");
  request.SetRomOldRevision("AB12XYZ");
  const std::string image = Image(request);
  EXPECT_EQ(image.substr(100, 36), std::string(32, 'c') + "v1  ");
  EXPECT_EQ(image.substr(144, 8), "VENDORID");
  EXPECT_EQ(image.substr(172, 20), "  SN 7" + std::string(14, ' '));
  EXPECT_EQ(image.substr(76, 4), "AB12");
  EXPECT_EQ((std::vector<std::string>{"VENDORID", "DISK 1", "ZQ1", "  SN 7", "", "AB12"}),
            (std::vector<std::string>{request.GetDriveVendorId(), request.GetDriveProductId(),
                                      request.GetDriveRevision(), request.GetDriveSerialNumber(),
                                      request.GetRomFileVersion(), request.GetRomOldRevision()}));
  request.Clear();
  EXPECT_EQ(request.GetDriveSerialNumber(), "");  // the zero-filled default
}

// Flips one bit in every byte of the image in turn and checks the exact
// complaint: each CRC-covered region names its own CRC, the signature is
// checked before any CRC, a record's tag is checked as the record is made,
// and the padding is covered by nothing.
TEST(C_DDFFTest, EveryChangedByteIsCaughtByItsRegionsCheck) {
  S_Sample sample;
  const std::string image = Image(sample.request);
  ASSERT_EQ(ReadMessage(image), "");
  for (std::size_t at = 0; at < image.size(); ++at) {
    std::string bad = image;
    bad[at] = static_cast<char>(bad[at] ^ 0x80);
    std::string expected;
    if (at < 4)
      expected = "Invalid signature: " + Hex(Get32(bad, 0));
    else if (at < 8)  // header size: not covered, only checked against the length
      expected = Get32(bad, 4) > image.size() ? "Invalid header size: " + Hex(Get32(bad, 4)) : "";
    else if (at < 48)
      expected = "Invalid header CRC: " + Hex(Get32(bad, 8));
    else if (at < 92)
      expected = "Invalid Status CRC: " + Hex(Get32(image, 20));
    else if (at >= 196 && at < 200) {  // instruction count: reads on into the image
      EXPECT_NE(ReadMessage(bad), "") << "byte " << at;
      continue;
    } else if (at == 204 || at == 244)
      expected = "C_Instruction::New: tag == " + Hex(static_cast<std::uint8_t>(bad[at]));
    else if (at < 284)
      expected = "Invalid Request CRC: " + Hex(Get32(image, 32));
    else if (at < 884)
      expected = "Invalid Data CRC: " + Hex(Get32(image, 44));
    ASSERT_EQ(ReadMessage(bad), expected) << "byte " << at;
  }
}

// Cut at every block boundary; faults behind valid CRCs (the image sealed
// again after the change) reach the field checks, in their order.
TEST(C_DDFFTest, TruncationsAndFieldChecksInOrder) {
  S_Sample sample;
  const std::string image = Image(sample.request);
  const std::string dataCrc = "Invalid Data CRC: " + Hex(Get32(image, 44));
  const std::string access = "Cannot access request file: test.dat", status = "Cannot read request status: test.dat";
  const std::pair<std::size_t, std::string> cuts[] = {
      {0, access}, {47, access}, {48, status}, {91, status},
      {92, "Cannot read request: test.dat"}, {203, "Cannot read request: test.dat"},
      {204, "Cannot read instruction[0]"}, {244, "Cannot read instruction[1]"}, {283, "Cannot read instruction[1]"},
      {284, dataCrc} /* no data at all */, {883, dataCrc}, {884, ""} /* the padding is not needed */};
  for (const auto& cut : cuts) {
    EXPECT_EQ(ReadMessage(image.substr(0, cut.first)), cut.second) << "length " << cut.first;
  }

  const struct { std::size_t offset; std::uint32_t value; bool seal; std::size_t length; std::string message; }
  cases[] = {
      {0, 0x436C4273, false, 0, "Invalid signature: 0x436c4273"},  // before any CRC
      {4, 47, false, 0, "Invalid header size: 0x2f"},
      {4, 1025, false, 0, "Invalid header size: 0x401"},
      {4, 1024, false, 600, "Invalid header size: 0x400"},
      {12, 1025, true, 0, status},  // seeking past the end succeeds; the read fails
      {12, 1024, true, 0, status},
      {48, 43, true, 0, "Invalid status size: 0x2b"},
      {24, 2000, true, 0, "Cannot read request: test.dat"},
      {92, 111, true, 0, "Invalid request size: 0x6f"},
      {196, 50, false, 284, "Cannot read instruction[2]"},  // more records than the file holds
      {36, 5000, true, 0, dataCrc},
      {40, 800, true, 0, dataCrc},  // data past the end
  };
  for (const auto& c : cases) {
    std::string bad = image;
    Put32(bad, c.offset, c.value);
    if (c.seal) Seal(bad);
    if (c.length) bad.resize(c.length);
    EXPECT_EQ(ReadMessage(bad), c.message) << c.offset << " = " << c.value << ", length " << c.length;
  }
  // No data, and a data offset past the end of the file: the seek succeeds,
  // nothing is read, and nothing has the data CRC 0.
  C_DDFF request;
  std::string noData = Image(request);
  Put32(noData, 36, 5000);
  Seal(noData);
  C_TempDir dir;
  WriteFileBytes(dir.File("no-data.dat"), noData);
  EXPECT_NO_THROW(request.Read(dir.File("no-data.dat")));
  try {
    request.Read(std::string(VEK_TEST_DATA_DIR) + "/ddff/no-such-file.dat");
    ADD_FAILURE() << "no exception";
  } catch (const C_DDFF::C_Exception& e) {
    EXPECT_STREQ(e.what(), "Cannot open request file.");
  }
}

// (failing - status size) / record size, -1 below the status size or
// without a record size.
TEST(C_DDFFTest, StatusInstructionNumber) {
  const struct { std::uint32_t failing, statusSize, recordSize; std::int64_t expected; } cases[] = {
      {43, 44, 40, -1}, {44, 44, 40, 0}, {83, 44, 40, 0}, {84, 44, 40, 1}, {100, 44, 0, -1},
      {50, 0, 40, 1},  // counted from the status size field, whatever it says
      {0xFFFFFFFF, 44, 1, 0xFFFFFFFFll - 44},
  };
  S_Sample sample;
  const std::string image = Image(sample.request);
  for (const auto& c : cases) {
    // The record size field comes from a read image; a status size below 44
    // would not pass Read, so SetStatus puts that one in.
    std::string changed = image;
    Put32(changed, 80, c.failing);
    Put32(changed, 200, c.recordSize);
    Seal(changed);
    C_DDFF request;
    request.Read(changed.data(), changed.size(), "test.dat");
    request.FixupHeader();  // as Dump does: the record size read stays
    S_DDFF_Status status = request.GetStatus();
    status.statusSize = c.statusSize;
    request.SetStatus(status);
    EXPECT_EQ(request.GetStatusInstructionNumber(), c.expected)
        << c.failing << " " << c.statusSize << " " << c.recordSize;
  }
}

TEST(C_DDFFTest, ExceptionTextIsCutTo255Characters) {
  try {
    C_DDFF::ThrowF("%s:%d", std::string(300, 'x').c_str(), 5);
    ADD_FAILURE() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_EQ(std::string(e.what()), std::string(255, 'x'));
  }
}

}  // namespace
