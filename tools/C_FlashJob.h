#ifndef VEK_TOOLS_C_FLASHJOB_H
#define VEK_TOOLS_C_FLASHJOB_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/C_Host.h"

namespace Driver {
struct S_Command;
}

// The flash of one drive: direct ("Flash") for SCSI and ATA drives, a
// deferred request ("DeferFlash" with the standard instruction program) for
// deferred-flash drives, and the verdict on what happened.
//
// The module's status says only whether every segment was taken: "Flash"
// answers 0 once the last one is in, whatever the drive did afterwards. So
// the job also watches its own command blocks (Observe, fed by the host's
// one observer) and judges from what the drive answered: a download the
// drive refused once it was whole, a drive that never became ready, an
// identity that could not be read back. Nothing is reported as success
// that was not seen to succeed.
//
// Verdicts (doc/vekctl.md), with the exit status one drive alone gives:
//   success      a new revision was read back (the one --expect names, when
//                given; with --expect naming the old revision, that one)  0
//   pending      a deferred request was accepted; the controller's agent
//                runs it later ("vekctl defer status")                     0
//   unchanged    the drive took the image but reads back its old revision 4
//   unverified   the outcome could not be read back: no revision after the
//                flash, or none before it to compare with                  4
//   failed       the drive or the driver refused, the drive never became
//                ready (3), or the revision is not --expect's (4)
//   refused      vekctl sent nothing: no known revision, an image for
//                another product, a pending request (3); the drive is
//                being flashed by another process (6)
//   interrupted  a signal stopped the flash; LeftIn says in what state     7
//   skipped      left out of the selection (not an attempt)               0
//
// Threads: Run and Observe are called on the job's own thread with the
// job's own session; Phase may be read from any thread. Everything else
// belongs to the thread that owns the job.
class C_FlashJob {
 public:
  enum E_Verdict {
    VERDICT_SUCCESS,
    VERDICT_PENDING,
    VERDICT_UNCHANGED,
    VERDICT_UNVERIFIED,
    VERDICT_FAILED,
    VERDICT_REFUSED,
    VERDICT_INTERRUPTED,
    VERDICT_SKIPPED,
    VERDICT_COUNT
  };

  // Where an interrupted flash left the drive.
  struct S_LeftIn {
    std::string state;  // "untouched", "incomplete", "downloaded", "reset", "request-incomplete"
    std::string text;   // the state in words
    std::string next;   // what the operator does next
  };

  struct S_Outcome {
    E_Verdict verdict = VERDICT_FAILED;
    int exitStatus = 3;  // the exit status this drive alone gives
    std::string oldRevision;
    std::string newRevision;  // "" while a deferred request is pending, or when unknown
    int status = 0;           // the operation's status
    std::string message;      // one line naming the drive; "" for a plain success
    std::vector<std::uint8_t> sense;  // of the block that failed, when there is one
    S_LeftIn leftIn;                  // interrupted only
    double seconds = 0;
  };

  // What the drive is doing, for the progress display.
  enum E_Phase { PHASE_WAITING, PHASE_SENDING, PHASE_NOT_READY, PHASE_FINISHING, PHASE_DONE };

  // The image is not copied and must outlive the job. i_expect: "" or the
  // revision the drive must report afterwards.
  C_FlashJob(C_Host& io_host, const C_Host::S_Device& i_device,
             const std::vector<std::uint8_t>& i_image, const std::string& i_expect);

  // Deferred-flash drives: the request's size with the standard program
  // (what goes to the controller); direct drives: the image's size.
  std::uint64_t TransferSize() const { return m_transferSize; }
  // The largest image this drive's method takes, and the method's name.
  std::uint64_t Limit() const;
  std::string Method() const;
  bool IsDeferred() const { return m_device.kind == "deferred"; }
  const C_Host::S_Device& Device() const { return m_device; }

  // Settles the job without running it (nothing is sent).
  void Refuse(const std::string& i_message, int i_exitStatus);
  void Skip(const std::string& i_reason);
  // Interrupted before its turn came.
  void NotStarted();
  // Refused or skipped: not to be run.
  bool Settled() const { return m_settled; }

  // Re-identifies the drive (its revision of this moment), flashes and
  // judges. Never throws: the module's exceptions become a failed outcome.
  // i_force: go on when the drive cannot be identified.
  void Run(bool i_force);
  // One of this job's command blocks, completed with i_result.
  void Observe(const Driver::S_Command& i_command, int i_result);
  E_Phase Phase() const { return m_phase; }
  const S_Outcome& Outcome() const { return m_outcome; }

  // "success", "pending", "unchanged", "unverified", "failed", "refused",
  // "interrupted", "skipped".
  static const char* VerdictName(E_Verdict i_verdict);
  // Anything but success and pending (and skipped, which is no attempt).
  bool Failed() const;

  // The most a direct flash sends: WRITE BUFFER's buffer offset is a 24-bit
  // field (the same limit is kept for ATA downloads).
  static constexpr std::uint64_t DIRECT_LIMIT = 1u << 24;
  // What one deferred request may carry: 255 controller requests of 16384
  // bytes (chunk numbers are single bytes).
  static constexpr std::uint64_t DEFERRED_LIMIT = 255u * 16384u;

 private:
  typedef std::chrono::steady_clock T_Clock;

  // What the job saw of its blocks during the flash operation.
  struct S_Watch {
    bool on = false;
    std::uint64_t taken = 0;  // download bytes the drive took
    bool afterDownload = false;
    int firstResultAfter = 0;  // the first block after the download segments
    std::vector<std::uint8_t> firstSenseAfter;
    int busy = 0;        // TEST UNIT READY answered busy
    int lastReady = -1;  // the last TEST UNIT READY's result; -1 none
    T_Clock::time_point firstBusy, lastBusy;
    bool reset = false;  // a reset request was taken
    int identify = -1;   // the last identity block after the download; -1 none
    int notSent = 0;     // blocks the host stopped
  };

  void RunDirect(C_Host::C_Session& io_session);
  void RunDeferred(C_Host::C_Session& io_session);
  void JudgeDirect();
  void FailDirect(C_Host::C_Session& io_session);
  void Interrupted();
  void Settle(E_Verdict i_verdict, int i_exitStatus, const std::string& i_message);

  C_Host& m_host;
  C_Host::S_Device m_device;
  const std::vector<std::uint8_t>& m_image;
  std::string m_expect;
  std::uint64_t m_transferSize;
  bool m_settled;
  std::atomic<E_Phase> m_phase;
  S_Watch m_watch;
  S_Outcome m_outcome;
};

#endif
