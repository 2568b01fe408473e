#include "tools/N_SimCommands.h"

#include <fmt/core.h>

#include <cstring>

#include "ddff/C_DeferScsiTarget.h"
#include "ddff/DDFFFormat.h"
#include "drivers/sim/C_SimDriver.h"
#include "drivers/sim/S_SimFleet.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_FileIo.h"

using nlohmann::json;

namespace N_SimCommands {

namespace {

C_SimDriver& Sim(C_Host& io_host) {
  C_SimDriver* sim = io_host.Sim();
  if (!sim) throw C_Failure(N_ExitStatus::USAGE, "sim: only with --driver sim");
  return *sim;
}

S_SimFleet ReadState(C_SimDriver& io_sim) {
  try {
    return io_sim.ReadState();
  } catch (const std::exception& e) {
    throw C_Failure(N_ExitStatus::FAILED,
                    std::string(e.what()) + " (\"vekctl sim reset\" starts afresh)");
  }
}

// The status of a stored request, read from its status block.
std::string RequestState(const std::string& i_file) {
  if (i_file.empty()) return "";
  std::vector<std::uint8_t> bytes;
  try {
    bytes = N_FileIo::Read(i_file);
  } catch (const C_Failure&) {
    return "unreadable";
  }
  if (bytes.size() < DDFF::STATUS_OFFSET + DDFF::STATUS_SIZE) return "damaged";
  S_DDFF_Status status;
  std::memcpy(&status, &bytes[DDFF::STATUS_OFFSET], sizeof status);
  return C_DeferScsiTarget::GetResultText(status.status);
}

}  // namespace

int Reset(const S_Options&, C_Printer& io_printer, C_Host& io_host) {
  C_SimDriver& sim = Sim(io_host);
  try {
    sim.ResetState();
  } catch (const std::exception& e) {
    throw C_Failure(N_ExitStatus::FAILED, std::string("sim reset: ") + e.what());
  }
  io_printer.Line(sim.StatePath() + ": reset to the initial fleet");
  io_printer.Json(json{{"state", sim.StatePath()}, {"reset", true}});
  return N_ExitStatus::SUCCESS;
}

int Restart(const S_Options& i_options, C_Printer& io_printer, C_Host& io_host) {
  C_SimDriver& sim = Sim(io_host);
  std::vector<std::string> names;
  if (!i_options.controller.empty()) {
    names.push_back(i_options.controller);
  } else {
    for (const S_SimController& controller : ReadState(sim).controllers) {
      if (controller.kind == "array") names.push_back(controller.name);
    }
  }
  json restarted = json::array();
  for (const std::string& name : names) {
    int ran;
    try {
      ran = sim.RestartController(name);
    } catch (const std::exception& e) {
      throw C_Failure(N_ExitStatus::FAILED, name + ": restart failed: " + e.what());
    }
    if (ran < 0) throw C_Failure(N_ExitStatus::NOT_FOUND, name + ": no such array controller");
    io_printer.Line(fmt::format("{}: restarted; its agent ran {} pending request{}", name, ran,
                                ran == 1 ? "" : "s"));
    restarted.push_back(json{{"controller", name}, {"requestsRun", ran}});
  }
  io_printer.Json(json{{"restarted", restarted}});
  return N_ExitStatus::SUCCESS;
}

int Status(const S_Options&, C_Printer& io_printer, C_Host& io_host) {
  C_SimDriver& sim = Sim(io_host);
  const S_SimFleet fleet = ReadState(sim);
  io_printer.Line("State: " + sim.StatePath());
  std::vector<std::vector<std::string>> rows;
  json controllers = json::array();
  for (const S_SimController& controller : fleet.controllers) {
    rows.push_back(
        {controller.name, controller.kind, controller.product, controller.firmware, "", ""});
    json drives = json::array();
    for (const S_SimDrive& drive : controller.drives) {
      const std::string request = RequestState(drive.requestFile);
      rows.push_back({fmt::format("{}:{}", controller.name, drive.number), drive.kind,
                      drive.product, drive.firmware, drive.pending.empty() ? "-" : drive.pending,
                      request.empty() ? "-" : request});
      drives.push_back(json{{"number", drive.number},
                            {"kind", drive.kind},
                            {"vendor", drive.vendor},
                            {"product", drive.product},
                            {"serial", drive.serial},
                            {"firmware", drive.firmware},
                            {"pending", drive.pending},
                            {"request", request}});
    }
    controllers.push_back(json{{"name", controller.name},
                               {"kind", controller.kind},
                               {"product", controller.product},
                               {"firmware", controller.firmware},
                               {"drives", drives}});
  }
  io_printer.Table({"NODE", "KIND", "PRODUCT", "FIRMWARE", "DOWNLOADED", "REQUEST"}, rows);
  io_printer.Json(json{{"state", sim.StatePath()}, {"controllers", controllers}});
  return N_ExitStatus::SUCCESS;
}

}  // namespace N_SimCommands
