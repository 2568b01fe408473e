#include "tools/N_DeferCommands.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include <cstdlib>

#include "ddff/C_DDFF.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_Text.h"
#include "tools/N_Messages.h"
#include "tools/N_Sense.h"

#include "ddff/C_DeferScsiTarget.h"

using nlohmann::json;

namespace N_DeferCommands {

namespace {

using N_Text::Address;
using N_Text::Trimmed;

const C_Host::S_Device& DeferredDrive(const S_Options& i_options, C_Host& io_host) {
  const C_Host::S_Device& device = io_host.Find(i_options.device);
  if (!io_host.HasOperation(device, "DeferFlash")) {
    throw C_Failure(
        N_ExitStatus::FAILED,
        device.id + ": not a deferred-flash drive (it has no \"DeferFlash\" operation)");
  }
  return device;
}

// The status value behind the "DeferResult" text.
unsigned StatusValue(const std::string& i_result) {
  static const char* const names[] = {"loading",   "pending", "running",
                                      "cancelled", "success", "error"};
  for (unsigned bit = 0; bit < 6; ++bit) {
    if (i_result == names[bit]) return 1u << bit;
  }
  return static_cast<unsigned>(std::strtoul(i_result.c_str(), nullptr, 16));
}

int Hex(const std::string& i_text) {
  return static_cast<int>(std::strtol(i_text.c_str(), nullptr, 16));
}


}  // namespace

int Status(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  const C_Host::S_Device& device = DeferredDrive(i_options, io_host);
  io_host.Reinit(device);  // the status block is read by Init
  const std::string result = io_host.Attribute(device, "DeferResult");
  json document = {{"device", device.id},
                   {"revision", io_host.Attribute(device, "FirmwareRev")},
                   {"activeRevision", io_host.Attribute(device, "ActiveFirmwareRev")},
                   {"hasDDFF", io_host.Attribute(device, "HasDDFF") == "true"}};
  std::vector<std::vector<std::string>> rows = {
      {"Drive", device.id}, {"Revision", io_host.Attribute(device, "FirmwareRev")}};
  if (result.empty()) {
    document["request"] = nullptr;
    rows.push_back({"Request", "none held by the controller"});
  } else {
    const unsigned value = StatusValue(result);
    json request = {{"result", result},
                    {"text", N_Messages::DeferredStatus(value)},
                    {"oldRevision", io_host.Attribute(device, "OldVersion")},
                    {"requestTime", io_host.Attribute(device, "RequestTime")},
                    {"updateTime", io_host.Attribute(device, "UpdateTime")}};
    rows.push_back({"Request", result + " (" + N_Messages::DeferredStatus(value) + ")"});
    rows.push_back({"Replaces", io_host.Attribute(device, "OldVersion")});
    rows.push_back({"Requested", io_host.Attribute(device, "RequestTime")});
    rows.push_back({"Updated", io_host.Attribute(device, "UpdateTime")});
    if (!io_host.Attribute(device, "Instruction").empty()) {
      const int key = Hex(io_host.Attribute(device, "SenseKey"));
      const int asc = Hex(io_host.Attribute(device, "SenseASC"));
      const int ascq = Hex(io_host.Attribute(device, "SenseASQ"));
      // The field counts bytes from the status block's size; the record
      // size is fixed, which turns it into the instruction's index.
      const long field = std::strtol(io_host.Attribute(device, "Instruction").c_str(), nullptr, 16);
      const long index = field >= static_cast<long>(DDFF::STATUS_SIZE)
                             ? (field - DDFF::STATUS_SIZE) / DDFF::INSTRUCTION_SIZE
                             : -1;
      request["error"] = json{{"instructionField", field},
                              {"instruction", index},
                              {"camStatus", Hex(io_host.Attribute(device, "CamStatus"))},
                              {"senseKey", key},
                              {"asc", asc},
                              {"ascq", ascq},
                              {"sense", N_Sense::Summary(key, asc, ascq)}};
      rows.push_back({"Failed at", fmt::format("instruction {} (field {:#x})", index, field)});
      rows.push_back({"CAM status", "0x" + io_host.Attribute(device, "CamStatus")});
      rows.push_back({"Sense", fmt::format("{:X}/{:02X}/{:02X} {}", key, asc, ascq,
                                           N_Sense::Summary(key, asc, ascq))});
    }
    document["request"] = request;
  }
  io_printer.Table({"DEFERRED FLASH", ""}, rows);
  io_printer.Json(document);
  // A failed request is a failure, whatever was asked; with --expect only a
  // drive that runs that revision passes (a pending request not yet).
  const std::string revision = io_host.Attribute(device, "FirmwareRev");
  if (result == "error") {
    throw C_Failure(N_ExitStatus::FAILED, device.id + ": the deferred request failed (" +
                                              N_Messages::DeferredStatus(StatusValue(result)) +
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
  const std::string before = io_host.Attribute(device, "DeferResult");  // read at enumeration
  // The operation wants a request even to cancel; it stays untouched.
  C_DDFF unused;
  const int status =
      io_host.Call(device, {"DeferFlash", "0", "0", Address(&unused), "Cancel=true"});
  if (status != 0) {
    throw C_Failure(N_ExitStatus::FAILED, fmt::format("{}: cancel failed: status {}: {}", device.id,
                                                      status, N_Messages::Status(status)));
  }
  io_host.Reinit(device);
  const std::string result = io_host.Attribute(device, "DeferResult");
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
  C_DeferScsiTarget* target = dynamic_cast<C_DeferScsiTarget*>(io_host.DeviceObject(device));
  if (!target) throw C_Failure(N_ExitStatus::FAILED, device.id + ": not a deferred-flash target");
  C_DeferScsiTarget::SetDumpDirectory(directory);
  const int status = target->Dump();
  const std::string file = target->GetDumpFileName();
  C_DeferScsiTarget::SetDumpDirectory("");
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
