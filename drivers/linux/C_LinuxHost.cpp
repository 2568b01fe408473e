#include "drivers/linux/C_LinuxHost.h"

#include "module/E_Status.h"

C_LinuxHost::C_LinuxHost(int i_host, const std::string& i_driver) {
  const std::string name = "host" + std::to_string(i_host);
  SetVendorId("Linux");
  SetProductId(C_ProductId(i_driver));
  SetDeviceId(C_DeviceId(name));
  AddAttribute("DeviceId", name);
  AddAttribute("Kind", std::string("scsi_host"));
  AddAttribute("VendorId", std::string("Linux"));
  AddAttribute("ProductId", i_driver);
  RegisterOperation("BlinkDriveLeds", this, &C_LinuxHost::OpBlinkDriveLeds);
}

C_LinuxHost::~C_LinuxHost() = default;

int C_LinuxHost::OpBlinkDriveLeds(int, const char**) { return VEK_STATUS_NOT_SUPPORTED; }
