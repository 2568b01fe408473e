#include "tools/C_FlashJob.h"

#include <fmt/core.h>

#include <chrono>

#include "ddff/C_DDFF.h"
#include "tools/N_DriveSense.h"
#include "tools/N_LinuxFlash.h"
#include "tools/N_Messages.h"
#include "tools/N_StandardProgram.h"

namespace {

std::string Address(const void* i_pointer) {
  return std::to_string(reinterpret_cast<unsigned long>(i_pointer));
}

const unsigned SENSE_KEY_ILLEGAL_REQUEST = 0x5;

}  // namespace

C_FlashJob::C_FlashJob(C_Host& io_host, const C_Host::S_Device& i_device,
                       const std::vector<std::uint8_t>& i_image, const std::string& i_expect)
    : m_host(io_host), m_device(i_device), m_image(i_image), m_expect(i_expect) {}

std::uint64_t C_FlashJob::TransferSize() const {
  if (!IsDeferred()) return m_image.size();
  C_DDFF request;
  N_StandardProgram::Add(request, static_cast<std::uint32_t>(m_image.size()));
  request.SetRomImage(m_image.data(), static_cast<std::uint32_t>(m_image.size()));
  // The request travels whole, then its 4-byte status value.
  return request.GetRequestSize() + 4u;
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
  switch (i_verdict) {
    case VERDICT_SUCCESS: return "success";
    case VERDICT_UNCHANGED: return "unchanged";
    case VERDICT_UNEXPECTED: return "unexpected";
    case VERDICT_PENDING: return "pending";
    default: return "failed";
  }
}

bool C_FlashJob::Unverified() const {
  if (m_outcome.verdict == VERDICT_UNEXPECTED) return true;
  // Unchanged is acceptable only when it is what the operator expected.
  return m_outcome.verdict == VERDICT_UNCHANGED && m_expect != m_outcome.newRevision;
}

void C_FlashJob::Run() {
  const auto begin = std::chrono::steady_clock::now();
  std::unique_ptr<C_Host::C_Session> session = m_host.NewSession();
  try {
    m_outcome.oldRevision = m_host.Attribute(m_device, "FirmwareRev", session.get());
    if (IsDeferred()) {
      RunDeferred(*session);
    } else {
      RunDirect(*session);
    }
  } catch (const std::exception& e) {
    m_outcome.verdict = VERDICT_FAILED;
    m_outcome.message = m_device.id + ": flash failed: the module failed: " + e.what();
  }
  m_outcome.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void C_FlashJob::RunDirect(C_Host::C_Session& io_session) {
  if (N_LinuxFlash::WholeImage(m_host, m_device)) {
    // One DOWNLOAD MICROCODE with save of the whole image, then the drive
    // is identified again.
    m_outcome.status = m_host.Call(
        m_device, {"WriteBuffer", "7", Address(m_image.data()), "0", std::to_string(m_image.size())},
        &io_session);
    if (m_outcome.status == 0) m_outcome.status = m_host.Call(m_device, {"Inquiry"}, &io_session);
  } else {
    m_outcome.status = m_host.Call(
        m_device, {"Flash", std::to_string(m_image.size()), Address(m_image.data())}, &io_session);
  }
  if (m_outcome.status == 0) {
    m_outcome.newRevision = m_host.Attribute(m_device, "FirmwareRev", &io_session);
    Judge();
    return;
  }
  m_outcome.verdict = VERDICT_FAILED;
  const std::string detail = N_LinuxFlash::Detail(m_host, m_device);
  m_outcome.hasSense = N_DriveSense::Fetch(m_host, m_device, &io_session, m_outcome.sense);
  // Identify the drive again: the revision it runs now, not the one cached.
  if (m_host.Call(m_device, {"Inquiry"}, &io_session) == 0) {
    m_outcome.newRevision = m_host.Attribute(m_device, "FirmwareRev", &io_session);
  } else {
    m_outcome.newRevision = m_outcome.oldRevision;
  }
  std::string why;
  if (m_outcome.hasSense && m_outcome.sense.key == SENSE_KEY_ILLEGAL_REQUEST) {
    why = "flash refused by drive: " +
          N_Sense::Summary(m_outcome.sense.key, m_outcome.sense.asc, m_outcome.sense.ascq);
  } else {
    why = "flash failed: " + N_Messages::Status(m_outcome.status);
    if (!detail.empty()) why += " (" + detail + ")";
    if (m_outcome.hasSense) {
      why += "; drive reports " +
             N_Sense::Summary(m_outcome.sense.key, m_outcome.sense.asc, m_outcome.sense.ascq);
    }
  }
  const std::string firmware = m_outcome.newRevision == m_outcome.oldRevision
                                   ? "firmware unchanged at " + m_outcome.oldRevision
                                   : "firmware now at " + m_outcome.newRevision;
  m_outcome.message = m_device.id + ": " + why + "; " + firmware;
}

void C_FlashJob::RunDeferred(C_Host::C_Session& io_session) {
  C_DDFF request;
  N_StandardProgram::Add(request, static_cast<std::uint32_t>(m_image.size()));
  m_outcome.status = m_host.Call(
      m_device,
      {"DeferFlash", Address(m_image.data()), std::to_string(m_image.size()), Address(&request)},
      &io_session);
  if (m_outcome.status == 0) {
    m_outcome.verdict = VERDICT_PENDING;
    return;
  }
  m_outcome.verdict = VERDICT_FAILED;
  m_outcome.newRevision = m_outcome.oldRevision;
  m_outcome.message = fmt::format(
      "{}: deferred request not accepted by the controller: {}; firmware "
      "unchanged at {}",
      m_device.id, N_Messages::Status(m_outcome.status), m_outcome.oldRevision);
}

void C_FlashJob::Judge() {
  const std::string& now = m_outcome.newRevision;
  if (!m_expect.empty() && now != m_expect) {
    m_outcome.verdict = VERDICT_UNEXPECTED;
    m_outcome.message =
        fmt::format("{}: revision after the flash is {}, expected {}", m_device.id, now, m_expect);
  } else if (now == m_outcome.oldRevision) {
    m_outcome.verdict = VERDICT_UNCHANGED;
    m_outcome.message =
        fmt::format("{}: {}: the drive took the image but still reports revision {}", m_device.id,
                    N_Messages::FlashUnchanged(), now);
  } else {
    m_outcome.verdict = VERDICT_SUCCESS;
  }
}
