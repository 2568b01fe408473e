#include "tools/C_FlashJob.h"

#include <fmt/core.h>

#include "ddff/C_DDFF.h"
#include "drivers/common/N_DriverResult.h"
#include "targets/S_Command.h"
#include "tools/N_DriveSense.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_LinuxFlash.h"
#include "tools/N_Messages.h"
#include "tools/N_Sense.h"
#include "tools/N_StandardProgram.h"
#include "tools/N_Text.h"

namespace {

using N_Text::Address;

const int SENSE_KEY_ILLEGAL_REQUEST = 0x5;

bool IsDownload(const Driver::S_Command& i_command) {
  if (i_command.direction != Driver::DIRECTION_OUT || !i_command.dataLength) return false;
  if (i_command.requestType == Driver::REQUEST_CONTROLLER) return true;  // a deferred request
  if (i_command.requestType != Driver::REQUEST_DEVICE || !i_command.cdb) return false;
  const std::uint8_t opcode = i_command.cdb[0];
  return opcode == 0x3B || (opcode == 0xC6 && i_command.cdbLength > 2 && i_command.cdb[2] == 0x92);
}

bool IsIdentify(const Driver::S_Command& i_command) {
  if (i_command.requestType != Driver::REQUEST_DEVICE || !i_command.cdb) return false;
  const std::uint8_t opcode = i_command.cdb[0];
  // INQUIRY for the standard data, not a VPD page.
  if (opcode == 0x12) return i_command.cdbLength > 1 && !(i_command.cdb[1] & 0x01);
  return opcode == 0xC6 && i_command.cdbLength > 2 && i_command.cdb[2] == 0xEC;
}

std::string OrUnknown(const std::string& i_revision) {
  return i_revision.empty() ? "unknown" : i_revision;
}

}  // namespace

C_FlashJob::C_FlashJob(C_Host& io_host, const C_Host::S_Device& i_device,
                       const std::vector<std::uint8_t>& i_image, const std::string& i_expect)
    : m_host(io_host),
      m_device(i_device),
      m_image(i_image),
      m_expect(i_expect),
      m_transferSize(i_image.size()),
      m_settled(false),
      m_phase(PHASE_WAITING) {
  if (IsDeferred()) {
    C_DDFF request;
    N_StandardProgram::Add(request, static_cast<std::uint32_t>(m_image.size()));
    request.SetRomImage(m_image.data(), static_cast<std::uint32_t>(m_image.size()));
    // The request travels whole, then its 4-byte status value.
    m_transferSize = request.GetRequestSize() + 4u;
  }
}

std::uint64_t C_FlashJob::Limit() const {
  if (IsDeferred()) return DEFERRED_LIMIT;
  return N_LinuxFlash::WholeImage(m_host, m_device) ? N_LinuxFlash::ATA_WHOLE_IMAGE_LIMIT
                                                    : DIRECT_LIMIT;
}

std::string C_FlashJob::Method() const {
  if (IsDeferred()) return "deferred request";
  if (N_LinuxFlash::WholeImage(m_host, m_device)) return "direct (DOWNLOAD MICROCODE, whole image)";
  return m_device.kind == "ATA" ? "direct (DOWNLOAD MICROCODE)" : "direct (WRITE BUFFER)";
}

const char* C_FlashJob::VerdictName(E_Verdict i_verdict) {
  static const char* const names[VERDICT_COUNT] = {"success", "pending",     "unchanged",
                                                   "unverified", "failed", "refused",
                                                   "interrupted", "skipped"};
  return i_verdict < VERDICT_COUNT ? names[i_verdict] : "failed";
}

bool C_FlashJob::Failed() const {
  const E_Verdict verdict = m_outcome.verdict;
  return verdict != VERDICT_SUCCESS && verdict != VERDICT_PENDING && verdict != VERDICT_SKIPPED;
}

void C_FlashJob::Settle(E_Verdict i_verdict, int i_exitStatus, const std::string& i_message) {
  m_outcome.verdict = i_verdict;
  m_outcome.exitStatus = i_exitStatus;
  m_outcome.message = i_message;
}

void C_FlashJob::Refuse(const std::string& i_message, int i_exitStatus) {
  m_settled = true;
  m_outcome.oldRevision = m_host.Attribute(m_device, "FirmwareRev");
  m_outcome.newRevision = m_outcome.oldRevision;
  Settle(VERDICT_REFUSED, i_exitStatus, i_message);
}

