#ifndef VEK_TOOLS_N_FLASHCOMMAND_H
#define VEK_TOOLS_N_FLASHCOMMAND_H

#include "tools/C_Host.h"
#include "tools/C_Printer.h"
#include "tools/S_Options.h"

// "flash IMAGE DEVICE... | --all [--vendor V] [--product P] [--below REV]"
// with [--skip-current REV] [--jobs N] [--expect REV] [--dry-run] [--yes].
//
// Order: read and check the image (readable, not empty, within each
// selected drive's method), select the drives, print the plan, ask (unless
// --yes; without a terminal on standard input --yes is required), flash up
// to --jobs drives at once with a progress display, then the result table.
// Nothing is sent before the confirmation, and nothing at all with
// --dry-run (with -v the dry run shows the command blocks it would send).
//
// Exit status: 0 when every drive succeeded (or is pending, or stayed at
// the revision --expect names); one drive: 3 when its flash failed, 4 when
// it did not verify (--expect differs, or the revision is unchanged); more
// than one drive: 5 when any of them failed or did not verify.
namespace N_FlashCommand {

int Run(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);

}  // namespace N_FlashCommand

#endif
