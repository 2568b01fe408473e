#include "tools/N_ExitStatus.h"

namespace N_ExitStatus {

std::string Describe(int i_status) {
  switch (i_status) {
    case SUCCESS: return "success";
    case USAGE: return "usage error";
    case NOT_FOUND: return "device not found";
    case FAILED: return "an operation failed";
    case VERIFY_FAILED: return "verification failed";
    case FLEET_PARTIAL: return "some drives of a fleet flash failed";
    case DRIVE_LOCKED: return "the drive is being flashed by another process";
    case INTERRUPTED: return "interrupted";
    default: return "unknown exit status " + std::to_string(i_status);
  }
}

}  // namespace N_ExitStatus
