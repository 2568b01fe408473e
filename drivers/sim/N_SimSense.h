#ifndef VEK_DRIVERS_SIM_N_SIMSENSE_H
#define VEK_DRIVERS_SIM_N_SIMSENSE_H

#include <cstdint>
#include <vector>

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

// Driver results (0 is success). CHECK_CONDITION: the command failed and its
// sense data waits for REQUEST SENSE (it is also copied into the command's
// sense buffer). TRANSPORT_ERROR: no answer from the drive (power lost, no
// such drive). BUSY: the drive is still busy after a download (the module
// polls for it).
enum E_Result : int { GOOD = 0, CHECK_CONDITION = 1034, TRANSPORT_ERROR = 1035, BUSY = 1036 };

// 18 bytes: response code 0x70, the sense key in byte 2, additional length
// 10, ASC in byte 12, ASCQ in byte 13.
std::vector<std::uint8_t> Fixed(std::uint8_t i_key, std::uint8_t i_asc, std::uint8_t i_ascq);

}  // namespace N_SimSense

#endif
