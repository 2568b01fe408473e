#ifndef VEK_TOOLS_N_DRIVESENSE_H
#define VEK_TOOLS_N_DRIVESENSE_H

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/common/C_ObservingDriver.h"
#include "tools/C_Host.h"
#include "tools/N_Sense.h"

// Why a drive refused a command, in its own words: the module's
// "RequestSense" operation fetches the sense data, which it publishes as
// the byte attribute "$SenseData".
namespace N_DriveSense {

// Asks the drive for its sense data. True with o_sense filled when the
// drive reported a sense key other than NO SENSE; false when the device has
// no "RequestSense", the request failed or there is nothing to report.
bool Fetch(C_Host& io_host, const C_Host::S_Device& i_device, C_Host::C_Session* i_session,
           N_Sense::S_Decoded& o_sense);

// Why a block failed, in an operator's words: the decoded sense (with the
// ATA registers of a failed ATA pass-through block), or the driver's code
// text and, when the driver threw, its message. "" when nothing failed.
std::string FailureText(const C_ObservingDriver::S_Failure& i_failure);

// The "$SenseData" bytes the device holds now (empty when none).
std::vector<std::uint8_t> Current(C_Host& io_host, const C_Host::S_Device& i_device,
                                  C_Host::C_Session* i_session);

}  // namespace N_DriveSense

#endif
