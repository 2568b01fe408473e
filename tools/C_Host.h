#ifndef VEK_TOOLS_C_HOST_H
#define VEK_TOOLS_C_HOST_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/C_ModuleServices.h"
#include "host/C_VekInstance.h"
#include "module/C_Root.h"
#include "tools/C_ModuleApi.h"
#include "drivers/common/C_ObservingDriver.h"
#include "tools/S_Options.h"

class C_Device;
class C_LinuxDriver;
class C_SimDriver;
class C_VekDevice;

// vekctl's host of the module: the loaded library (C_ModuleApi), the root
// with its driver (wrapped in a C_ObservingDriver), the service object and
// the instance, and the enumerated device tree with one open handle per
// device. Attributes, operation names and calls all go through the entry
// points.
//
// The tree is built on first use (Devices, Find): the driver's Init, then
// one enumeration of the whole tree. Commands that only talk to the driver
// (the sim commands) never build it, so they work on a state the driver
// cannot open.
//
// Threads: one thread uses the host, except that flash jobs call Call with
// their own C_Session on distinct devices at the same time (the module
// allows it: calls are serialised per instance and per handle).
class C_Host {
 public:
  struct S_Device {
    std::string id;    // "DeviceId"
    std::string path;  // ids from the top: "array0/array0:2"
    std::string kind;  // "controller", "SCSI", "ATA", "deferred" or "device"
    int depth = 0;     // 0 for the root's children
    C_VekDevice* handle = nullptr;
  };

  // A service object and an instance of its own, for a thread that calls
  // operations alongside others.
  class C_Session {
   public:
    explicit C_Session(C_EntityNode* i_root) : m_services(i_root), m_instance(&m_services) {}
    C_VekInstance* Instance() { return &m_instance; }

   private:
    C_ModuleServices m_services;
    C_VekInstance m_instance;
  };

  // Loads the module and creates the driver named by the options. Throws
  // C_Failure: a module that cannot be used (3), a fleet file that cannot
  // be read (3).
  explicit C_Host(const S_Options& i_options);
  ~C_Host();
  C_Host(const C_Host&) = delete;
  C_Host& operator=(const C_Host&) = delete;

  // The tree in enumeration order (parents before their children). Throws
  // C_Failure (3) when the driver cannot be opened.
  const std::vector<S_Device>& Devices();
  // A device by its "DeviceId", "serial:S" (its "SerialNumber", blanks
  // around it ignored) or its path; on Linux also by its other names
  // (/dev/sdb, sg1, /dev/sg1, 1:0:0:0). Throws C_Failure naming i_name: 2
  // when there is no such device, 3 when Linux discovery passed it over
  // (not a disk, node not usable), with the reason.
  const S_Device& Find(const std::string& i_name);

  // The attribute's value ("" when the device has none); a null session
  // uses the host's own instance.
  std::string Attribute(const S_Device& i_device, const std::string& i_name,
                        C_Session* i_session = nullptr);
  // Every attribute, in the device's table order.
  std::vector<std::pair<std::string, std::string>> Attributes(const S_Device& i_device);
  std::vector<std::string> Operations(const S_Device& i_device, C_Session* i_session = nullptr);
  bool HasOperation(const S_Device& i_device, const std::string& i_name,
                    C_Session* i_session = nullptr);
  // Calls i_args[0] with i_args as argv (a terminating null is added); the
  // module's status. Exceptions of the module pass through. A null session
  // uses the host's own instance.
  int Call(const S_Device& i_device, const std::vector<std::string>& i_args,
           C_Session* i_session = nullptr);
  // Why a drive reports no revision: it is asked once more ("Inquiry") and
  // the failure described ("identity unreadable: INQUIRY failed: ILLEGAL
  // REQUEST, invalid field in CDB"). "" for a drive that reports its
  // revision and for devices that are not drives. Remembered per device.
  std::string IdentityProblem(const S_Device& i_device);
  // The last failed command block of the device (C_ObservingDriver).
  C_ObservingDriver::S_Failure LastFailure(const S_Device& i_device) const {
    return Driver().LastFailure(DeviceObject(i_device));
  }
  // The name of the drive's flash lock (C_DriveLock::Key): its serial and,
  // where the device publishes one, its "WWN" attribute.
  std::string LockKey(const S_Device& i_device, C_Session* i_session = nullptr);
  // SCSI, ATA and deferred-flash targets.
  static bool IsDrive(const S_Device& i_device) {
    return i_device.kind == "SCSI" || i_device.kind == "ATA" || i_device.kind == "deferred";
  }

  // The device object behind a handle (for the few things a host does with
  // the classes it links: a deferred-flash target's status and dump).
  C_Device* DeviceObject(const S_Device& i_device) const;

  std::unique_ptr<C_Session> NewSession() {
    return std::unique_ptr<C_Session>(new C_Session(&m_root));
  }
  // The root's driver: always the observing wrapper the constructor gave it.
  C_ObservingDriver& Driver() const { return static_cast<C_ObservingDriver&>(*m_root.GetDriver()); }
  // The simulated controller's driver; null with another driver.
  C_SimDriver* Sim() const;
  // The Linux driver; null with another driver.
  C_LinuxDriver* Linux() const;
  const std::string& ModulePath() const { return m_api.Path(); }

 private:
  void Start();
  void Walk(C_VekDevice* i_parent, const std::string& i_parentPath, int i_depth);
  std::string Kind(C_VekDevice* i_handle);

  C_ModuleApi m_api;
  C_Root m_root;
  C_ModuleServices m_services;
  C_VekInstance m_instance;
  bool m_started;
  std::vector<S_Device> m_devices;
  std::map<C_VekDevice*, std::string> m_identityProblems;
};

#endif
