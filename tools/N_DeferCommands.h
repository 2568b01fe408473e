#ifndef VEK_TOOLS_N_DEFERCOMMANDS_H
#define VEK_TOOLS_N_DEFERCOMMANDS_H

#include <string>

#include "ddff/DDFFFormat.h"
#include "tools/C_Host.h"
#include "tools/C_Printer.h"
#include "tools/S_Options.h"

// The deferred-flash commands. DEVICE must be a deferred-flash drive (one
// with the "DeferFlash" operation): another device is refused with 3.
namespace N_DeferCommands {

// A deferred-flash drive's status block as its controller holds it now:
// vekctl's one reading of it, through the module's own
// (C_DeferScsiTarget::DoSenseDeferredUpdateStatus). Every field vekctl
// shows or decides on comes from the block.
struct S_Status {
  int code = -1;          // the module's result of the reading; 0: read
  S_DDFF_Status block{};  // zero unless read
  // The controller holds a request (read, and the status size is not 0).
  bool Held() const { return code == 0 && block.statusSize != 0; }
  // The module's "DeferResult" text of the status value ("pending", ...).
  std::string Result() const;
};
S_Status ReadStatus(C_Host& io_host, const C_Host::S_Device& i_device);

// "defer status DEVICE": the request's status as the controller reports it
// now, the drive's revision, and for a failed request the failing
// instruction, CAM status and sense decoded. 0 whenever the status could be
// read and the request did not fail ("result" in --json tells); 3 when it
// cannot be read.
int Status(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "defer cancel DEVICE": cancels a pending request; a request in any other
// state is left alone (and said so). 0, or 3 when the controller refused or
// the status cannot be read before and after.
int Cancel(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "defer dump DEVICE [--dir DIR]": writes the controller's copy of the
// request to DIR (default ".") and prints the file's path.
int Dump(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);

}  // namespace N_DeferCommands

#endif