void C_FlashJob::Skip(const std::string& i_reason) {
  m_settled = true;
  m_outcome.oldRevision = m_host.Attribute(m_device, "FirmwareRev");
  m_outcome.newRevision = m_outcome.oldRevision;
  Settle(VERDICT_SKIPPED, N_ExitStatus::SUCCESS, m_device.id + ": skipped: " + i_reason);
}

void C_FlashJob::NotStarted() {
  m_settled = true;
  m_outcome.oldRevision = m_host.Attribute(m_device, "FirmwareRev");
  m_outcome.newRevision = m_outcome.oldRevision;
  m_outcome.leftIn = {"untouched", "not started: nothing was sent to it",
                      "run the same flash again"};
  Settle(VERDICT_INTERRUPTED, N_ExitStatus::INTERRUPTED,
         m_device.id + ": interrupted before its turn; nothing was sent");
  m_phase = PHASE_DONE;
}

void C_FlashJob::Observe(const Driver::S_Command& i_command, int i_result) {
  S_Watch& watch = m_watch;
  if (!watch.on) return;
  if (i_result == N_DriverResult::NOT_SENT) {
    ++watch.notSent;
    return;
  }
  if (IsDownload(i_command)) {
    if (i_result == N_DriverResult::GOOD) watch.taken += i_command.dataLength;
    m_phase = PHASE_SENDING;
    return;
  }
  if (watch.taken && !watch.afterDownload) {
    watch.afterDownload = true;
    watch.firstResultAfter = i_result;
    if (i_result != N_DriverResult::GOOD) {
      watch.firstSenseAfter = C_ObservingDriver::SenseBytes(i_command);
    }
  }
  if (i_command.requestType == Driver::REQUEST_DEVICE && i_command.cdb &&
      i_command.cdb[0] == 0x00) {
    watch.lastReady = i_result;
    if (i_result == N_DriverResult::BUSY) {
      watch.lastBusy = T_Clock::now();
      if (watch.busy++ == 0) watch.firstBusy = watch.lastBusy;
      m_phase = PHASE_NOT_READY;
    } else {
      m_phase = PHASE_FINISHING;
    }
  } else if (i_command.requestType == Driver::REQUEST_CONTROL && i_command.cdb &&
             i_command.cdb[0] == Driver::CONTROL_RESET) {
    watch.reset = watch.reset || i_result == N_DriverResult::GOOD;
    m_phase = PHASE_FINISHING;
  } else if (IsIdentify(i_command) && watch.afterDownload) {
    watch.identify = i_result;
  }
}

void C_FlashJob::Run(bool i_force) {
  const auto begin = T_Clock::now();
  std::unique_ptr<C_Host::C_Session> session = m_host.NewSession();
  try {
    // The revision of this moment, under the drive's lock: another process
    // may have flashed it since the tree was read.
    const int identified = m_host.Call(m_device, {"Inquiry"}, session.get());
    if (identified == N_DriverResult::NOT_SENT) return NotStarted();
    m_outcome.oldRevision = m_host.Attribute(m_device, "FirmwareRev", session.get());
    if ((identified != 0 || m_outcome.oldRevision.empty()) && !i_force) {
      std::string why = N_DriveSense::FailureText(m_host.LastFailure(m_device));
      if (why.empty()) why = identified ? N_Messages::Status(identified) : "no revision reported";
      Settle(VERDICT_REFUSED, N_ExitStatus::FAILED,
             m_device.id + ": identity unreadable before the flash: " + why +
                 "; nothing was sent (--force flashes it anyway)");
    } else if (IsDeferred()) {
      RunDeferred(*session);
    } else {
      RunDirect(*session);
    }
  } catch (const std::exception& e) {
    m_watch.on = false;
    Settle(VERDICT_FAILED, N_ExitStatus::FAILED,
           m_device.id + ": flash failed: the module failed: " + e.what());
  }
  m_phase = PHASE_DONE;
  m_outcome.seconds = std::chrono::duration<double>(T_Clock::now() - begin).count();
}

