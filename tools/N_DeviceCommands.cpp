#include "tools/N_DeviceCommands.h"

#include <fmt/core.h>

#include <map>

#include "drivers/linux/C_LinuxDriver.h"
#include "module/E_Status.h"
#include "tools/C_Journal.h"
#include "tools/N_FlashCommand.h"
#include "tools/N_DriveSense.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_Messages.h"
#include "tools/N_Sense.h"
#include "tools/N_Text.h"

using nlohmann::json;

namespace N_DeviceCommands {

namespace {

std::string OrDash(const std::string& i_text) { return i_text.empty() ? "-" : i_text; }

// The journal's lines, for what an interrupted flash left behind; a
// journal that cannot be read is warned about and taken as empty.
std::vector<json> JournalLines(C_Printer& io_printer) {
  try {
    return C_Journal().Read();
  } catch (const std::exception& e) {
    io_printer.Warning(e.what());
    return {};
  }
}

// The device as "list" shows it, with what is wrong with it: an identity
// that cannot be read ("problem"), a downloaded image that waits for a
// reset ("pendingActivation").
json DeviceJson(C_Host& io_host, const C_Host::S_Device& i_device,
                const std::vector<json>& i_journal) {
  json entry = {{"path", i_device.path},
                {"id", i_device.id},
                {"kind", i_device.kind},
                {"vendor", io_host.Attribute(i_device, "VendorId")},
                {"product", io_host.Attribute(i_device, "ProductId")},
                {"revision", io_host.Attribute(i_device, "FirmwareRev")},
                {"serial", io_host.Attribute(i_device, "SerialNumber")}};
  const std::string problem = io_host.IdentityProblem(i_device);
  if (!problem.empty()) entry["problem"] = problem;
  const std::string pending = N_FlashCommand::PendingActivation(
      i_journal, N_Text::Trimmed(entry["serial"]), entry["revision"]);
  if (!pending.empty()) entry["pendingActivation"] = pending;
  return entry;
}

std::string Note(const json& i_entry) {
  return i_entry.value("problem", i_entry.value("pendingActivation", ""));
}

// Byte attributes carry a '$' in front of their name.
bool IsByteAttribute(const std::string& i_name) { return !i_name.empty() && i_name[0] == '$'; }

json SenseJson(const std::vector<std::uint8_t>& i_bytes, const N_Sense::S_Decoded& i_sense) {
  json sense = {{"bytes", N_Sense::Hex(i_bytes)}, {"valid", i_sense.valid}};
  if (i_sense.valid) {
    sense["senseKey"] = i_sense.key;
    sense["senseKeyText"] = i_sense.keyText;
    sense["asc"] = i_sense.hasAsc ? json(i_sense.asc) : json(nullptr);
    sense["ascq"] = i_sense.hasAsc ? json(i_sense.ascq) : json(nullptr);
    sense["ascText"] = i_sense.ascText;
  }
  return sense;
}

std::string StatusLine(int i_status, const std::string& i_meaning) {
  return fmt::format("status {} ({:#x}): {}", i_status, i_status, i_meaning);
}

}  // namespace

int List(const S_Options&, C_Printer& io_printer, C_Host& io_host) {
  const std::vector<json> journal = JournalLines(io_printer);
  json devices = json::array();
  std::vector<std::vector<std::string>> rows;
  bool notes = false;
  for (const C_Host::S_Device& device : io_host.Devices()) {
    json entry = DeviceJson(io_host, device, journal);
    rows.push_back({device.path, device.kind, OrDash(entry["vendor"]), OrDash(entry["product"]),
                    OrDash(entry["revision"]), OrDash(entry["serial"]), Note(entry)});
    if (entry.contains("problem")) io_printer.Warning(device.id + ": " + Note(entry));
    notes = notes || !Note(entry).empty();
    devices.push_back(entry);
  }
  std::vector<std::string> header = {"PATH", "KIND", "VENDOR", "PRODUCT", "REVISION", "SERIAL"};
  if (notes) {
    header.push_back("NOTE");
  } else {
    for (auto& row : rows) row.pop_back();
  }
  io_printer.Table(header, rows);
  json document = {{"devices", devices}};
  if (C_LinuxDriver* linux = io_host.Linux()) {
    // Every name of each drive, and what discovery passed over and why.
    for (std::size_t i = 0; i < devices.size(); ++i) {
      devices[i]["names"] = linux->Names(io_host.DeviceObject(io_host.Devices()[i]));
    }
    json skipped = json::array();
    for (const C_LinuxDriver::S_Skipped& entry : linux->Skipped()) {
      const N_LinuxSysfs::S_ScsiDevice& d = entry.device;
      const std::string name = d.block.empty() ? d.sg : d.block;
      io_printer.Line(fmt::format("skipped {} ({}, /dev/{}): {}", name, d.address, d.sg, entry.reason));
      skipped.push_back(json{{"name", name}, {"address", d.address}, {"sg", "/dev/" + d.sg},
                             {"type", d.type}, {"reason", entry.reason}});
    }
    document = {{"devices", devices}, {"skipped", skipped}};
  }
  io_printer.Json(document);
  return N_ExitStatus::SUCCESS;
}

int Show(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  const C_Host::S_Device& device = io_host.Find(i_options.device);
  json attributes = json::object();
  json decoded = json::object();
  std::vector<std::vector<std::string>> rows;
  for (const auto& attribute : io_host.Attributes(device)) {
    std::vector<std::uint8_t> bytes;
    if (IsByteAttribute(attribute.first) && N_Sense::ParseByteAttribute(attribute.second, bytes)) {
      const N_Sense::S_Decoded sense = N_Sense::Decode(bytes);
      attributes[attribute.first] = N_Sense::Hex(bytes);
      rows.push_back({attribute.first, N_Sense::Hex(bytes)});
      if (sense.valid) {
        decoded[attribute.first] = SenseJson(bytes, sense);
        rows.push_back({"", fmt::format("sense key {:X}h: {}", sense.key, sense.keyText)});
        rows.push_back({"", sense.hasAsc ? fmt::format("ASC {:02X}h, ASCQ {:02X}h: {}", sense.asc,
                                                       sense.ascq, sense.ascText)
                                         : fmt::format("no additional sense code in these {} bytes",
                                                       bytes.size())});
      }
      continue;
    }
    attributes[attribute.first] = attribute.second;
    rows.push_back({attribute.first, attribute.second});
  }
  const json entry = DeviceJson(io_host, device, JournalLines(io_printer));
  io_printer.Line(fmt::format("{} ({}, path {})", device.id, device.kind, device.path),
                  C_Printer::BOLD);
  if (!Note(entry).empty()) io_printer.Line(Note(entry), C_Printer::YELLOW);
  io_printer.Table({"ATTRIBUTE", "VALUE"}, rows);
  io_printer.Json(json{{"device", entry}, {"attributes", attributes}, {"decoded", decoded}});
  return N_ExitStatus::SUCCESS;
}

int Ops(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  const C_Host::S_Device& device = io_host.Find(i_options.device);
  const std::vector<std::string> names = io_host.Operations(device);
  for (const std::string& name : names) io_printer.Line(name);
  io_printer.Json(json{{"device", device.id}, {"operations", names}});
  return N_ExitStatus::SUCCESS;
}

int Call(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  const C_Host::S_Device& device = io_host.Find(i_options.device);
  std::vector<std::string> args = {i_options.operation};
  args.insert(args.end(), i_options.arguments.begin(), i_options.arguments.end());

  std::map<std::string, std::string> before;
  for (const auto& attribute : io_host.Attributes(device)) before.insert(attribute);
  int status;
  try {
    status = io_host.Call(device, args);
  } catch (const std::exception& e) {
    throw C_Failure(N_ExitStatus::FAILED,
                    device.id + ": " + i_options.operation + ": the module failed: " + e.what());
  }
  const bool compared = i_options.operation == "CmprModePage" && status >= VEK_STATUS_COMPARED;
  const std::string meaning = compared ? N_Messages::Compared(status) : N_Messages::Status(status);
  const bool success = status == VEK_STATUS_OK || (compared && status == VEK_STATUS_COMPARED);

  json changed = json::object();
  std::vector<std::vector<std::string>> rows;
  for (const auto& attribute : io_host.Attributes(device)) {
    auto it = before.find(attribute.first);
    if (it != before.end() && it->second == attribute.second) continue;
    changed[attribute.first] = attribute.second;
    rows.push_back({attribute.first, attribute.second});
  }

  const std::string line = StatusLine(status, meaning);
  if (success) {
    io_printer.Line(fmt::format("{}: {}: {}", device.id, i_options.operation, line),
                    C_Printer::GREEN);
  } else {
    io_printer.Error(fmt::format("{}: {}: {}", device.id, i_options.operation, line));
  }
  if (!rows.empty()) io_printer.Table({"CHANGED", "VALUE"}, rows);
  const int exitStatus = success ? N_ExitStatus::SUCCESS : N_ExitStatus::FAILED;
  io_printer.Json(json{{"device", device.id},
                       {"operation", i_options.operation},
                       {"arguments", i_options.arguments},
                       {"status", status},
                       {"meaning", meaning},
                       {"changed", changed}});
  return exitStatus;
}

}  // namespace N_DeviceCommands
