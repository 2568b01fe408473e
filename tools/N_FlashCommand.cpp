#include "tools/N_FlashCommand.h"

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "device/C_FirmwareRev.h"
#include "targets/S_Command.h"
#include "tools/C_FlashJob.h"
#include "tools/C_Progress.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_FileIo.h"
#include "tools/N_Messages.h"
#include "tools/N_Trace.h"

using nlohmann::json;

namespace N_FlashCommand {

namespace {

const std::size_t DEFAULT_MAX_JOBS = 8;

typedef std::vector<std::unique_ptr<C_FlashJob>> T_Jobs;

// The progress row of the job running on this thread. Blocks are counted
// by the thread that sends them: a deferred request reaches the driver as
// its controller's blocks, not the drive's.
const std::size_t NO_ROW = static_cast<std::size_t>(-1);
thread_local std::size_t t_row = NO_ROW;

std::string Trimmed(const std::string& i_text) {
  const auto first = i_text.find_first_not_of(' ');
  if (first == std::string::npos) return std::string();
  return i_text.substr(first, i_text.find_last_not_of(' ') - first + 1);
}

bool IsDrive(const C_Host::S_Device& i_device) {
  return i_device.kind == "SCSI" || i_device.kind == "ATA" || i_device.kind == "deferred";
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

// The drives the command line names, in its order, before --skip-current.
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
      if (!IsDrive(device)) {
        throw C_Failure(N_ExitStatus::USAGE,
                        name + ": a " + device.kind + " is not a drive; only drives are flashed");
      }
      add(device);
    }
    return selected;
  }
  for (const C_Host::S_Device& device : io_host.Devices()) {
    if (!IsDrive(device)) continue;
    if (!i_options.vendor.empty() &&
        Trimmed(io_host.Attribute(device, "VendorId")) != i_options.vendor)
      continue;
    if (!i_options.product.empty() &&
        Trimmed(io_host.Attribute(device, "ProductId")) != i_options.product)
      continue;
    if (!i_options.below.empty() &&
        !Below(io_host.Attribute(device, "FirmwareRev"), i_options.below))
      continue;
    add(device);
  }
  if (selected.empty())
    throw C_Failure(N_ExitStatus::NOT_FOUND, "flash: no drive matches the selection");
  return selected;
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
              {"kind", i_job.Device().kind},
              {"method", i_job.Method()},
              {"revision", io_host.Attribute(i_job.Device(), "FirmwareRev")},
              {"transferBytes", i_job.TransferSize()}};
}

void PrintPlan(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host,
               const T_Jobs& i_jobs, std::size_t i_imageSize) {
  io_printer.Line(fmt::format("Image {}: {} bytes", i_options.image, i_imageSize));
  std::vector<std::vector<std::string>> rows;
  for (const auto& job : i_jobs) {
    rows.push_back({job->Device().id, job->Device().kind, job->Method(),
                    io_host.Attribute(job->Device(), "FirmwareRev"),
                    fmt::format("{} bytes", job->TransferSize())});
  }
  io_printer.Table({"DRIVE", "KIND", "METHOD", "REVISION", "SENDS"}, rows);
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
    io_printer.Verbose(
        1, fmt::format("{}: command blocks of the flash (not sent):", job->Device().id));
    job->Run();
  }
  io_host.Driver().SetDryRun(false);
}

C_Printer::E_Colour VerdictColour(C_FlashJob::E_Verdict i_verdict) {
  switch (i_verdict) {
    case C_FlashJob::VERDICT_SUCCESS: return C_Printer::GREEN;
    case C_FlashJob::VERDICT_PENDING:
    case C_FlashJob::VERDICT_UNCHANGED: return C_Printer::YELLOW;
    default: return C_Printer::RED;
  }
}

