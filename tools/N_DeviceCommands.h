#ifndef VEK_TOOLS_N_DEVICECOMMANDS_H
#define VEK_TOOLS_N_DEVICECOMMANDS_H

#include "tools/C_Host.h"
#include "tools/C_Printer.h"
#include "tools/S_Options.h"

// The commands that look at the tree and call single operations. Each
// returns the exit status; failures that end a command early are thrown as
// C_Failure.
namespace N_DeviceCommands {

// "list": one line per device (path, kind, vendor, product, revision, serial).
int List(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "show DEVICE": every attribute; byte attributes ("$...") as hex, sense
// data decoded.
int Show(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "ops DEVICE": the operation names.
int Ops(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "call DEVICE OPERATION [ARG...]": the status with its meaning and the
// attributes the call changed. 0 only for status 0 (and 2000 from
// "CmprModePage"); 3 otherwise.
int Call(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);

}  // namespace N_DeviceCommands

#endif
