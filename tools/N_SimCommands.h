#ifndef VEK_TOOLS_N_SIMCOMMANDS_H
#define VEK_TOOLS_N_SIMCOMMANDS_H

#include "tools/C_Host.h"
#include "tools/C_Printer.h"
#include "tools/S_Options.h"

// The simulated controller's own commands (only with --driver sim). They
// talk to the driver directly and never enumerate the tree, so "sim reset"
// also mends a state file that cannot be read.
namespace N_SimCommands {

// "sim reset": the state returns to the initial fleet (--fleet, or the
// built-in one); stored requests are removed.
int Reset(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "sim restart [CONTROLLER]": restarts one array controller or all of
// them; each one's agent runs the pending deferred requests. 2 for a name
// that is not an array controller.
int Restart(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "sim status": the state file's path and every controller and drive with
// its revision, pending download and stored request.
int Status(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);

}  // namespace N_SimCommands

#endif
