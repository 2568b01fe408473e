#ifndef VEK_TOOLS_N_FLASHCOMMAND_H
#define VEK_TOOLS_N_FLASHCOMMAND_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/C_Host.h"
#include "tools/C_Printer.h"
#include "tools/S_Options.h"

// "flash IMAGE DEVICE... | --all [--vendor V] [--product P] [--below REV]"
// with [--skip-current REV] [--jobs N] [--expect REV] [--force] [--wait]
// [--replace] [--dry-run] [--yes], and "history [DEVICE]".
//
// Order: read and check the image (readable, not empty, whole where its
// format is known, within each selected drive's method), select the drives
// and screen them (left out: already current, not below --below, made for
// another product under --all; refused: no known revision, another
// product, a pending deferred request), print the plan, take each drive's
// lock (C_DriveLock), ask (unless --yes; without a terminal on standard
// input --yes is required), flash up to --jobs drives at once with a
// progress display, then the result table, one journal line per attempt
// (C_Journal) and the exit status. Nothing is sent before the
// confirmation, and nothing at all with --dry-run (with -v the dry run
// shows the command blocks it would send). SIGINT and SIGTERM stop the
// flash cleanly (N_Interrupt).
//
// Exit status: 0 when every drive succeeded or is pending, and when nothing
// was left to flash; one drive: its verdict's status (C_FlashJob); more than
// one: 5 when any of them did not succeed; 7 after an interruption.
namespace N_FlashCommand {

int Run(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host);
// "history [DEVICE]": the journal's lines, all or one drive's.
int History(const S_Options& i_options, C_Printer& io_printer);

// Where the journal's last attempt on the drive with this serial left it,
// when that was an interruption after a whole download and the drive still
// reports the revision it had ("" otherwise): the words for "list" and
// "show".
std::string PendingActivation(const std::vector<nlohmann::json>& i_journal,
                              const std::string& i_serial, const std::string& i_revision);

}  // namespace N_FlashCommand

#endif
