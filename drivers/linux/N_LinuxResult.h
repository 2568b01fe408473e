#ifndef VEK_DRIVERS_LINUX_N_LINUXRESULT_H
#define VEK_DRIVERS_LINUX_N_LINUXRESULT_H

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/linux/C_SgTransport.h"

// The Linux driver's result codes: the one table that turns what SG_IO
// answered into the code an operation returns (doc/linux-driver.md). For
// each, what a host should do.
namespace N_LinuxResult {

enum E_Code : int {
  // The command completed (GOOD, or CHECK CONDITION with sense key NO SENSE
  // or RECOVERED ERROR: done, with a note).
  GOOD = 0,
  // TEST UNIT READY only: NOT READY while the drive becomes ready or runs
  // an operation ("in progress"). Retry after a short wait; the flash
  // sequence polls for it.
  BUSY = 1036,
  // CHECK CONDITION: SENSE_BASE + the sense key (1102 NOT READY, 1103
  // MEDIUM ERROR, 1104 HARDWARE ERROR, 1105 ILLEGAL REQUEST, 1106 UNIT
  // ATTENTION twice in a row, 1107 DATA PROTECT, 1111 ABORTED COMMAND, ...).
  // The sense bytes are kept for the next REQUEST SENSE. ILLEGAL REQUEST
  // and DATA PROTECT: stop, the drive will refuse again; the others: the
  // drive's state decides, read the sense.
  SENSE_BASE = 1100,
  // CHECK CONDITION without usable sense data. Stop and look at the drive.
  NO_SENSE_DATA = 1120,
  // Another SCSI status (BUSY, RESERVATION CONFLICT, TASK SET FULL, ...).
  // Retry later; a reservation conflict needs its holder to let go.
  STATUS = 1121,
  // The kernel timed the command out and aborted it: its outcome is
  // unknown. Never count it as done; check the drive before going on.
  TIMEOUT = 1130,
  // The path to the drive failed (host adapter, link, device gone). The
  // outcome is unknown; re-enumerate and check the drive.
  TRANSPORT = 1131,
  // SG_IO itself failed (errno): the command was not sent or its fate is
  // unknown. Permission denied and no such device are the usual causes.
  OS_ERROR = 1132,
  // The node of the drive cannot be opened (missing, permission denied).
  // Nothing was sent. Fix access, or re-enumerate.
  NO_DEVICE = 1133,
  // The drive is mounted, holds a mounted partition or active swap, or is
  // held by md, LVM or device-mapper, and the command would change it.
  // Nothing was sent. Release it, or force (the operator's choice).
  IN_USE = 1140,
  // A command record this driver cannot carry (unknown request type or
  // control block, an ATA block that does not translate). Nothing was
  // sent. Stop: the caller built a wrong request.
  INVALID_REQUEST = 1141
};

// SCSI status bytes and sense keys the table reads.
const int STATUS_GOOD = 0x00;
const int STATUS_CHECK_CONDITION = 0x02;
const int KEY_NO_SENSE = 0x0;
const int KEY_RECOVERED_ERROR = 0x1;
const int KEY_NOT_READY = 0x2;
const int KEY_UNIT_ATTENTION = 0x6;
const int HOST_TIME_OUT = 0x03;

// Sense key, ASC and ASCQ of fixed (0x70, 0x71) or descriptor (0x72,
// 0x73) sense data; false when the bytes are neither or too short for the
// key. o_asc and o_ascq are 0 when the data ends before them.
bool SenseCodes(const std::vector<std::uint8_t>& i_sense, int& o_key, int& o_asc, int& o_ascq);

// The code for one reply. i_testUnitReady: the command was TEST UNIT
// READY, the only one whose NOT READY "in progress" answers BUSY.
int Classify(const C_SgTransport::S_Reply& i_reply, bool i_testUnitReady);

// True for the codes of this table other than GOOD and BUSY.
bool IsDriverCode(int i_code);
// One English line for a code of this table ("ILLEGAL REQUEST from the
// drive", "timed out"), "" for other codes.
std::string Describe(int i_code);

}  // namespace N_LinuxResult

#endif
