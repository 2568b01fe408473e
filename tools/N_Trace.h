#ifndef VEK_TOOLS_N_TRACE_H
#define VEK_TOOLS_N_TRACE_H

#include <string>

#include "drivers/common/C_ObservingDriver.h"
#include "tools/C_Printer.h"

namespace Driver {
struct S_Command;
}

// The -v trace of command blocks: one line per block (device, request
// type, command block bytes, direction and length, result); from -vv on a
// hex dump of the data (256 bytes at -vv, all at -vvv), and the sense bytes
// of a block that failed, decoded (with the ATA status and error registers
// of a failed ATA pass-through block).
namespace N_Trace {

std::string Describe(const Driver::S_Command& i_command, const std::string& i_device, int i_result,
                     int i_verbosity);

// An observer that writes Describe's text for every block through the
// printer (at -v and above; nothing otherwise). Devices are named by
// i_driver's GetDeviceId. Both must outlive the observer.
C_ObservingDriver::T_Observer Tracer(C_Printer& io_printer, C_Driver& io_driver);

}  // namespace N_Trace

#endif
