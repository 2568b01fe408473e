#ifndef VEK_DRIVERS_LINUX_C_LINUXTARGETID_H
#define VEK_DRIVERS_LINUX_C_LINUXTARGETID_H

#include <string>
#include <vector>

#include "device/C_TargetId.h"
#include "drivers/linux/N_LinuxSysfs.h"

// The address of a SCSI host ("host1") or of a drive: its host, channel,
// target and lun and its block and SCSI generic device names. The text
// form, which becomes the drive's "DeviceId", is the block device name
// ("sdb"), or the generic one ("sg1") for a drive without a block device.
class C_LinuxTargetId : public C_TargetId {
 public:
  // A SCSI host.
  explicit C_LinuxTargetId(int i_host);
  // A drive.
  explicit C_LinuxTargetId(const N_LinuxSysfs::S_ScsiDevice& i_device);
  ~C_LinuxTargetId() override;

  std::string GetString() const override;
  // Every name an operator may use for it: "sdb", "/dev/sdb", "sg1",
  // "/dev/sg1", "1:0:0:0" (a host: "host1").
  std::vector<std::string> Names() const;
  const N_LinuxSysfs::S_ScsiDevice& Device() const { return m_device; }

 private:
  N_LinuxSysfs::S_ScsiDevice m_device;  // address and names; host only for a host
  bool m_isHost;
};

#endif
