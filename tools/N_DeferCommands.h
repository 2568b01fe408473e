#ifndef VEK_TOOLS_N_DEFERCOMMANDS_H
#define VEK_TOOLS_N_DEFERCOMMANDS_H

#include "tools/C_Host.h"
#include "tools/C_Printer.h"
#include "tools/S_Options.h"

// The deferred-flash commands. DEVICE must be a deferred-flash drive (one
// with the "DeferFlash" operation): another device is refused with 3.
namespace N_DeferCommands {

// "defer status DEVICE": the request's status as the controller reports it
// (re-read now), the drive's revision, and for a failed request the
// failing instruction, CAM status and sense decoded. 0 whenever the status
// could be read, whatever it says ("result" in --json tells).
int Status(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "defer cancel DEVICE": cancels a pending request; a request in any other
// state is left alone (and said so). 0, or 3 when the controller refused.
int Cancel(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "defer dump DEVICE [--dir DIR]": writes the controller's copy of the
// request to DIR (default ".") and prints the file's path.
int Dump(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);

}  // namespace N_DeferCommands

#endif
