#ifndef VEK_TOOLS_N_FILECOMMANDS_H
#define VEK_TOOLS_N_FILECOMMANDS_H

#include "tools/C_Printer.h"
#include "tools/S_Options.h"

// The commands on files, which need no driver: deferred-flash request
// files, cloaked files and hex dumps. Files that cannot be read or written
// are exit status 3; a request file that fails the module's checks is 4.
namespace N_FileCommands {

// "ddff build IMAGE -o FILE [--vendor V] [--product P] [--revision R]
// [--serial S] [--flags debug,downgrade,reflash,fast]": a request holding
// IMAGE and the standard instruction program, for the drive named by the
// identity options (the revision is also the one the flash replaces).
int DdffBuild(const S_Options& i_options, C_Printer& io_printer);
// "ddff dump FILE": the module's report of the request.
int DdffDump(const S_Options& i_options, C_Printer& io_printer);
// "ddff verify FILE": 0 for a valid request; 4 with the module's message
// for the first fault otherwise.
int DdffVerify(const S_Options& i_options, C_Printer& io_printer);
// "cloak IN OUT", "uncloak IN OUT": to and from the module's cloaked file
// format; OUT is replaced only once it is complete.
int Cloak(const S_Options& i_options, C_Printer& io_printer);
int Uncloak(const S_Options& i_options, C_Printer& io_printer);
// "hexdump FILE": the module's hex dump of the file.
int Hexdump(const S_Options& i_options, C_Printer& io_printer);

}  // namespace N_FileCommands

#endif
