#include "tools/N_DeferCommands.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include "ddff/C_DDFF.h"
#include "ddff/C_DeferScsiTarget.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_Messages.h"
#include "tools/N_Sense.h"
#include "tools/N_Text.h"

using nlohmann::json;

namespace N_DeferCommands {

namespace {

using N_Text::Address;

const C_Host::S_Device& DeferredDrive(const S_Options& i_options, C_Host& io_host) {
  const C_Host::S_Device& device = io_host.Find(i_options.device);
  if (!io_host.HasOperation(device, "DeferFlash")) {
    throw C_Failure(
        N_ExitStatus::FAILED,
        device.id + ": not a deferred-flash drive (it has no \"DeferFlash\" operation)");
  }
  return device;
}

C_DeferScsiTarget& Target(C_Host& io_host, const C_Host::S_Device& i_device) {
  C_DeferScsiTarget* target = dynamic_cast<C_DeferScsiTarget*>(io_host.DeviceObject(i_device));
  if (!target) throw C_Failure(N_ExitStatus::FAILED, i_device.id + ": not a deferred-flash target");
  return *target;
}

// The status, or C_Failure (3) when it cannot be read.
S_Status ReadHeldStatus(C_Host& io_host, const C_Host::S_Device& i_device) {
  const S_Status status = ReadStatus(io_host, i_device);
  if (status.code != 0) {
    throw C_Failure(N_ExitStatus::FAILED,
                    fmt::format("{}: cannot read the deferred status: status {}: {}", i_device.id,
                                status.code, N_Messages::Status(status.code)));
  }
  return status;
}

}  // namespace

std::string S_Status::Result() const {
  return Held() ? C_DeferScsiTarget::GetResultText(block.status) : std::string();
}

S_Status ReadStatus(C_Host& io_host, const C_Host::S_Device& i_device) {
  S_Status status;
  status.code = Target(io_host, i_device).DoSenseDeferredUpdateStatus(&status.block,
                                                                      sizeof status.block);
  return status;
}

int Status(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  const C_Host::S_Device& device = DeferredDrive(i_options, io_host);
  const S_Status status = ReadHeldStatus(io_host, device);
  const std::string revision = io_host.Attribute(device, "FirmwareRev");
  const std::string result = status.Result();
  json document = {{"device", device.id},
                   {"revision", revision},
                   {"activeRevision", io_host.Attribute(device, "ActiveFirmwareRev")},
                   {"hasDDFF", io_host.Attribute(device, "HasDDFF") == "true"}};
  std::vector<std::vector<std::string>> rows = {{"Drive", device.id}, {"Revision", revision}};
  if (!status.Held()) {
    document["request"] = nullptr;
    rows.push_back({"Request", "none held by the controller"});
  } else {
    const S_DDFF_Status& block = status.block;
    // A request around the block reads its fields as the module does.
    C_DDFF request;
    request.SetStatus(block);
    const std::string text = N_Messages::DeferredStatus(block.status);
    const std::string requested = C_DeferScsiTarget::GetTimeText(block.requestTime);
    const std::string updated = C_DeferScsiTarget::GetTimeText(block.updateTime);
    json fields = {{"result", result},
                   {"text", text},
                   {"oldRevision", request.GetRomOldRevision()},
                   {"requestTime", requested},
                   {"updateTime", updated}};
    rows.push_back({"Request", result + " (" + text + ")"});
    rows.push_back({"Replaces", request.GetRomOldRevision()});
    rows.push_back({"Requested", requested});
    rows.push_back({"Updated", updated});
    if (block.status & DDFF::DDFF_STATUS_ERROR) {
      const std::int64_t index = request.GetStatusInstructionNumber();
      const std::string sense = N_Sense::Summary(block.senseKey, block.asc, block.asq);
      fields["error"] = json{{"instructionField", block.failingInstruction},
                             {"instruction", index},
                             {"camStatus", block.camStatus},
                             {"senseKey", block.senseKey},
                             {"asc", block.asc},
                             {"ascq", block.asq},
                             {"sense", sense}};
      rows.push_back({"Failed at", fmt::format("instruction {} (field {:#x})", index,
                                               block.failingInstruction)});
      rows.push_back({"CAM status", fmt::format("{:#x}", block.camStatus)});
      rows.push_back({"Sense", fmt::format("{:X}/{:02X}/{:02X} {}", block.senseKey, block.asc,
                                           block.asq, sense)});
    }
    document["request"] = fields;
  }
  io_printer.Table({"DEFERRED FLASH", ""}, rows);
  io_printer.Json(document);
  // A failed request is a failure, whatever was asked; with --expect only a
  // drive that runs that revision passes (a pending request not yet).
  if (status.Held() && (status.block.status & DDFF::DDFF_STATUS_ERROR)) {
    throw C_Failure(N_ExitStatus::FAILED, device.id + ": the deferred request failed (" +
                                              N_Messages::DeferredStatus(status.block.status) +
                                              "); firmware at " + revision);
  }
  if (!i_options.expect.empty() && revision != i_options.expect) {
    throw C_Failure(N_ExitStatus::VERIFY_FAILED,
                    fmt::format("{}: runs {}, expected {}{}", device.id, revision,
                                i_options.expect,
                                result.empty() ? "" : " (request " + result + ")"));
  }
  return N_ExitStatus::SUCCESS;
}

int Cancel(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  const C_Host::S_Device& device = DeferredDrive(i_options, io_host);
  const std::string before = ReadHeldStatus(io_host, device).Result();
  // The operation wants a request even to cancel; it stays untouched.
  C_DDFF unused;
  const int status =
      io_host.Call(device, {"DeferFlash", "0", "0", Address(&unused), "Cancel=true"});
  if (status != 0) {
    throw C_Failure(N_ExitStatus::FAILED, fmt::format("{}: cancel failed: status {}: {}", device.id,
                                                      status, N_Messages::Status(status)));
  }
  const std::string result = ReadHeldStatus(io_host, device).Result();
  const bool cancelled = result == "cancelled";
  if (result.empty()) {
    io_printer.Line(device.id + ": no request to cancel");
  } else if (cancelled && before == "cancelled") {
    io_printer.Line(device.id + ": the request was already cancelled");
  } else if (cancelled) {
    io_printer.Line(device.id + ": request cancelled", C_Printer::GREEN);
  } else {
    io_printer.Line(
        device.id + ": request not cancelled: it is " + result + " (only a pending request can be)",
        C_Printer::YELLOW);
  }
  // "cancelled": this call cancelled it; "result" is the request's state.
  io_printer.Json(json{{"device", device.id},
                       {"before", before},
                       {"result", result},
                       {"cancelled", cancelled && before != "cancelled"}});
  return N_ExitStatus::SUCCESS;
}

int Dump(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  const C_Host::S_Device& device = DeferredDrive(i_options, io_host);
  const std::string directory = i_options.directory.empty() ? "." : i_options.directory;
  struct stat info;
  if (stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    throw C_Failure(N_ExitStatus::FAILED, directory + ": not a directory");
  }
  C_DeferScsiTarget& target = Target(io_host, device);
  const int status = target.Dump(directory);
  const std::string file = target.GetDumpFileName(directory);
  if (status != 0) {
    throw C_Failure(
        N_ExitStatus::FAILED,
        fmt::format("{}: dump failed: status {}: {}", device.id, status,
                    status == C_DeferScsiTarget::DEFER_NOT_DONE ? "cannot write " + file
                                                                : N_Messages::Status(status)));
  }
  io_printer.Line(file);
  io_printer.Json(json{{"device", device.id}, {"file", file}});
  return N_ExitStatus::SUCCESS;
}

}  // namespace N_DeferCommands
