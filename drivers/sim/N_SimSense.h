#ifndef VEK_DRIVERS_SIM_N_SIMSENSE_H
#define VEK_DRIVERS_SIM_N_SIMSENSE_H

#include <cstdint>
#include <vector>

#include "drivers/common/N_DriverResult.h"

// Fixed-format sense data (response code 0x70) and the result codes the
// simulated controller's driver answers with.
namespace N_SimSense {

enum E_SenseKey : std::uint8_t {
  NO_SENSE = 0x0,
  NOT_READY = 0x2,
  MEDIUM_ERROR = 0x3,
  HARDWARE_ERROR = 0x4,
  ILLEGAL_REQUEST = 0x5,
  UNIT_ATTENTION = 0x6,
  ABORTED_COMMAND = 0xB
};

// Driver results (0 is success), the codes every vek driver shares
// (drivers/common/N_DriverResult.h). CHECK_CONDITION: the command failed and
// its sense data waits for REQUEST SENSE (it is also copied into the
// command's sense buffer). TRANSPORT_ERROR: no answer from the drive (power
// lost, no such drive). BUSY: the drive is still busy after a download (the
// module polls for it).
enum E_Result : int {
  GOOD = N_DriverResult::GOOD,
  CHECK_CONDITION = N_DriverResult::CHECK_CONDITION,
  TRANSPORT_ERROR = N_DriverResult::NO_ANSWER,
  BUSY = N_DriverResult::BUSY
};

// ATA registers as a SCSI/ATA translation reports them in fixed-format
// sense data: the VALID bit, then the error register in byte 3 and the
// status register in byte 4 (the information field).
void AddAtaRegisters(std::vector<std::uint8_t>& io_sense, std::uint8_t i_error,
                     std::uint8_t i_status);

// 18 bytes: response code 0x70, the sense key in byte 2, additional length
// 10, ASC in byte 12, ASCQ in byte 13.
std::vector<std::uint8_t> Fixed(std::uint8_t i_key, std::uint8_t i_asc, std::uint8_t i_ascq);

}  // namespace N_SimSense

#endif
