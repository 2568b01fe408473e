#ifndef VEK_DRIVERS_COMMON_N_DRIVERRESULT_H
#define VEK_DRIVERS_COMMON_N_DRIVERRESULT_H

#include <cstddef>

#include "Common/Localization/C_Text.h"

// The result codes vek's controller drivers answer ForwardCommand with, in
// one table for every driver, and their texts: facility "vekdriver", one
// catalog per locale in locale/<locale>/vekdriver.msg (beside the module's
// own), found where the module finds its catalogs.
//
// A new driver reuses these codes where they fit and adds its own to the
// enumeration, the table in N_DriverResult.cpp and every catalog (the
// catalog test checks each code has a text in each shipped locale). Codes
// stay clear of the module's own (module/E_Status.h: 1024-1031, 1036 and
// 2000 on).
//
// What a host should do about each, as for the module's codes:
namespace N_DriverResult {

enum E_Result : int {
  GOOD = 0,
  // The drive refused the command (CHECK CONDITION). Its sense data is in
  // the block's sense buffer and waits for REQUEST SENSE. Do not retry:
  // the sense data says what to fix.
  CHECK_CONDITION = 1034,
  // No answer from the drive: transport error, time-out, power lost, no
  // such drive. The command's effect is unknown; re-identify the drive
  // before anything else.
  NO_ANSWER = 1035,
  // TEST UNIT READY while the drive is busy after a download (the module's
  // VEK_STATUS_BUSY, which the flash sequence polls for). Retry later.
  BUSY = 1036,
  // The driver failed while performing the command (it threw; the
  // observing wrapper keeps its message). The command's effect is unknown.
  DRIVER_FAILED = 1037,
  // The host stopped before sending the command (an interrupted flash):
  // nothing was sent. Stop; the host reports where it stopped.
  NOT_SENT = 1038
  // 1100 to 1141: the Linux driver's (drivers/linux/N_LinuxResult.h).
};

constexpr const char* FACILITY_NAME = "vekdriver";
constexpr unsigned short FACILITY_CODE = 0x057;

struct S_Message {
  int code;
  const char* defaultText;  // the English template, the same as en_US/vekdriver.msg
};

// Every code's message, in code order; o_count receives the count.
const S_Message* GetMessages(std::size_t& o_count);
// True for a code of the table.
bool Known(int i_code);
// The text of a code of the table (in the current locale when shown).
// Codes that are not in the table give an empty text.
Local::C_Text Text(int i_code);

}  // namespace N_DriverResult

#endif
