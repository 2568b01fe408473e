#ifndef VEK_TOOLS_N_EXITSTATUS_H
#define VEK_TOOLS_N_EXITSTATUS_H

#include <stdexcept>
#include <string>

// vekctl's exit statuses: the one place where results become process
// statuses (doc/vekctl.md lists them).
namespace N_ExitStatus {

enum E_Status : int {
  SUCCESS = 0,
  // The command line is wrong, or an operator refused or withheld the
  // confirmation. Fix the call; repeating it fails the same way.
  USAGE = 1,
  // A DEVICE named on the command line is not in the tree (or no drive
  // matched the selection). Re-enumerate or fix the name.
  NOT_FOUND = 2,
  // An operation failed: a module status other than success, a file that
  // cannot be read or written, a request that could not be built.
  FAILED = 3,
  // Something was done but does not check out: --expect differs, a flash
  // left the revision unchanged or could not be verified, "ddff verify"
  // found a fault, "defer status --expect" found another revision.
  VERIFY_FAILED = 4,
  // A flash of several drives where at least one did not succeed; the
  // others were flashed (the result table says which).
  FLEET_PARTIAL = 5,
  // The drive is being flashed by another process (its lock is held);
  // nothing was sent. Try again later, or wait for it with --wait.
  DRIVE_LOCKED = 6,
  // SIGINT or SIGTERM stopped a flash; the summary says what state each
  // drive was left in and what to do next.
  INTERRUPTED = 7
};

// One short English sentence for a status ("device not found").
std::string Describe(int i_status);

}  // namespace N_ExitStatus

// A command that cannot go on: the exit status and the one line that says
// what failed and why. Thrown by the commands, printed once by main.
class C_Failure : public std::runtime_error {
 public:
  C_Failure(int i_status, const std::string& i_message)
      : std::runtime_error(i_message), m_status(i_status) {}
  int Status() const { return m_status; }

 private:
  int m_status;
};

#endif
