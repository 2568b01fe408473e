#ifndef VEK_TESTS_SIM_SIMFLEETTEST_H
#define VEK_TESTS_SIM_SIMFLEETTEST_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "Common/Localization/ValueFormat.h"
#include "drivers/sim/C_SimDriver.h"
#include "host/C_ModuleServices.h"
#include "host/C_VekInstance.h"
#include "module/C_Root.h"
#include "module/C_VekDevice.h"
#include "module/VekExport.h"
#include "support/TestSupport.h"

// A host on the simulated controller, in a temporary state directory: the
// root with a C_SimDriver, the service object, the instance, and every
// device handle of the tree by "DeviceId". For the host's life, sleeping in
// the module is replaced by a counter so flash polling does not wait.
class C_SimHost {
 public:
  explicit C_SimHost(const std::string& i_statePath, const std::string& i_fleetPath = "");
  ~C_SimHost();

  // Enumerates the whole tree again (closing old handles).
  void Enumerate();
  C_VekDevice* Device(const std::string& i_id);
  std::string Attribute(const std::string& i_id, const std::string& i_name);
  int Call(const std::string& i_id, std::vector<std::string> i_args);
  // "Flash" of an image held in memory.
  int Flash(const std::string& i_id, const std::vector<std::uint8_t>& i_image);
  // The ids in enumeration order.
  const std::vector<std::string>& Ids() const { return m_order; }
  // Module sleeps since the host was made.
  static int Sleeps();

  C_Root m_root;
  C_SimDriver* m_driver;
  C_ModuleServices m_services;
  C_VekInstance m_instance;

 private:
  void Walk(C_VekDevice* i_parent);
  std::map<std::string, C_VekDevice*> m_handles;
  std::vector<std::string> m_order;
};

#endif
