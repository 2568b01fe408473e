#ifndef VEK_TOOLS_N_INTERRUPT_H
#define VEK_TOOLS_N_INTERRUPT_H

#include <atomic>

// SIGINT and SIGTERM while drives are being flashed. A firmware download
// cut in the middle of a command block can leave a drive in any state, so
// while the handlers are installed a signal does not end the process: it
// raises a flag (Flag), the command block in flight completes, nothing more
// is sent (the observing driver answers every later block as not sent),
// and vekctl reports what state each drive was left in. The first signal
// says so on standard error; later ones say that the download is being
// wound down.
//
// The handlers restart interrupted system calls (SA_RESTART), so the block
// in flight is not cut short by a failing read or write of the driver's.
// Outside Install and Restore the default actions apply: vekctl installs
// them once the operator has confirmed, and a signal before that (at the
// prompt, waiting for a drive's lock) ends the process with nothing sent.
namespace N_Interrupt {

void Install();
void Restore();
// True once a signal arrived after Install.
bool Requested();
// The flag itself, for C_ObservingDriver::SetStopFlag.
const std::atomic<bool>* Flag();

}  // namespace N_Interrupt

#endif
