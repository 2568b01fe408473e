#ifndef VEK_TOOLS_C_FLASHJOB_H
#define VEK_TOOLS_C_FLASHJOB_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/C_Host.h"
#include "tools/N_Sense.h"

// The flash of one drive: direct ("Flash") for SCSI and ATA drives, a
// deferred request ("DeferFlash" with the standard instruction program) for
// deferred-flash drives, and the verdict on what happened.
//
// Verdicts:
//   success     the flash was taken and the drive reports a new revision
//               (the one --expect names, when given).
//   unchanged   the flash was taken but the revision is what it was before:
//               never reported as success. A failure unless --expect names
//               that very revision.
//   unexpected  the drive reports a revision other than --expect's.
//   pending     a deferred request was accepted by the controller; its agent
//               flashes the drive later ("vekctl defer status").
//   failed      the module's status was not 0: nothing or not all was taken.
//
// Threads: Run is called on a thread of its own with the job's own
// session; the host's other devices may be flashed at the same time.
class C_FlashJob {
 public:
  enum E_Verdict {
    VERDICT_SUCCESS,
    VERDICT_UNCHANGED,
    VERDICT_UNEXPECTED,
    VERDICT_PENDING,
    VERDICT_FAILED
  };

  struct S_Outcome {
    E_Verdict verdict = VERDICT_FAILED;
    std::string oldRevision;
    std::string newRevision;  // "" while a deferred request is pending
    int status = 0;           // the operation's status
    std::string message;      // one line naming the drive, for failures
    bool hasSense = false;
    N_Sense::S_Decoded sense;
    double seconds = 0;
  };

  // The image is not copied and must outlive the job. i_expect: "" or the
  // revision the drive must report afterwards.
  C_FlashJob(C_Host& io_host, const C_Host::S_Device& i_device,
             const std::vector<std::uint8_t>& i_image, const std::string& i_expect);

  // Deferred-flash drives: the request's size with the standard program
  // (what goes to the controller); direct drives: the image's size.
  std::uint64_t TransferSize() const;
  // The largest image this drive's method takes, and the method's name.
  std::uint64_t Limit() const;
  std::string Method() const;
  bool IsDeferred() const { return m_device.kind == "deferred"; }
  const C_Host::S_Device& Device() const { return m_device; }

  // Flashes and judges. Never throws: the module's exceptions become a
  // failed outcome.
  void Run();
  const S_Outcome& Outcome() const { return m_outcome; }

  // "success", "unchanged", "unexpected", "pending", "failed".
  static const char* VerdictName(E_Verdict i_verdict);
  // Verdicts that count against the exit status: the operation failed, or
  // did not verify.
  bool Failed() const { return m_outcome.verdict == VERDICT_FAILED; }
  bool Unverified() const;

  // The most a direct flash sends: WRITE BUFFER's buffer offset is a 24-bit
  // field (the same limit is kept for ATA downloads).
  static constexpr std::uint64_t DIRECT_LIMIT = 1u << 24;
  // What one deferred request may carry: 255 controller requests of 16384
  // bytes (chunk numbers are single bytes).
  static constexpr std::uint64_t DEFERRED_LIMIT = 255u * 16384u;

 private:
  void RunDirect(C_Host::C_Session& io_session);
  void RunDeferred(C_Host::C_Session& io_session);
  void Judge();

  C_Host& m_host;
  C_Host::S_Device m_device;
  const std::vector<std::uint8_t>& m_image;
  std::string m_expect;
  S_Outcome m_outcome;
};

#endif