std::string VerdictText(C_FlashJob::E_Verdict i_verdict, int i_status) {
  switch (i_verdict) {
    case C_FlashJob::VERDICT_SUCCESS: return N_Messages::FlashSuccess();
    case C_FlashJob::VERDICT_UNCHANGED: return N_Messages::FlashUnchanged();
    case C_FlashJob::VERDICT_PENDING: return N_Messages::DeferredStatus(0x02);
    case C_FlashJob::VERDICT_FAILED:
      return N_Messages::FlashRefused() + ": " + N_Messages::Status(i_status);
    default: return N_Messages::FlashSuccess();  // unexpected: flashed, to another revision
  }
}

void RunJobs(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host, T_Jobs& io_jobs) {
  C_Progress progress(io_printer, io_printer.StderrIsTerminal() && io_printer.Verbosity() == 0);
  for (const auto& job : io_jobs) progress.Add(job->Device().id, job->TransferSize());
  const C_ObservingDriver::T_Observer trace = N_Trace::Tracer(io_printer, io_host.Driver());
  io_host.Driver().SetObserver(
      [&](const Driver::S_Command& i_command, C_Device* i_device, int i_result) {
        trace(i_command, i_device, i_result);
        // Only what the drive took counts as sent.
        if (t_row != NO_ROW && i_result == 0 && i_command.direction == Driver::DIRECTION_OUT &&
            i_command.dataBuffer) {
          progress.Sent(t_row, i_command.dataLength);
        }
      });

  std::size_t threads =
      i_options.jobs > 0 ? static_cast<std::size_t>(i_options.jobs) : DEFAULT_MAX_JOBS;
  threads = std::min(threads, io_jobs.size());
  std::atomic<std::size_t> next(0);
  auto worker = [&]() {
    for (std::size_t index = next++; index < io_jobs.size(); index = next++) {
      C_FlashJob& job = *io_jobs[index];
      progress.Begin(index);
      t_row = index;
      job.Run();
      t_row = NO_ROW;
      progress.End(index, C_FlashJob::VerdictName(job.Outcome().verdict),
                   !job.Failed() && !job.Unverified());
    }
  };
  progress.Start();
  std::vector<std::thread> pool;
  for (std::size_t i = 0; i < threads; ++i) pool.emplace_back(worker);
  for (std::thread& thread : pool) thread.join();
  progress.Stop();
  io_host.Driver().SetObserver(trace);
}

json OutcomeJson(C_Host& io_host, const C_FlashJob& i_job) {
  const C_FlashJob::S_Outcome& outcome = i_job.Outcome();
  json entry = PlanJson(io_host, i_job);
  entry.erase("revision");
  entry["serial"] = Trimmed(io_host.Attribute(i_job.Device(), "SerialNumber"));
  entry["oldRevision"] = outcome.oldRevision;
  entry["newRevision"] = outcome.newRevision;
  entry["result"] = C_FlashJob::VerdictName(outcome.verdict);
  entry["text"] = VerdictText(outcome.verdict, outcome.status);
  entry["status"] = outcome.status;
  entry["meaning"] = N_Messages::Status(outcome.status);
  entry["seconds"] = outcome.seconds;
  entry["failed"] = i_job.Failed() || i_job.Unverified();
  if (!outcome.message.empty()) entry["message"] = outcome.message;
  if (outcome.hasSense) {
    entry["sense"] =
        json{{"senseKey", outcome.sense.key},
             {"asc", outcome.sense.asc},
             {"ascq", outcome.sense.ascq},
             {"text", N_Sense::Summary(outcome.sense.key, outcome.sense.asc, outcome.sense.ascq)}};
  }
  return entry;
}

int ExitStatus(const T_Jobs& i_jobs) {
  const std::size_t failed =
      std::count_if(i_jobs.begin(), i_jobs.end(), [](const auto& j) { return j->Failed(); });
  const std::size_t unverified =
      std::count_if(i_jobs.begin(), i_jobs.end(), [](const auto& j) { return j->Unverified(); });
  if (i_jobs.size() > 1)
    return failed || unverified ? N_ExitStatus::FLEET_PARTIAL : N_ExitStatus::SUCCESS;
  if (failed) return N_ExitStatus::FAILED;
  return unverified ? N_ExitStatus::VERIFY_FAILED : N_ExitStatus::SUCCESS;
}

}  // namespace

