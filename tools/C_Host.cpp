#include "tools/C_Host.h"

#include <algorithm>

#include "device/C_Controller.h"
#include "drivers/linux/C_LinuxDriver.h"
#include "drivers/sim/C_SimDriver.h"
#include "drivers/sim/C_SimStore.h"
#include "module/C_VekDevice.h"
#include "targets/C_AtaTarget.h"
#include "targets/C_ScsiTarget.h"
#include "tools/C_DriveLock.h"
#include "tools/N_DriveSense.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_Text.h"
#include "tools/N_Messages.h"

namespace {

using N_Text::Address;
using N_Text::Trimmed;

std::unique_ptr<C_Driver> NewDriver(const S_Options& i_options) {
  if (i_options.driver == "linux") {
    C_LinuxDriver::S_Options linux;
    linux.force = i_options.force;
    if (i_options.timeout) linux.downloadTimeout = i_options.timeout;
    return std::unique_ptr<C_Driver>(new C_LinuxDriver(linux));
  }
  C_SimDriver::S_Options sim;
  sim.statePath = i_options.simState;
  sim.fleetPath = i_options.fleet;
  try {
    return std::unique_ptr<C_Driver>(new C_SimDriver(sim));
  } catch (const std::exception& e) {
    throw C_Failure(N_ExitStatus::FAILED, std::string("simulated controller: ") + e.what());
  }
}


}  // namespace

C_Host::C_Host(const S_Options& i_options)
    : m_api(i_options.module),
      m_services(&m_root),
      m_instance(&m_services),
      m_started(false) {
  m_root.SetDriver(new C_ObservingDriver(NewDriver(i_options)));
}

C_Host::~C_Host() {
  for (S_Device& device : m_devices) m_api.CloseDevice(&m_instance, device.handle);
  if (m_started) m_root.Cleanup();
}

C_SimDriver* C_Host::Sim() const { return dynamic_cast<C_SimDriver*>(Driver().Inner()); }

C_LinuxDriver* C_Host::Linux() const {
  return dynamic_cast<C_LinuxDriver*>(Driver().Inner());
}

void C_Host::Start() {
  if (m_started) return;
  if (!m_root.Init()) {
    std::string why = "cannot open the controller";
    if (C_SimDriver* sim = Sim()) why = "simulated controller: " + sim->LastError();
    throw C_Failure(N_ExitStatus::FAILED, why);
  }
  m_started = true;
  Walk(nullptr, std::string(), 0);
}

void C_Host::Walk(C_VekDevice* i_parent, const std::string& i_parentPath, int i_depth) {
  C_VekEnumContext* context = m_api.StartEnum(&m_instance, i_parent);
  if (!context) return;
  std::vector<S_Device> found;
  while (C_VekDevice* handle = m_api.GetNextDevice(&m_instance, context)) {
    S_Device device;
    device.handle = handle;
    device.id = Attribute(device, "DeviceId");
    // A drive that could not be identified publishes no id; its driver
    // still names it.
    if (device.id.empty()) device.id = Driver().GetDeviceId(handle->GetDevice());
    device.path = i_parentPath.empty() ? device.id : i_parentPath + "/" + device.id;
    device.kind = Kind(handle);
    device.depth = i_depth;
    found.push_back(device);
  }
  m_api.CloseEnum(&m_instance, context);
  // Depth first: each device is followed by its children.
  for (const S_Device& device : found) {
    m_devices.push_back(device);
    Walk(device.handle, device.path, i_depth + 1);
  }
}

std::string C_Host::Kind(C_VekDevice* i_handle) {
  S_Device probe;
  probe.handle = i_handle;
  // The deferred-flash target is known by its operation, the others by the
  // classes the driver created.
  if (HasOperation(probe, "DeferFlash")) return "deferred";
  C_Device* device = i_handle->GetDevice();
  if (dynamic_cast<C_AtaTarget*>(device)) return "ATA";
  if (dynamic_cast<C_ScsiTarget*>(device)) return "SCSI";
  if (dynamic_cast<C_Controller*>(device)) return "controller";
  return "device";
}

const std::vector<C_Host::S_Device>& C_Host::Devices() {
  Start();
  return m_devices;
}

