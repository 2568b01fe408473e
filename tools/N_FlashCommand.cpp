#include "tools/N_FlashCommand.h"

#include <fmt/core.h>
#include <limits.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <ctime>
#include <iostream>
#include <map>
#include <set>
#include <memory>
#include <stdexcept>
#include <thread>

#include "ddff/C_DeferScsiTarget.h"
#include "device/C_FirmwareRev.h"
#include "drivers/sim/C_SimFirmwareImage.h"
#include "targets/S_Command.h"
#include "tools/C_DriveLock.h"
#include "tools/C_FlashJob.h"
#include "tools/C_Journal.h"
#include "tools/C_Progress.h"
#include "tools/N_DeferCommands.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_FileIo.h"
#include "tools/N_Interrupt.h"
#include "tools/N_LinuxFlash.h"
#include "tools/N_Messages.h"
#include "tools/N_Sense.h"
#include "tools/N_Text.h"
#include "tools/N_Trace.h"

using nlohmann::json;

namespace N_FlashCommand {

namespace {

using N_Text::Trimmed;

const std::size_t DEFAULT_MAX_JOBS = 8;

typedef std::vector<std::unique_ptr<C_FlashJob>> T_Jobs;

// The job running on this thread. Blocks are counted by the thread that
// sends them: a deferred request reaches the driver as its controller's
// blocks, not the drive's.
thread_local C_FlashJob* t_job = nullptr;
thread_local std::size_t t_row = 0;

// What the image says of itself, where its format is one vekctl knows
// (the simulated drives' images, doc/sim-firmware-image.md).
struct S_ImageInfo {
  bool known = false;
  std::string product;
  std::string revision;
};

S_ImageInfo Inspect(const S_Options& i_options, C_Printer& io_printer,
                    const std::vector<std::uint8_t>& i_image) {
  S_ImageInfo info;
  C_SimFirmwareImage image(i_image.data(), i_image.size());
  if (image.CheckHeader("") == C_SimFirmwareImage::FIRMWARE_BAD_MAGIC) return info;
  info.known = true;
  info.product = image.Product();
  info.revision = image.Revision();
  // The product is checked per drive; everything else is the image's own.
  const C_SimFirmwareImage::E_Check check = image.Check(info.product);
  if (check == C_SimFirmwareImage::FIRMWARE_OK) return info;
  std::string why = C_SimFirmwareImage::Describe(check);
  if (check == C_SimFirmwareImage::FIRMWARE_TRUNCATED ||
      check == C_SimFirmwareImage::FIRMWARE_OVERSIZED) {
    why += fmt::format(": its header declares {} bytes, the file has {}", image.DeclaredSize(),
                       i_image.size());
  }
  const std::string problem = fmt::format("{}: not a valid firmware image for {} {}: {}",
                                          i_options.image, info.product, info.revision, why);
  // With --force the drives judge it; they refuse what is not whole.
  if (i_options.force) {
    io_printer.Warning(problem + "; sent anyway (--force)");
    return info;
  }
  throw C_Failure(N_ExitStatus::FAILED, problem + "; nothing was sent (--force sends it anyway)");
}

void CheckUsage(const S_Options& i_options) {
  if (i_options.all && !i_options.devices.empty()) {
    throw C_Failure(N_ExitStatus::USAGE, "flash: name drives or give --all, not both");
  }
  if (!i_options.all && i_options.devices.empty()) {
    throw C_Failure(N_ExitStatus::USAGE, "flash: name the drives to flash, or give --all");
  }
  if (!i_options.all &&
      (!i_options.vendor.empty() || !i_options.product.empty() || !i_options.below.empty())) {
    throw C_Failure(N_ExitStatus::USAGE,
                    "flash: --vendor, --product and --below select from --all");
  }
}

bool Below(const std::string& i_revision, const std::string& i_limit) {
  try {
    return C_FirmwareRev(i_revision) < C_FirmwareRev(i_limit);
  } catch (const std::out_of_range&) {
    return false;  // too short for the maker's scheme: not comparable
  }
}

// The drives the command line names, in its order: named drives, or with
// --all those of the vendor and product asked for.
std::vector<C_Host::S_Device> Select(const S_Options& i_options, C_Host& io_host) {
  std::vector<C_Host::S_Device> selected;
  auto add = [&selected](const C_Host::S_Device& i_device) {
    for (const C_Host::S_Device& known : selected) {
      if (known.handle == i_device.handle) return;
    }
    selected.push_back(i_device);
  };
  if (!i_options.all) {
    for (const std::string& name : i_options.devices) {
      const C_Host::S_Device& device = io_host.Find(name);
      if (!C_Host::IsDrive(device)) {
        throw C_Failure(N_ExitStatus::USAGE,
                        name + ": a " + device.kind + " is not a drive; only drives are flashed");
      }
      add(device);
    }
    return selected;
  }
  for (const C_Host::S_Device& device : io_host.Devices()) {
    if (!C_Host::IsDrive(device)) continue;
    if (!i_options.vendor.empty() &&
        Trimmed(io_host.Attribute(device, "VendorId")) != i_options.vendor)
      continue;
    if (!i_options.product.empty() &&
        Trimmed(io_host.Attribute(device, "ProductId")) != i_options.product)
      continue;
    add(device);
  }
  if (selected.empty())
    throw C_Failure(N_ExitStatus::NOT_FOUND, "flash: no drive matches the selection");
  return selected;
}

// Why this drive is not to be flashed ("" when it is), and whether that is
// a selection (skipped) or a refusal. Nothing has been sent yet.
void Screen(const S_Options& i_options, C_Host& io_host, const S_ImageInfo& i_info,
            C_FlashJob& io_job) {
  const C_Host::S_Device& device = io_job.Device();
  const std::string revision = io_host.Attribute(device, "FirmwareRev");
  const std::string product = Trimmed(io_host.Attribute(device, "ProductId"));
  const std::string problem = io_host.IdentityProblem(device);
  if (!problem.empty()) {
    if (!i_options.force) {
      io_job.Refuse(device.id + ": " + problem +
                        "; nothing was sent (--force flashes a drive with no known revision)",
                    N_ExitStatus::FAILED);
    }
    return;
  }
  if (!i_options.skipCurrent.empty() && revision == i_options.skipCurrent) {
    return io_job.Skip("already at " + revision);
  }
  if (!i_options.below.empty() && !Below(revision, i_options.below)) {
    return io_job.Skip(fmt::format("at {}, not below {}", revision, i_options.below));
  }
  if (i_info.known && product != i_info.product && !i_options.force) {
    const std::string why = fmt::format("the image is for {}, the drive is a {}", i_info.product,
                                        product.empty() ? "drive of unknown product" : product);
    if (i_options.all) return io_job.Skip(why);
    return io_job.Refuse(device.id + ": " + why + "; nothing was sent (--force sends it anyway)",
                         N_ExitStatus::FAILED);
  }
  if (!io_job.IsDeferred() || i_options.replace) return;
  // A status that cannot be read is no refusal: the flash then meets the
  // controller's answer itself.
  const N_DeferCommands::S_Status held = N_DeferCommands::ReadStatus(io_host, device);
  if (held.Held() && held.block.status == DDFF::DDFF_STATUS_PENDING) {
    io_job.Refuse(fmt::format("{}: the controller holds a pending request for it (requested {}); "
                              "nothing was sent (--replace replaces it)",
                              device.id, C_DeferScsiTarget::GetTimeText(held.block.requestTime)),
                  N_ExitStatus::FAILED);
  }
}

// The check before anything is sent: the image fits each drive's method.
void CheckSize(const S_Options& i_options, const C_FlashJob& i_job, std::uint64_t i_imageSize) {
  const std::uint64_t size = i_job.IsDeferred() ? i_job.TransferSize() - 4 : i_imageSize;
  if (size <= i_job.Limit()) return;
  const std::string what =
      i_job.IsDeferred() ? fmt::format("a deferred request of {} bytes (image and program)", size)
                         : fmt::format("{} bytes", size);
  throw C_Failure(
      N_ExitStatus::FAILED,
      fmt::format("{}: {} is more than a {} to {} can carry (at most {} bytes); nothing was sent",
                  i_options.image, what, i_job.Method(), i_job.Device().id, i_job.Limit()));
}

json PlanJson(C_Host& io_host, const C_FlashJob& i_job) {
  return json{{"drive", i_job.Device().id},
              {"path", i_job.Device().path},
              {"serial", Trimmed(io_host.Attribute(i_job.Device(), "SerialNumber"))},
              {"kind", i_job.Device().kind},
              {"method", i_job.Method()},
              {"revision", io_host.Attribute(i_job.Device(), "FirmwareRev")},
              {"transferBytes", i_job.TransferSize()}};
}

// Refusals already printed with the plan are not printed again.
typedef std::set<const C_FlashJob*> T_Told;

void PrintPlan(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host,
               const T_Jobs& i_jobs, std::size_t i_imageSize, const S_ImageInfo& i_info,
               T_Told& io_told) {
  std::string image = fmt::format("Image {}: {} bytes", i_options.image, i_imageSize);
  if (i_info.known) image += fmt::format(", for {}, revision {}", i_info.product, i_info.revision);
  io_printer.Line(image);
  std::vector<std::vector<std::string>> rows;
  for (const auto& job : i_jobs) {
    if (job->Settled()) continue;
    rows.push_back({job->Device().id, job->Device().kind, job->Method(),
                    io_host.Attribute(job->Device(), "FirmwareRev"),
                    fmt::format("{} bytes", job->TransferSize())});
  }
  if (!rows.empty()) io_printer.Table({"DRIVE", "KIND", "METHOD", "REVISION", "SENDS"}, rows);
  // What is left out, before the operator is asked.
  for (const auto& job : i_jobs) {
    if (job->Outcome().verdict == C_FlashJob::VERDICT_SKIPPED) {
      io_printer.Line(job->Outcome().message);
    } else if (job->Settled()) {
      io_printer.Error(job->Outcome().message);
      io_told.insert(job.get());
    }
  }
}

bool Confirm(const S_Options& i_options, C_Printer& io_printer, std::size_t i_count) {
  if (isatty(STDIN_FILENO) != 1) {
    throw C_Failure(
        N_ExitStatus::USAGE,
        "flash: standard input is not a terminal, so there is no one to ask: add --yes to "
        "flash without confirmation; nothing was sent");
  }
  io_printer.RawError(fmt::format("Flash {} to {} drive{}? [y/N] ", i_options.image, i_count,
                                  i_count == 1 ? "" : "s"));
  std::string answer;
  if (!std::getline(std::cin, answer)) return false;
  answer = Trimmed(answer);
  std::transform(answer.begin(), answer.end(), answer.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return answer == "y" || answer == "yes";
}

// -v with --dry-run: each drive's flash against a driver that takes every
// block and sends none, one drive after the other so the traces stay apart.
void DryRunTrace(C_Printer& io_printer, C_Host& io_host, const T_Jobs& i_jobs) {
  io_host.Driver().SetDryRun(true);
  for (const auto& job : i_jobs) {
    if (job->Settled()) continue;
    io_printer.Verbose(
        1, fmt::format("{}: command blocks of the flash (not sent):", job->Device().id));
    job->Run(true);
  }
  io_host.Driver().SetDryRun(false);
}

// Takes each drive's lock before anything is sent, in key order so that two
// processes waiting for each other's drives cannot deadlock. A drive whose
// lock another process holds is refused, or waited for with --wait.
std::vector<std::unique_ptr<C_DriveLock>> TakeLocks(const S_Options& i_options,
                                                    C_Printer& io_printer, C_Host& io_host,
                                                    T_Jobs& io_jobs) {
  std::map<std::string, C_FlashJob*> byKey;
  for (const auto& job : io_jobs) {
    if (!job->Settled()) byKey.emplace(io_host.LockKey(job->Device()), job.get());
  }
  std::vector<std::unique_ptr<C_DriveLock>> locks;
  for (const auto& entry : byKey) {
    C_FlashJob& job = *entry.second;
    std::unique_ptr<C_DriveLock> lock(new C_DriveLock(entry.first));
    if (!lock->TryLock()) {
      const std::string busy =
          fmt::format("{} is being flashed by {}", job.Device().id, lock->Holder());
      if (!i_options.wait) {
        job.Refuse(busy + "; nothing was sent (--wait waits for it)", N_ExitStatus::DRIVE_LOCKED);
        continue;
      }
      io_printer.Warning(busy + "; waiting (--wait)");
      if (!lock->Lock()) {
        job.Refuse(job.Device().id + ": cannot take its lock " + lock->Path() +
                       "; nothing was sent",
                   N_ExitStatus::FAILED);
        continue;
      }
    }
    locks.push_back(std::move(lock));
  }
  return locks;
}

// A phase worth a line of its own: the one that may last minutes.
const char* PhaseText(C_FlashJob::E_Phase i_phase) {
  switch (i_phase) {
    case C_FlashJob::PHASE_NOT_READY: return "waiting for the drive to become ready";
    default: return "";
  }
}

void RunJobs(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host, T_Jobs& io_jobs) {
  std::vector<C_FlashJob*> runnable;
  for (const auto& job : io_jobs) {
    if (!job->Settled()) runnable.push_back(job.get());
  }
  C_Progress progress(io_printer, io_printer.StderrIsTerminal() && io_printer.Verbosity() == 0);
  for (C_FlashJob* job : runnable) progress.Add(job->Device().id, job->TransferSize());
  const C_ObservingDriver::T_Observer trace = N_Trace::Tracer(io_printer, io_host.Driver());
  io_host.Driver().SetObserver(
      [&](const Driver::S_Command& i_command, C_Device* i_device, int i_result) {
        trace(i_command, i_device, i_result);
        if (!t_job) return;
        t_job->Observe(i_command, i_result);
        // Only what the drive took counts as sent.
        if (i_result == 0 && i_command.direction == Driver::DIRECTION_OUT &&
            i_command.dataBuffer) {
          progress.Sent(t_row, i_command.dataLength);
        }
        progress.Phase(t_row, PhaseText(t_job->Phase()));
      });

  std::size_t threads =
      i_options.jobs > 0 ? static_cast<std::size_t>(i_options.jobs) : DEFAULT_MAX_JOBS;
  threads = std::min(threads, runnable.size());
  std::atomic<std::size_t> next(0);
  auto worker = [&]() {
    for (std::size_t index = next++; index < runnable.size(); index = next++) {
      C_FlashJob& job = *runnable[index];
      if (N_Interrupt::Requested()) {
        job.NotStarted();
        continue;
      }
      progress.Begin(index);
      t_job = &job;
      t_row = index;
      job.Run(i_options.force);
      t_job = nullptr;
      progress.Phase(index, "");
      progress.End(index, C_FlashJob::VerdictName(job.Outcome().verdict), !job.Failed());
    }
  };
  progress.Start();
  std::vector<std::thread> pool;
  for (std::size_t i = 0; i < threads; ++i) pool.emplace_back(worker);
  for (std::thread& thread : pool) thread.join();
  progress.Stop();
  io_host.Driver().SetObserver(trace);
}

C_Printer::E_Colour VerdictColour(C_FlashJob::E_Verdict i_verdict) {
  switch (i_verdict) {
    case C_FlashJob::VERDICT_SUCCESS: return C_Printer::GREEN;
    case C_FlashJob::VERDICT_PENDING:
    case C_FlashJob::VERDICT_SKIPPED: return C_Printer::YELLOW;
    default: return C_Printer::RED;
  }
}

json OutcomeJson(C_Host& io_host, const C_FlashJob& i_job) {
  const C_FlashJob::S_Outcome& outcome = i_job.Outcome();
  json entry = PlanJson(io_host, i_job);
  entry.erase("revision");
  entry["oldRevision"] = outcome.oldRevision;
  entry["newRevision"] = outcome.newRevision;
  entry["result"] = C_FlashJob::VerdictName(outcome.verdict);
  entry["failed"] = i_job.Failed();
  entry["status"] = outcome.status;
  entry["meaning"] = N_Messages::Status(outcome.status);
  entry["seconds"] = outcome.seconds;
  if (!outcome.message.empty()) entry["message"] = outcome.message;
  const N_Sense::S_Decoded sense = N_Sense::Decode(outcome.sense);
  if (sense.valid) {
    entry["sense"] = json{{"bytes", N_Sense::Hex(outcome.sense)},
                          {"senseKey", sense.key},
                          {"asc", sense.asc},
                          {"ascq", sense.ascq},
                          {"text", N_Sense::Describe(outcome.sense, i_job.Device().kind == "ATA")}};
  }
  if (!outcome.leftIn.state.empty()) {
    entry["leftIn"] = json{{"state", outcome.leftIn.state},
                           {"text", outcome.leftIn.text},
                           {"next", outcome.leftIn.next}};
  }
  return entry;
}

// The attempts (skipped drives are none) decide: one drive gives its own
// status, several give 0 or 5; an interruption gives 7 whatever else.
int ExitStatus(const T_Jobs& i_jobs) {
  std::vector<const C_FlashJob*> attempts;
  for (const auto& job : i_jobs) {
    if (job->Outcome().verdict == C_FlashJob::VERDICT_INTERRUPTED) return N_ExitStatus::INTERRUPTED;
    if (job->Outcome().verdict != C_FlashJob::VERDICT_SKIPPED) attempts.push_back(job.get());
  }
  if (attempts.size() == 1) return attempts[0]->Outcome().exitStatus;
  const bool failed = std::any_of(attempts.begin(), attempts.end(),
                                  [](const C_FlashJob* i_job) { return i_job->Failed(); });
  return failed ? N_ExitStatus::FLEET_PARTIAL : N_ExitStatus::SUCCESS;
}

std::string UserName() {
  if (const struct passwd* user = getpwuid(geteuid())) return user->pw_name;
  return std::to_string(geteuid());
}

std::string HostName() {
  char name[HOST_NAME_MAX + 1] = {};
  return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

// One journal line per attempt; a journal that cannot be written is warned
// about and changes nothing else: the drives are as the summary says.
void Journal(const S_Options& i_options, C_Printer& io_printer, const json& i_drives,
             const std::string& i_sha256, int i_exitStatus) {
  char time[32];
  const std::time_t now = std::time(nullptr);
  struct tm utc;
  std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&now, &utc));
  std::vector<json> entries;
  for (const json& drive : i_drives) {
    if (drive["result"] == "skipped") continue;
    json entry = {{"time", time},
                  {"user", UserName()},
                  {"host", HostName()},
                  {"pid", static_cast<long>(getpid())},
                  {"driver", i_options.driver},
                  {"image", i_options.image},
                  {"imageSha256", i_sha256},
                  {"exitStatus", i_exitStatus}};
    for (const char* key : {"drive", "path", "serial", "oldRevision", "newRevision", "result",
                            "message", "leftIn"}) {
      if (drive.contains(key)) entry[key] = drive[key];
    }
    entries.push_back(entry);
  }
  if (entries.empty()) return;
  try {
    C_Journal().Append(entries);
  } catch (const std::exception& e) {
    io_printer.Warning(std::string("the flash journal was not written: ") + e.what());
  }
}

// The result table, the failure lines and the document.
int Report(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host,
           const T_Jobs& i_jobs, const T_Told& i_told, json& io_document,
           const std::string& i_sha256) {
  std::vector<std::vector<std::string>> rows;
  json drives = json::array();
  json summary = json::object();
  for (int verdict = 0; verdict < C_FlashJob::VERDICT_COUNT; ++verdict) {
    summary[C_FlashJob::VerdictName(static_cast<C_FlashJob::E_Verdict>(verdict))] = 0;
  }
  for (const auto& job : i_jobs) {
    const C_FlashJob::S_Outcome& outcome = job->Outcome();
    std::string now = outcome.newRevision.empty() ? "?" : outcome.newRevision;
    if (outcome.verdict == C_FlashJob::VERDICT_PENDING) now = "(pending)";
    rows.push_back({job->Device().id, outcome.oldRevision.empty() ? "?" : outcome.oldRevision, now,
                    C_FlashJob::VerdictName(outcome.verdict),
                    fmt::format("{:.1f} s", outcome.seconds)});
    drives.push_back(OutcomeJson(io_host, *job));
    summary[C_FlashJob::VerdictName(outcome.verdict)] =
        summary[C_FlashJob::VerdictName(outcome.verdict)].get<int>() + 1;
  }
  io_printer.Table({"DRIVE", "OLD", "NEW", "RESULT", "TIME"}, rows,
                   [&i_jobs](std::size_t i_row, std::size_t i_column) {
                     return i_column == 3 ? VerdictColour(i_jobs[i_row]->Outcome().verdict)
                                          : C_Printer::PLAIN;
                   });
  for (const auto& job : i_jobs) {
    const C_FlashJob::S_Outcome& outcome = job->Outcome();
    if (i_told.count(job.get())) continue;
    if (job->Failed()) {
      io_printer.Error(outcome.message);
    } else if (!outcome.message.empty() && outcome.verdict != C_FlashJob::VERDICT_SKIPPED) {
      io_printer.Warning(outcome.message);
    }
  }
  const int status = ExitStatus(i_jobs);
  Journal(i_options, io_printer, drives, i_sha256, status);
  io_document["drives"] = drives;
  io_document["summary"] = summary;
  return status;
}

// Nothing to flash: every selected drive was left out. Exit 0 with the
// reason, so a fleet script can run again.
int NothingToDo(C_Printer& io_printer, C_Host& io_host, const T_Jobs& i_jobs,
                json& io_document) {
  std::string reason;
  json drives = json::array();
  for (const auto& job : i_jobs) {
    const std::string& message = job->Outcome().message;
    const std::string prefix = job->Device().id + ": skipped: ";
    reason += (reason.empty() ? "" : "; ") + job->Device().id + " " +
              message.substr(message.compare(0, prefix.size(), prefix) == 0 ? prefix.size() : 0);
    drives.push_back(OutcomeJson(io_host, *job));
  }
  io_printer.Line("Nothing to flash: " + reason);
  io_document["drives"] = drives;
  io_document["reason"] = reason;
  return N_ExitStatus::SUCCESS;
}

}  // namespace

int Run(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  CheckUsage(i_options);
  const std::vector<std::uint8_t> image = N_FileIo::Read(i_options.image);
  if (image.empty()) {
    throw C_Failure(N_ExitStatus::FAILED,
                    i_options.image + ": the image is empty; nothing was sent");
  }
  const S_ImageInfo info = Inspect(i_options, io_printer, image);
  T_Jobs jobs;
  for (const C_Host::S_Device& device : Select(i_options, io_host)) {
    jobs.emplace_back(new C_FlashJob(io_host, device, image, i_options.expect));
    Screen(i_options, io_host, info, *jobs.back());
    if (jobs.back()->Settled()) continue;
    CheckSize(i_options, *jobs.back(), image.size());
    N_LinuxFlash::Check(i_options, io_host, *jobs.back(), image.size());
  }
  json document = {{"image", {{"path", i_options.image}, {"bytes", image.size()}}}};
  if (info.known) {
    document["image"]["product"] = info.product;
    document["image"]["revision"] = info.revision;
  }
  const auto runnable = [&jobs]() {
    return std::count_if(jobs.begin(), jobs.end(), [](const auto& j) { return !j->Settled(); });
  };
  const bool anyRefused = std::any_of(jobs.begin(), jobs.end(), [](const auto& j) {
    return j->Outcome().verdict == C_FlashJob::VERDICT_REFUSED;
  });
  if (runnable() == 0 && !anyRefused) {
    const int status = NothingToDo(io_printer, io_host, jobs, document);
    io_printer.Json(document);
    return status;
  }

  T_Told told;
  PrintPlan(i_options, io_printer, io_host, jobs, image.size(), info, told);
  if (i_options.dryRun) {
    // The plan first: the traced run leaves the devices' idea of the drives
    // (the revision) as a drive that answers nothing made it.
    json plan = json::array();
    json left = json::array();
    for (const auto& job : jobs) {
      if (job->Settled()) {
        left.push_back(OutcomeJson(io_host, *job));
      } else {
        plan.push_back(PlanJson(io_host, *job));
      }
    }
    if (io_printer.Verbosity() >= 1) DryRunTrace(io_printer, io_host, jobs);
    io_printer.Line("Dry run: nothing was sent.");
    document["dryRun"] = true;
    document["plan"] = plan;
    document["drives"] = left;
    io_printer.Json(document);
    return N_ExitStatus::SUCCESS;
  }

  const std::vector<std::unique_ptr<C_DriveLock>> locks =
      TakeLocks(i_options, io_printer, io_host, jobs);
  if (runnable() > 0 && !i_options.yes &&
      !Confirm(i_options, io_printer, static_cast<std::size_t>(runnable()))) {
    throw C_Failure(N_ExitStatus::USAGE, "flash: not confirmed; nothing was sent");
  }
  // From here on a signal stops the flash cleanly rather than the process.
  N_Interrupt::Install();
  io_host.Driver().SetStopFlag(N_Interrupt::Flag());
  int status;
  try {
    RunJobs(i_options, io_printer, io_host, jobs);
    status = Report(i_options, io_printer, io_host, jobs, told, document, N_FileIo::Sha256(image));
  } catch (...) {
    io_host.Driver().SetStopFlag(nullptr);
    N_Interrupt::Restore();
    throw;
  }
  io_host.Driver().SetStopFlag(nullptr);
  N_Interrupt::Restore();
  io_printer.Json(document);
  return status;
}

int History(const S_Options& i_options, C_Printer& io_printer) {
  const C_Journal journal;
  std::size_t damaged = 0;
  const std::vector<json> all = journal.Read(&damaged);
  if (damaged) {
    io_printer.Warning(fmt::format("{}: {} damaged line{} left out", journal.Path(), damaged,
                                   damaged == 1 ? "" : "s"));
  }
  const std::string& name = i_options.device;
  const std::string serial = name.compare(0, 7, "serial:") == 0 ? Trimmed(name.substr(7)) : name;
  json entries = json::array();
  std::vector<std::vector<std::string>> rows;
  for (const json& entry : all) {
    if (!name.empty() && entry.value("drive", "") != name && entry.value("path", "") != name &&
        entry.value("serial", "") != serial)
      continue;
    entries.push_back(entry);
    rows.push_back({entry.value("time", ""), entry.value("user", ""), entry.value("drive", ""),
                    entry.value("serial", ""), entry.value("image", ""),
                    entry.value("oldRevision", ""), entry.value("newRevision", ""),
                    entry.value("result", ""),
                    std::to_string(entry.value("exitStatus", -1))});
  }
  if (rows.empty()) {
    io_printer.Line(name.empty() ? journal.Path() + ": no flash attempts yet"
                                 : journal.Path() + ": no flash attempts on " + name);
  } else {
    io_printer.Table(
        {"TIME", "USER", "DRIVE", "SERIAL", "IMAGE", "OLD", "NEW", "RESULT", "EXIT"}, rows);
  }
  io_printer.Json(json{{"journal", journal.Path()}, {"entries", entries}});
  return N_ExitStatus::SUCCESS;
}

std::string PendingActivation(const std::vector<json>& i_journal, const std::string& i_serial,
                              const std::string& i_revision) {
  if (i_serial.empty()) return std::string();
  for (auto it = i_journal.rbegin(); it != i_journal.rend(); ++it) {
    if (it->value("serial", "") != i_serial) continue;
    const json left = it->value("leftIn", json::object());
    if (left.value("state", "") != "downloaded" || it->value("oldRevision", "") != i_revision)
      return std::string();
    return fmt::format("image downloaded, not activated (interrupted flash of {} at {})",
                       it->value("image", ""), it->value("time", ""));
  }
  return std::string();
}

}  // namespace N_FlashCommand
