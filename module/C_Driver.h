#ifndef VEK_MODULE_C_DRIVER_H
#define VEK_MODULE_C_DRIVER_H

#include <string>

#include "foundation/Export.h"

class C_Device;
class C_Root;
namespace Driver {
struct S_Command;
}

// Abstract controller driver. The host supplies the concrete driver: it opens
// the controller, discovers the drives, creates the module's targets as
// children (SetParent), gives each a target id, calls its Init, and performs
// every command block that a device sends up the tree.
//
// Ownership: the root owns the driver; the driver owns the target ids it
// gives devices and frees them in CleanupDevice. Threads: the host
// serialises calls into one instance.
class VEK_API C_Driver {
 public:
  // i_code is stored as is; the module never reads it.
  explicit C_Driver(unsigned int i_code);
  virtual ~C_Driver();
  C_Driver(const C_Driver&) = delete;
  C_Driver& operator=(const C_Driver&) = delete;

  // Opens the controller.
  virtual bool Init() = 0;
  // Null: nothing. Otherwise clears the device's target id and destroys it.
  virtual void CleanupDevice(C_Device* i_device);
  virtual void Cleanup() = 0;
  // Performs one command block for i_device; 0 is success, anything else is
  // returned unchanged to the operation that sent it.
  virtual int ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) = 0;
  // Discover and attach children. Called at every enumeration: keep the
  // devices that exist, add new ones, never duplicate.
  virtual bool FindRootChildren(C_Root* i_root) = 0;
  virtual bool FindDeviceChildren(C_Device* i_device) = 0;
  // "<no device>" for null, "<no target ID>" without a target id, else the
  // target id's text.
  virtual std::string GetDeviceId(C_Device* i_device);

  unsigned int GetCode() const { return m_code; }
  const std::string& GetName() const { return m_name; }
  const std::string& GetVersion() const { return m_version; }
  const std::string& GetMinVersion() const { return m_minVersion; }

 protected:
  void SetName(const std::string& i_name) { m_name = i_name; }
  void SetVersion(const std::string& i_version) { m_version = i_version; }
  void SetMinVersion(const std::string& i_version) { m_minVersion = i_version; }

 private:
  unsigned int m_code;
  std::string m_name;
  std::string m_version;
  std::string m_minVersion;
};

#endif