void C_FlashJob::RunDirect(C_Host::C_Session& io_session) {
  m_watch = S_Watch();
  m_watch.on = true;
  m_phase = PHASE_SENDING;
  if (N_LinuxFlash::WholeImage(m_host, m_device)) {
    // One DOWNLOAD MICROCODE with save of the whole image, then the drive
    // is identified again (the watch judges both).
    m_outcome.status = m_host.Call(
        m_device, {"WriteBuffer", "7", Address(m_image.data()), "0", std::to_string(m_image.size())},
        &io_session);
    if (m_outcome.status == 0) m_host.Call(m_device, {"Inquiry"}, &io_session);
  } else {
    m_outcome.status = m_host.Call(
        m_device, {"Flash", std::to_string(m_image.size()), Address(m_image.data())}, &io_session);
  }
  m_watch.on = false;
  if (m_outcome.status == N_DriverResult::NOT_SENT || m_watch.notSent) return Interrupted();
  if (m_outcome.status != 0) return FailDirect(io_session);
  m_outcome.newRevision = m_host.Attribute(m_device, "FirmwareRev", &io_session);
  JudgeDirect();
}

void C_FlashJob::JudgeDirect() {
  const std::string& before = m_outcome.oldRevision;
  const std::string& now = m_outcome.newRevision;
  const std::string& id = m_device.id;
  if (m_watch.afterDownload && m_watch.firstResultAfter != N_DriverResult::GOOD &&
      N_Sense::Decode(m_watch.firstSenseAfter).key == SENSE_KEY_ILLEGAL_REQUEST && now == before) {
    // Every segment was taken, then the drive said the download is no good
    // (a truncated image ends with "command sequence error").
    m_outcome.sense = m_watch.firstSenseAfter;
    return Settle(VERDICT_FAILED, N_ExitStatus::FAILED,
                  fmt::format("{}: the drive refused the download: {}; firmware unchanged at {}",
                              id, N_Sense::Describe(m_watch.firstSenseAfter, false), before));
  }
  if (m_watch.identify != 0 || now.empty()) {
    std::string why = m_watch.identify > 0
                          ? N_DriveSense::FailureText(m_host.LastFailure(m_device))
                          : std::string("it reports no revision");
    return Settle(VERDICT_UNVERIFIED, N_ExitStatus::VERIFY_FAILED,
                  fmt::format("{}: unverified: the drive took the image, but its revision "
                              "cannot be read back ({}); it was {}",
                              id, why, OrUnknown(before)));
  }
  if (m_watch.lastReady == N_DriverResult::BUSY) {
    const double waited =
        std::chrono::duration<double>(m_watch.lastBusy - m_watch.firstBusy).count();
    return Settle(VERDICT_FAILED, N_ExitStatus::FAILED,
                  fmt::format("{}: drive not ready after {:.0f} s: TEST UNIT READY answered busy "
                              "{} times and never ready; it reports revision {} (was {})",
                              id, waited, m_watch.busy, now, OrUnknown(before)));
  }
  if (!m_expect.empty() && now != m_expect) {
    return Settle(VERDICT_FAILED, N_ExitStatus::VERIFY_FAILED,
                  fmt::format("{}: revision after the flash is {}, expected {}", id, now, m_expect));
  }
  if (before.empty() && m_expect.empty()) {
    return Settle(VERDICT_UNVERIFIED, N_ExitStatus::VERIFY_FAILED,
                  fmt::format("{}: unverified: the revision before the flash was unknown; the "
                              "drive now reports {} (--expect says which one is right)",
                              id, now));
  }
  if (now == before) {
    if (m_expect == now) {
      return Settle(VERDICT_SUCCESS, N_ExitStatus::SUCCESS,
                    fmt::format("{}: revision unchanged at {}, as --expect asked", id, now));
    }
    return Settle(VERDICT_UNCHANGED, N_ExitStatus::VERIFY_FAILED,
                  fmt::format("{}: {}: the drive took the image but still reports revision {}", id,
                              N_Messages::FlashUnchanged(), now));
  }
  Settle(VERDICT_SUCCESS, N_ExitStatus::SUCCESS, "");
}

