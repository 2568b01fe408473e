#include "drivers/sim/C_SimDriver.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <thread>
#include <vector>

#include "ddff/C_DeferScsiTarget.h"
#include "device/C_QarnTargetId.h"
#include "drivers/sim/C_SimController.h"
#include "drivers/sim/C_SimTargetId.h"
#include "drivers/sim/N_SimSense.h"
#include "module/C_Root.h"
#include "targets/C_AtaTarget.h"
#include "targets/C_ScsiTarget.h"

namespace {

// The controller id the array reports for its ATA drives, and their type.
const char ATA_CONTROLLER_ID[] = "E0300A57";
const int ATA_DRIVE_TYPE = 0x09;

// Drives identified at once by a discovery.
const std::size_t INIT_THREADS = 64;

S_SimFleet InitialFleet(const C_SimDriver::S_Options& i_options) {
  return i_options.fleetPath.empty() ? S_SimFleet::Default()
                                     : C_SimStore::ReadFleetFile(i_options.fleetPath);
}

int InstantSleep(const struct timespec*, struct timespec*) { return 0; }

bool InstantWanted() {
  const char* value = std::getenv("VEK_SIM_INSTANT");
  return value && *value && std::string(value) != "0";
}

std::string DriveKey(const std::string& i_controller, int i_drive) {
  return i_controller + ":" + std::to_string(i_drive);
}

}  // namespace

C_SimDriver::C_SimDriver(const S_Options& i_options)
    : C_Driver(0x5131),
      m_store(i_options.statePath.empty() ? C_SimStore::DefaultPath() : i_options.statePath,
              InitialFleet(i_options)),
      m_previousSleep(InstantWanted() ? SetSleepHook(&InstantSleep) : nullptr) {
  SetName("vek simulated controller");
  SetVersion("1.0");
  SetMinVersion("1.0");
}

C_SimDriver::~C_SimDriver() {
  if (m_previousSleep) SetSleepHook(m_previousSleep);
}

bool C_SimDriver::Init() {
  try {
    m_store.Update([](S_SimFleet&) { return false; });  // creates a missing state
    return true;
  } catch (const std::exception& e) {
    m_lastError = e.what();
    return false;
  }
}

void C_SimDriver::Cleanup() {}

void C_SimDriver::CleanupDevice(C_Device* i_device) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nodes.erase(i_device);
  }
  C_Driver::CleanupDevice(i_device);
}

S_SimFleet C_SimDriver::ReadState() { return m_store.Read(); }

void C_SimDriver::ResetState() {
  // The downloads and requests under way end with the drives they were for.
  m_store.Reset([this] {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_transient.clear();
  });
}

C_SimDriver::S_Transient& C_SimDriver::Transient(const std::string& i_controller, int i_drive) {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_transient[DriveKey(i_controller, i_drive)];
}

bool C_SimDriver::Knows(const std::string& i_controller, int i_drive) {
  std::lock_guard<std::mutex> lock(m_mutex);
  return std::any_of(m_nodes.begin(), m_nodes.end(), [&](const auto& i_node) {
    return i_node.second.controller == i_controller && i_node.second.drive == i_drive;
  });
}

bool C_SimDriver::FindRootChildren(C_Root* i_root) {
  S_SimFleet fleet = m_store.Read();
  for (const S_SimController& record : fleet.controllers) {
    if (Knows(record.name, -1)) continue;
    C_SimController* controller = new C_SimController(this, record);
    controller->SetParent(i_root);
    controller->SetTargetId(new C_SimTargetId(record.name));
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_nodes[controller] = S_Node{record.name, -1};
    }
    controller->Init();
  }
  return true;
}

bool C_SimDriver::FindDeviceChildren(C_Device* i_device) {
  std::string name;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_nodes.find(i_device);
    if (it == m_nodes.end() || it->second.drive >= 0) return true;  // drives have no children
    name = it->second.controller;
  }
  S_SimFleet fleet = m_store.Read();
  const S_SimController* record = fleet.FindController(name);
  if (!record) return true;
  std::vector<C_Device*> found;
  for (const S_SimDrive& drive : record->drives) {
    if (!Knows(name, drive.number)) found.push_back(CreateDrive(i_device, *record, drive));
  }
  // Each drive is identified on a thread of its own (at most INIT_THREADS
  // at once): the drives answer in parallel and their first writes of the
  // state go out together. Init's outcome stays in the device; the first
  // exception a drive's Init throws is thrown here once all are done.
  std::atomic<std::size_t> next{0};
  std::mutex failureMutex;
  std::exception_ptr failure;
  auto identify = [&] {
    for (std::size_t i = next++; i < found.size(); i = next++) {
      try {
        found[i]->Init();
      } catch (...) {
        std::lock_guard<std::mutex> lock(failureMutex);
        if (!failure) failure = std::current_exception();
      }
    }
  };
  std::vector<std::thread> threads;
  const std::size_t count = std::min(found.size(), INIT_THREADS);
  for (std::size_t i = 1; i < count; ++i) threads.emplace_back(identify);
  identify();
  for (std::thread& thread : threads) thread.join();
  if (failure) std::rethrow_exception(failure);
  return true;
}

