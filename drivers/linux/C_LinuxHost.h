#ifndef VEK_DRIVERS_LINUX_C_LINUXHOST_H
#define VEK_DRIVERS_LINUX_C_LINUXHOST_H

#include <string>

#include "device/C_Controller.h"

// A SCSI host of the Linux kernel (a host bus adapter, an AHCI port, the
// scsi_debug adapter) in the device tree: the parent of its drives.
// Attributes: "DeviceId" ("host1"), "Kind" ("scsi_host"), "VendorId"
// ("Linux"), "ProductId" (the kernel driver's name, "ahci"). Operation
// "BlinkDriveLeds" answers 1027: a plain SCSI host has no drive LEDs to
// drive.
class C_LinuxHost : public C_Controller {
 public:
  C_LinuxHost(int i_host, const std::string& i_driver);
  ~C_LinuxHost() override;

 private:
  int OpBlinkDriveLeds(int argc, const char** argv);
};

#endif
