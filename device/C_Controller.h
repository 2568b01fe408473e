#ifndef VEK_DEVICE_C_CONTROLLER_H
#define VEK_DEVICE_C_CONTROLLER_H

#include <string>

#include "device/C_FirmwareRev.h"
#include "device/C_ProductId.h"
#include "device/C_ScsiDevice.h"

// A storage controller in the tree: the parent of drive targets. The host's
// driver creates it, fills its identity with the setters and attaches the
// drives below it. Command blocks from its children pass through it up the
// tree (ForwardCommand); a driver may derive from it to add controller
// operations (for example "BlinkDriveLeds") or the direct routes.
class VEK_API C_Controller : public C_ScsiDevice {
 public:
  C_Controller();
  ~C_Controller() override;

  // True: the controller's identity is given by its driver.
  bool Init() override;
  // Passes i_command to the parent's ForwardCommand; 1029 without a parent.
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_origin) override;
  // Sends a command block of the controller's own through the parent.
  int ExecuteCommand(Driver::S_Command* i_command) override;

  unsigned int GetDeviceType() const override { return m_deviceType; }
  const std::string& GetVendorId() const override { return m_vendorId; }
  const C_ProductId& GetProductId() const override { return m_productId; }
  const C_FirmwareRev& GetFirmwareRev() const override { return m_firmwareRev; }
  const C_FirmwareRev& GetActiveFwRev() const override { return m_activeFwRev; }

  void SetDeviceType(unsigned int i_type) { m_deviceType = i_type; }
  void SetVendorId(const std::string& i_vendor) { m_vendorId = i_vendor; }
  void SetProductId(const C_ProductId& i_product) { m_productId = i_product; }
  void SetFirmwareRev(const C_FirmwareRev& i_rev) { m_firmwareRev = i_rev; }
  void SetActiveFwRev(const C_FirmwareRev& i_rev) { m_activeFwRev = i_rev; }
  using C_Device::SetDeviceId;

 private:
  unsigned int m_deviceType;
  std::string m_vendorId;
  C_ProductId m_productId;
  C_FirmwareRev m_firmwareRev;
  C_FirmwareRev m_activeFwRev;
};

#endif