C_Device* C_SimDriver::CreateDrive(C_Device* i_controller, const S_SimController& i_record,
                                   const S_SimDrive& i_drive) {
  C_Device* device;
  C_TargetId* id;
  if (i_drive.kind == "ata") {
    device = new C_AtaTarget(ATA_CONTROLLER_ID, ATA_DRIVE_TYPE);
  } else if (i_drive.kind == "deferred") {
    device = new C_DeferScsiTarget();
  } else {
    device = new C_ScsiTarget();
  }
  if (i_record.kind == "array") {
    id = new C_QarnTargetId(i_record.name, static_cast<unsigned char>(i_drive.number));
  } else {
    id = new C_SimTargetId(DriveKey(i_record.name, i_drive.number));
  }
  device->SetParent(i_controller);
  device->SetTargetId(id);
  device->SetBMICIndex(static_cast<unsigned char>(i_drive.number));
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nodes[device] = S_Node{i_record.name, i_drive.number};
  }
  return device;
}

int C_SimDriver::ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) {
  if (!i_command) return N_SimSense::TRANSPORT_ERROR;
  S_Node node;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_nodes.find(i_device);
    if (it == m_nodes.end()) return N_SimSense::TRANSPORT_ERROR;
    node = it->second;
  }
  const bool toController = i_command->requestType == Driver::REQUEST_CONTROLLER;
  if (toController) {
    // A controller request names its drive in CDB byte 2.
    if (!i_command->cdb || i_command->cdbLength < 10) return N_SimSense::TRANSPORT_ERROR;
    node.drive = i_command->cdb[2];
  }
  if (node.drive < 0) return N_SimSense::TRANSPORT_ERROR;

  C_SimStore::C_Hold hold(m_store, node.controller, {node.drive});
  S_SimController* controller = hold.Controller();
  if (!controller || controller->drives.empty()) return N_SimSense::TRANSPORT_ERROR;
  S_Transient& transient = Transient(node.controller, node.drive);
  bool changed = false;
  int result;
  if (toController) {
    if (controller->kind != "array") return N_SimSense::TRANSPORT_ERROR;
    result = C_SimArray(*controller, m_store.DataDirectory()).Execute(*i_command, transient.array,
                                                                      changed);
  } else {
    result = C_SimDrive(controller->drives[0], transient.drive).Execute(*i_command, changed);
  }
  if (changed) hold.Commit();
  return result;
}

int C_SimDriver::RestartController(const std::string& i_name) {
  C_SimStore::C_Hold hold(m_store, i_name, {});
  S_SimController* controller = hold.Controller();
  if (!controller || controller->kind != "array") return -1;
  bool changed = false;
  C_SimArray array(*controller, m_store.DataDirectory());
  auto run = [&](int i_drive, Driver::S_Command& io_command) {
    for (S_SimDrive& drive : controller->drives) {
      if (drive.number != i_drive) continue;
      bool driveChanged = false;
      const int result =
          C_SimDrive(drive, Transient(i_name, i_drive).drive).Execute(io_command, driveChanged);
      changed = changed || driveChanged;
      return result;
    }
    return static_cast<int>(N_SimSense::TRANSPORT_ERROR);
  };
  auto reset = [&](int i_drive) {
    for (S_SimDrive& drive : controller->drives) {
      if (i_drive >= 0 && drive.number != i_drive) continue;
      bool driveChanged = false;
      C_SimDrive(drive, Transient(i_name, drive.number).drive).Reset(driveChanged);
      changed = true;
    }
  };
  const int count = array.RunPending(
      run, reset, [](unsigned i_ms) { SleepMilliSeconds(static_cast<int>(i_ms)); }, changed);
  if (changed) hold.Commit();
  return count;
}
