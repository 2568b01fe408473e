#include "drivers/linux/N_LinuxResult.h"

#include <algorithm>

namespace N_LinuxResult {

namespace {

// NOT READY additional sense qualifiers of ASC 04h that mean "wait": the
// unit is becoming ready or an operation is in progress.
const int NOT_READY_WAIT_ASCQ[] = {0x01, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09,
                                   0x0E, 0x13, 0x14, 0x1A, 0x1B};

const char* const SENSE_KEY_NAMES[16] = {
    "NO SENSE",        "RECOVERED ERROR", "NOT READY",      "MEDIUM ERROR",
    "HARDWARE ERROR",  "ILLEGAL REQUEST", "UNIT ATTENTION", "DATA PROTECT",
    "BLANK CHECK",     "VENDOR SPECIFIC", "COPY ABORTED",   "ABORTED COMMAND",
    "sense key 0Ch",   "VOLUME OVERFLOW", "MISCOMPARE",     "COMPLETED"};

}  // namespace

bool SenseCodes(const std::vector<std::uint8_t>& i_sense, int& o_key, int& o_asc, int& o_ascq) {
  o_key = o_asc = o_ascq = 0;
  if (i_sense.empty()) return false;
  const int code = i_sense[0] & 0x7F;
  if (code == 0x70 || code == 0x71) {
    if (i_sense.size() < 3) return false;
    o_key = i_sense[2] & 0x0F;
    if (i_sense.size() > 13) {
      o_asc = i_sense[12];
      o_ascq = i_sense[13];
    }
    return true;
  }
  if (code == 0x72 || code == 0x73) {
    if (i_sense.size() < 2) return false;
    o_key = i_sense[1] & 0x0F;
    if (i_sense.size() > 3) {
      o_asc = i_sense[2];
      o_ascq = i_sense[3];
    }
    return true;
  }
  return false;
}

int Classify(const C_SgTransport::S_Reply& i_reply, bool i_testUnitReady) {
  if (i_reply.osError) return OS_ERROR;
  if (i_reply.hostStatus == HOST_TIME_OUT) return TIMEOUT;
  if (i_reply.hostStatus || i_reply.driverError) return TRANSPORT;
  if (i_reply.status == STATUS_GOOD) return GOOD;
  if (i_reply.status != STATUS_CHECK_CONDITION) return STATUS;
  int key, asc, ascq;
  if (!SenseCodes(i_reply.sense, key, asc, ascq)) return NO_SENSE_DATA;
  if (key == KEY_NO_SENSE || key == KEY_RECOVERED_ERROR) return GOOD;
  if (key == KEY_NOT_READY && i_testUnitReady && asc == 0x04 &&
      std::find(std::begin(NOT_READY_WAIT_ASCQ), std::end(NOT_READY_WAIT_ASCQ), ascq) !=
          std::end(NOT_READY_WAIT_ASCQ)) {
    return BUSY;
  }
  return SENSE_BASE + key;
}

bool IsDriverCode(int i_code) {
  return (i_code > SENSE_BASE && i_code < SENSE_BASE + 16) ||
         (i_code >= NO_SENSE_DATA && i_code <= INVALID_REQUEST &&
          !Describe(i_code).empty());
}

std::string Describe(int i_code) {
  if (i_code > SENSE_BASE && i_code < SENSE_BASE + 16) {
    return std::string(SENSE_KEY_NAMES[i_code - SENSE_BASE]) + " from the drive";
  }
  switch (i_code) {
    case NO_SENSE_DATA: return "CHECK CONDITION without usable sense data";
    case STATUS: return "the drive answered with a SCSI status other than GOOD";
    case TIMEOUT: return "timed out: the kernel aborted the command; its outcome is unknown";
    case TRANSPORT: return "transport error: the path to the drive failed";
    case OS_ERROR: return "SG_IO failed in the kernel";
    case NO_DEVICE: return "the drive's SCSI generic node cannot be opened";
    case IN_USE: return "refused: the drive is in use (mounted or held); nothing was sent";
    case INVALID_REQUEST: return "a request this driver cannot carry; nothing was sent";
    default: return std::string();
  }
}

}  // namespace N_LinuxResult
