#include "ddff/C_DDFF.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

// The report of a request or an instruction.
template <class T>
std::string Report(T&& io_item) {
  std::ostringstream out;
  io_item.Dump(out);
  return out.str();
}

// The lines of the report between the line i_from and the line i_to
// (both excluded).
std::string Between(const std::string& i_report, const std::string& i_from, const std::string& i_to) {
  const std::size_t start = i_report.find(i_from + "\n");
  const std::size_t end = i_report.find(i_to, start);
  if (start == std::string::npos || end == std::string::npos) return "<missing>";
  return i_report.substr(start + i_from.size() + 1, end - start - i_from.size() - 1);
}

// A checked-in image must stay readable, report as recorded and rebuild
// byte for byte: it pins the format and the report against accidental change.
TEST(DumpTest, FixtureReportsAsRecordedAndRebuildsIdentically) {
  const std::string path = std::string(VEK_TEST_DATA_DIR) + "/ddff/request.dat";
  C_DDFF request;
  request.Read(path);
  EXPECT_EQ(Report(request), ReadFileBytes(std::string(VEK_TEST_DATA_DIR) + "/ddff/request-report.txt"));
  const std::string image = ReadFileBytes(path);
  request.SetRomImage(image.data() + request.GetHeader().dataOffset, request.GetDataSize());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(request.GetRequest()), request.GetRequestSize()), image);
}

TEST(DumpTest, BadSignatureGivesOneLine) {
  C_DDFF request;
  std::string image(reinterpret_cast<const char*>(request.GetRequest()), request.GetRequestSize());
  image[0] = 'x';
  EXPECT_THROW(request.Read(image.data(), image.size(), "x"), C_DDFF::C_Exception);
  EXPECT_EQ(Report(request), "Error: Invalid signature: 0x436c4278\n");
}

// The status and request flag lines: one line per named bit, then the whole
// value for bits without a name.
TEST(DumpTest, StatusAndRequestFlagLines) {
  const struct { std::uint32_t status; std::string statusLines; std::uint32_t flags; std::string flagLines; }
  cases[] = {
      {0x00, "    DDFF_STATUS_UNKNOWN\n", 0x0, "    Flags: \t0x0\n"},
      {0x3F,
       "    DDFF_STATUS_LOADING\n    DDFF_STATUS_PENDING\n    DDFF_STATUS_RUNNING\n"
       "    DDFF_STATUS_CANCELLED\n    DDFF_STATUS_SUCCESS\n    DDFF_STATUS_ERROR\n",
       0xF,
       "    Flags: \t0xf\n      DDFF_RQ_DEBUG\n      DDFF_RQ_DOWNGRADE\n      DDFF_RQ_REFLASH\n      DDFF_RQ_FAST\n"},
      {0x40, "    <Unknown :0x40>\n", 0x12, "    Flags: \t0x12\n      DDFF_RQ_DOWNGRADE\n    <Unknown :0x12>\n"},
      {0x50, "    DDFF_STATUS_SUCCESS\n    <Unknown :0x50>\n", 0x10, "    Flags: \t0x10\n    <Unknown :0x10>\n"},
  };
  for (const auto& c : cases) {
    C_DDFF request;
    S_DDFF_Status status = request.GetStatus();
    status.status = c.status;
    request.SetStatus(status);
    request.SetRequestFlags(c.flags);
    const std::string report = Report(request);
    EXPECT_EQ(Between(report, "Status:", "Requested:"), c.statusLines) << c.status;
    EXPECT_EQ(Between(report, "Request:", "    Component: "), c.flagLines) << c.flags;
  }
}

TEST(DumpTest, ErrorDetailsOnlyWithTheErrorBit) {
  C_DDFF request;
  S_DDFF_Status status = request.GetStatus();
  status.status = DDFF::DDFF_STATUS_PENDING | DDFF::DDFF_STATUS_ERROR;
  status.failingInstruction = 20;  // below the status size: no index
  std::memcpy(status.target, "\x01\x02\x03", 3);
  status.camStatus = 0x84;
  status.senseKey = 3;
  status.asc = 0x11;
  status.asq = 0xFF;
  std::memcpy(status.oldRomRevision, "ZQ\0\x7F", 4);  // shown at full width
  request.SetStatus(status);
  const std::string report = Report(request);
  const std::size_t from = report.find("    Old ROM: ");
  EXPECT_EQ(report.substr(from, report.find("Request:") - from),
            std::string("    Old ROM: \tZQ\0\x7F\n", 19) +  // the bytes themselves
            "      Instruction: \t0x14\n"
            "      Target: \t1:2:3\n"
            "      CAM Status: \t0x84\n"
            "      Sense Key: \t0x03\n"
            "      ASC: \t0x11\n"
            "      ASQ: \t0xff\n");

  // Text fields at full width as they lie: a cleared serial is 20 zero bytes.
  EXPECT_EQ(Between(report, "    Revision: \t    ", "    Instructions: "),
            "    Serial: \t" + std::string(20, '\0') + "\n");

  status.status = DDFF::DDFF_STATUS_SUCCESS;
  request.SetStatus(status);
  EXPECT_EQ(Report(request).find("Instruction: "), std::string::npos);
}