void C_FlashJob::FailDirect(C_Host::C_Session& io_session) {
  const C_ObservingDriver::S_Failure failure = m_host.LastFailure(m_device);
  m_outcome.sense = failure.sense;
  std::string detail = N_DriveSense::FailureText(failure);
  N_Sense::S_Decoded sense = N_Sense::Decode(failure.sense);
  if (failure.sense.empty() && N_DriveSense::Fetch(m_host, m_device, &io_session, sense)) {
    // A driver that keeps no sense with the block: ask the drive.
    m_outcome.sense = N_DriveSense::Current(m_host, m_device, &io_session);
    detail = N_Sense::Describe(m_outcome.sense, false);
  }
  // The driver's own word on the failure, where it keeps one (Linux).
  const std::string linux = N_LinuxFlash::Detail(m_host, m_device);
  std::string why;
  if (sense.valid && sense.key == SENSE_KEY_ILLEGAL_REQUEST) {
    why = "flash refused by drive: " + detail;
  } else {
    why = "flash failed: " + N_Messages::Status(m_outcome.status);
    if (!linux.empty()) why += " (" + linux + ")";
    if (!detail.empty() && detail != N_Messages::Status(m_outcome.status)) {
      why += (sense.valid ? "; drive reports " : ": ") + detail;
    }
  }
  // Identify the drive again: the revision it runs now, not the one cached.
  std::string firmware = "firmware revision unknown (the drive does not identify itself)";
  if (m_host.Call(m_device, {"Inquiry"}, &io_session) == 0) {
    m_outcome.newRevision = m_host.Attribute(m_device, "FirmwareRev", &io_session);
    firmware = m_outcome.newRevision == m_outcome.oldRevision
                   ? "firmware unchanged at " + OrUnknown(m_outcome.oldRevision)
                   : "firmware now at " + OrUnknown(m_outcome.newRevision);
  }
  Settle(VERDICT_FAILED, N_ExitStatus::FAILED, m_device.id + ": " + why + "; " + firmware);
}

void C_FlashJob::Interrupted() {
  const std::string& before = m_outcome.oldRevision;
  S_LeftIn& left = m_outcome.leftIn;
  const std::uint64_t size = IsDeferred() ? m_transferSize : m_image.size();
  if (IsDeferred()) {
    left = {"request-incomplete",
            "the request did not reach the controller whole; the controller does not run it",
            fmt::format("vekctl defer status {} shows it; flash again to send it whole",
                        m_device.id)};
  } else if (m_watch.taken == 0) {
    left = {"untouched", "nothing was downloaded; firmware unchanged at " + OrUnknown(before),
            "run the same flash again"};
  } else if (m_watch.taken < size) {
    left = {"incomplete",
            fmt::format("download incomplete ({} of {} bytes): the drive discards it; firmware "
                        "unchanged at {}",
                        m_watch.taken, size, OrUnknown(before)),
            "run the same flash again"};
  } else if (!m_watch.reset) {
    left = {"downloaded",
            fmt::format("image downloaded, not activated: the drive runs {} until it is reset",
                        OrUnknown(before)),
            fmt::format("run the same flash again (it downloads and activates the image), or "
                        "activate this one: vekctl call {} Reset",
                        m_device.id)};
  } else {
    left = {"reset", "reset after the download; the new revision was not read back",
            "vekctl list shows the revision the drive runs now"};
  }
  Settle(VERDICT_INTERRUPTED, N_ExitStatus::INTERRUPTED,
         m_device.id + ": interrupted: " + left.text + "; next: " + left.next);
}

void C_FlashJob::RunDeferred(C_Host::C_Session& io_session) {
  C_DDFF request;
  N_StandardProgram::Add(request, static_cast<std::uint32_t>(m_image.size()));
  m_watch = S_Watch();
  m_watch.on = true;
  m_phase = PHASE_SENDING;
  m_outcome.status = m_host.Call(
      m_device,
      {"DeferFlash", Address(m_image.data()), std::to_string(m_image.size()), Address(&request)},
      &io_session);
  m_watch.on = false;
  if (m_outcome.status == 0) {
    const std::string check =
        m_expect.empty()
            ? ""
            : fmt::format("{}: --expect {} is checked once the request has run: vekctl defer "
                          "status {} --expect {}",
                          m_device.id, m_expect, m_device.id, m_expect);
    return Settle(VERDICT_PENDING, N_ExitStatus::SUCCESS, check);
  }
  if (m_watch.notSent) return Interrupted();
  m_outcome.newRevision = m_outcome.oldRevision;
  Settle(VERDICT_FAILED, N_ExitStatus::FAILED,
         fmt::format("{}: deferred request not accepted by the controller: {}; firmware "
                     "unchanged at {}",
                     m_device.id, N_Messages::Status(m_outcome.status),
                     OrUnknown(m_outcome.oldRevision)));
}