int Run(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  CheckUsage(i_options);
  const std::vector<std::uint8_t> image = N_FileIo::Read(i_options.image);
  if (image.empty()) {
    throw C_Failure(N_ExitStatus::FAILED,
                    i_options.image + ": the image is empty; nothing was sent");
  }
  json skipped = json::array();
  T_Jobs jobs;
  for (const C_Host::S_Device& device : Select(i_options, io_host)) {
    const std::string revision = io_host.Attribute(device, "FirmwareRev");
    if (!i_options.skipCurrent.empty() && revision == i_options.skipCurrent) {
      io_printer.Line(fmt::format("{}: skipped, already at {}", device.id, revision));
      skipped.push_back(json{{"drive", device.id}, {"revision", revision}});
      continue;
    }
    jobs.emplace_back(new C_FlashJob(io_host, device, image, i_options.expect));
    CheckSize(i_options, *jobs.back(), image.size());
  }
  json document = {{"image", {{"path", i_options.image}, {"bytes", image.size()}}},
                   {"skipped", skipped}};
  if (jobs.empty()) {
    const std::string reason = "every selected drive is already at " + i_options.skipCurrent;
    io_printer.Line("Nothing to flash: " + reason);
    document["drives"] = json::array();
    document["reason"] = reason;
    io_printer.Json(document);
    return N_ExitStatus::SUCCESS;
  }

  PrintPlan(i_options, io_printer, io_host, jobs, image.size());
  if (i_options.dryRun) {
    // The plan first: the traced run leaves the devices' idea of the drives
    // (the revision) as a drive that answers nothing made it.
    json plan = json::array();
    for (const auto& job : jobs) plan.push_back(PlanJson(io_host, *job));
    if (io_printer.Verbosity() >= 1) DryRunTrace(io_printer, io_host, jobs);
    io_printer.Line("Dry run: nothing was sent.");
    document["dryRun"] = true;
    document["plan"] = plan;
    io_printer.Json(document);
    return N_ExitStatus::SUCCESS;
  }
  if (!i_options.yes && !Confirm(i_options, io_printer, jobs.size())) {
    throw C_Failure(N_ExitStatus::USAGE, "flash: not confirmed; nothing was sent");
  }

  RunJobs(i_options, io_printer, io_host, jobs);

  std::vector<std::vector<std::string>> rows;
  json drives = json::array();
  for (const auto& job : jobs) {
    const C_FlashJob::S_Outcome& outcome = job->Outcome();
    const std::string now =
        outcome.verdict == C_FlashJob::VERDICT_PENDING ? "(pending)" : outcome.newRevision;
    rows.push_back({job->Device().id, outcome.oldRevision, now,
                    C_FlashJob::VerdictName(outcome.verdict),
                    fmt::format("{:.1f} s", outcome.seconds)});
    drives.push_back(OutcomeJson(io_host, *job));
  }
  io_printer.Table({"DRIVE", "OLD", "NEW", "RESULT", "TIME"}, rows,
                   [&jobs](std::size_t i_row, std::size_t i_column) {
                     return i_column == 3 ? VerdictColour(jobs[i_row]->Outcome().verdict)
                                          : C_Printer::PLAIN;
                   });
  for (const auto& job : jobs) {
    if (job->Failed() || job->Unverified()) io_printer.Error(job->Outcome().message);
  }
  const int status = ExitStatus(jobs);
  json summary = json::object();
  for (const json& drive : drives) summary[drive["result"].get<std::string>()] = summary.value(drive["result"].get<std::string>(), 0) + 1;
  document["drives"] = drives;
  document["summary"] = summary;
  io_printer.Json(document);
  return status;
}

}  // namespace N_FlashCommand
