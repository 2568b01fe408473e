#ifndef VEK_MODULE_C_ROOT_H
#define VEK_MODULE_C_ROOT_H

#include <memory>

#include "device/C_EntityNode.h"
#include "module/C_Driver.h"

// The top of the device tree. It owns the instance's one driver and hands it
// every tree-wide request. The host constructs it, gives it its driver, calls
// Init, enumerates, and at the end calls Cleanup and destroys it; the driver
// is destroyed before the devices it created.
class VEK_API C_Root : public C_EntityNode {
 public:
  C_Root();
  ~C_Root() override;

  // Takes ownership of i_driver. An earlier driver is neither destroyed nor
  // detached (it leaves the root's care): set the driver once.
  void SetDriver(C_Driver* i_driver);
  C_Driver* GetDriver() const override { return m_driver.get(); }

  // The driver's Init; false without a driver.
  bool Init() override;
  // The driver's FindRootChildren; false without a driver.
  bool FindChildren() override;
  // The driver's ForwardCommand; 0 without a driver.
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_origin) override;
  // Cleans every child in list order, then the driver. Needs a driver.
  void Cleanup() override;

 private:
  // Destroyed with the root's own members, before the base destroys the
  // children: the driver goes before the devices it created.
  std::unique_ptr<C_Driver> m_driver;
};

#endif