const C_Host::S_Device& C_Host::Find(const std::string& i_name) {
  const std::vector<S_Device>& devices = Devices();
  const std::string serialPrefix = "serial:";
  if (i_name.compare(0, serialPrefix.size(), serialPrefix) == 0) {
    const std::string serial = Trimmed(i_name.substr(serialPrefix.size()));
    for (const S_Device& device : devices) {
      if (!serial.empty() && Trimmed(Attribute(device, "SerialNumber")) == serial) return device;
    }
  } else {
    for (const S_Device& device : devices) {
      if (device.id == i_name || device.path == i_name) return device;
    }
  }
  if (C_LinuxDriver* linux = Linux()) {
    // The other names of a Linux drive (/dev/sdb, sg1, 1:0:0:0), and the
    // devices discovery passed over, with the reason.
    for (const S_Device& device : devices) {
      const std::vector<std::string> names = linux->Names(DeviceObject(device));
      if (std::find(names.begin(), names.end(), i_name) != names.end()) return device;
    }
    for (const C_LinuxDriver::S_Skipped& skipped : linux->Skipped()) {
      const N_LinuxSysfs::S_ScsiDevice& d = skipped.device;
      for (const std::string& name : {d.block, "/dev/" + d.block, d.sg, "/dev/" + d.sg, d.address}) {
        if (!name.empty() && name != "/dev/" && name == i_name) {
          throw C_Failure(N_ExitStatus::FAILED, i_name + ": not usable: " + skipped.reason);
        }
      }
    }
  }
  throw C_Failure(N_ExitStatus::NOT_FOUND, i_name + ": no such device (see \"vekctl list\")");
}

std::string C_Host::Attribute(const S_Device& i_device, const std::string& i_name,
                              C_Session* i_session) {
  C_VekInstance* instance = i_session ? i_session->Instance() : &m_instance;
  const char* value = m_api.GetAttribute(instance, i_device.handle, i_name.c_str());
  return value ? std::string(value) : std::string();
}

std::vector<std::pair<std::string, std::string>> C_Host::Attributes(const S_Device& i_device) {
  const int count = m_api.GetAttrNames(&m_instance, i_device.handle, 0, nullptr);
  std::vector<const char*> names(static_cast<std::size_t>(std::max(count, 0)));
  m_api.GetAttrNames(&m_instance, i_device.handle, count, names.data());
  std::vector<std::pair<std::string, std::string>> attributes;
  for (const char* name : names) attributes.emplace_back(name, Attribute(i_device, name));
  return attributes;
}

std::vector<std::string> C_Host::Operations(const S_Device& i_device, C_Session* i_session) {
  C_VekInstance* instance = i_session ? i_session->Instance() : &m_instance;
  const int count = m_api.GetOpNames(instance, i_device.handle, 0, nullptr);
  std::vector<const char*> names(static_cast<std::size_t>(std::max(count, 0)));
  m_api.GetOpNames(instance, i_device.handle, count, names.data());
  return std::vector<std::string>(names.begin(), names.end());
}

bool C_Host::HasOperation(const S_Device& i_device, const std::string& i_name,
                          C_Session* i_session) {
  const std::vector<std::string> names = Operations(i_device, i_session);
  return std::find(names.begin(), names.end(), i_name) != names.end();
}

int C_Host::Call(const S_Device& i_device, const std::vector<std::string>& i_args,
                 C_Session* i_session) {
  std::vector<const char*> argv;
  for (const std::string& arg : i_args) argv.push_back(arg.c_str());
  argv.push_back(nullptr);
  C_VekInstance* instance = i_session ? i_session->Instance() : &m_instance;
  return m_api.CallOp(instance, i_device.handle, i_args.empty() ? "" : i_args[0].c_str(),
                      static_cast<int>(i_args.size()), argv.data());
}

std::string C_Host::IdentityProblem(const S_Device& i_device) {
  if (!IsDrive(i_device) || !Attribute(i_device, "FirmwareRev").empty()) return std::string();
  auto known = m_identityProblems.find(i_device.handle);
  if (known != m_identityProblems.end()) return known->second;
  std::string why;
  try {
    const int status = Call(i_device, {"Inquiry"});
    std::string failure = N_DriveSense::FailureText(LastFailure(i_device));
    if (failure.empty()) failure = N_Messages::Status(status);
    const char* command = i_device.kind == "ATA" ? "IDENTIFY DEVICE" : "INQUIRY";
    why = status == 0 ? "the drive reports no revision" : command + (" failed: " + failure);
  } catch (const std::exception& e) {
    why = std::string("the module failed: ") + e.what();
  }
  // Asking again may have worked after all.
  if (!Attribute(i_device, "FirmwareRev").empty()) why.clear();
  if (!why.empty()) why = "identity unreadable: " + why;
  return m_identityProblems[i_device.handle] = why;
}

std::string C_Host::LockKey(const S_Device& i_device, C_Session* i_session) {
  return C_DriveLock::Key(Trimmed(Attribute(i_device, "SerialNumber", i_session)),
                          Trimmed(Attribute(i_device, "WWN", i_session)), i_device.id);
}

C_Device* C_Host::DeviceObject(const S_Device& i_device) const {
  return i_device.handle ? i_device.handle->GetDevice() : nullptr;
}
