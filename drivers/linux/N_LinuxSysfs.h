#ifndef VEK_DRIVERS_LINUX_N_LINUXSYSFS_H
#define VEK_DRIVERS_LINUX_N_LINUXSYSFS_H

#include <string>
#include <vector>

// What Linux says about its SCSI devices, read from sysfs and proc under a
// root directory ("/" on a machine; a fake tree in tests). Plain reads of
// small files: nothing is sent to a drive.
namespace N_LinuxSysfs {

// One SCSI device with a SCSI generic node
// (sys/class/scsi_generic/sgN/device).
struct S_ScsiDevice {
  std::string address;  // "1:0:0:0": host, channel, target, lun
  int host = -1;
  int channel = 0, target = 0, lun = 0;
  std::string sg;     // "sg1"
  std::string block;  // "sdb", "" without a block device
  int type = -1;      // peripheral device type; 0 is a disk
  std::string vendor, model, revision;  // as sysfs shows them, blanks trimmed
  std::string hostDriver;               // the host's proc_name ("ahci")
};

// Every device with a SCSI generic node, ordered by address. An
// unreadable entry is left out. Throws nothing.
std::vector<S_ScsiDevice> Scan(const std::string& i_root);

// The name of a peripheral device type ("disk", "CD/DVD", "enclosure").
std::string TypeName(int i_type);

// Why the block device i_block (and its partitions) must not be changed:
// "mounted at /mnt/data (sdb1)", "active swap (sdb2)", "held by dm-0
// (vg-root)". "" when it is free or i_block is empty.
std::string InUse(const std::string& i_root, const std::string& i_block);

}  // namespace N_LinuxSysfs

#endif