// The two kinds spell their flag lines differently; report readers match
// both spellings.
TEST(DumpTest, InstructionFlagLinesPerKind) {
  const struct { std::uint16_t flags; std::string scsi, controller; } cases[] = {
      {0x70, "      DDFF_INS_SENSE_KEY\n      DDFF_INS_SENSE_ASC\n      DDFF_INS_SENSE_ASQ\n",
       "      DFF_INS_SENSE_KEY\n      DFF_INS_SENSE_ASC\n      DFF_INS_SENSE_ASQ\n"},
      {0x8001, "      DDFF_INS_IGNORE_ERRORS\n      <Unknown 0x8001>\n",
       "      DFF_INS_IGNORE_ERRORS\n      <Unknown 0x8001>\n"},
  };
  for (const auto& c : cases) {
    C_DDFF::C_ScsiInstruction scsi;
    scsi.SetFlags(c.flags);
    C_DDFF::C_ControllerInstruction controller(DDFF::DDFF_CMD_BUS_RESET);
    controller.SetFlags(c.flags);
    const std::string scsiReport = Report(scsi);
    EXPECT_EQ(scsiReport.substr(scsiReport.find('\n') + 1, c.scsi.size()), c.scsi) << c.flags;
    EXPECT_EQ(Report(controller), "    CNTL:  [03] \tDDFF_CMD_BUS_RESET\n" + c.controller) << c.flags;
  }
}

TEST(DumpTest, CommandLines) {
  const std::uint8_t stop[6] = {0x1B, 0, 0, 0, 0, 0};
  const std::uint8_t sense[6] = {0x03, 0, 0, 0, 18, 0};
  const std::uint8_t unknown[6] = {0x12, 0, 0, 0, 36, 0};
  const std::uint8_t writeBuffer[10] = {0x3B, 0x07, 0x00, 0x01, 0x00, 0x00, 0x00, 0x80, 0x00, 0x00};
  C_DDFF::C_ControllerInstruction sleep(DDFF::DDFF_CMD_SLEEP);
  sleep.AddWORDParameter(250);
  C_DDFF::C_ControllerInstruction other(0x09);
  other.AddBYTEParameter(0xAB);
  C_DDFF::C_ScsiInstruction foreign;
  std::vector<std::uint8_t> record(foreign.GetAsData(), foreign.GetAsData() + 40);
  record[0] = '\x80';  // shown as the byte itself
  record[23] = 200;  // a length past the 16 CDB bytes shows the 16
  foreign.SetAsData(record.data(), 40);
  const struct { std::string report, expected; } cases[] = {
      {Report(C_DDFF::C_ScsiInstruction(stop, 6)), "    SCSI:  [1b 00 00 00 00 00] \tStopUnit\n"},
      {Report(C_DDFF::C_ScsiInstruction(sense, 6)), "    SCSI:  [03 00 00 00 12 00] \tRequestSense\n"},
      {Report(C_DDFF::C_ScsiInstruction(unknown, 6)), "    SCSI:  [12 00 00 00 24 00] \t\n"},
      {Report(C_DDFF::C_ScsiInstruction(writeBuffer, 10)),
       "    SCSI:  [3b 07 00 01 00 00 00 80 00 00] \tWriteBuffer Mode=0x07 Offset=65536 Length=32768\n"
       "      SCSI Flags: \t0x4\n"},
      {Report(foreign), "    <\x80> [00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00] \tTestUnitReady\n"},
      {Report(sleep), "    CNTL:  [01 fa 00] \tDDFF_CMD_SLEEP \t250 milliseconds\n"},
      {Report(other), "    CNTL:  [09 ab] \tUnknown <0x9>\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.report, c.expected);
}

}  // namespace
