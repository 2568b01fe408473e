#ifndef VEK_DRIVERS_LINUX_C_LINUXDRIVER_H
#define VEK_DRIVERS_LINUX_C_LINUXDRIVER_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "drivers/linux/C_SgTransport.h"
#include "drivers/linux/N_LinuxSysfs.h"
#include "module/C_Driver.h"

class C_Device;

// The driver for the SCSI, SAS and SATA disks that Linux shows: every
// command block goes to the drive's SCSI generic node through SG_IO.
//
// Discovery (sysfs under S_Options::root): one C_LinuxHost per SCSI host
// that has devices; below it one target per disk (peripheral device type
// 0) whose /dev/sgN opens: a C_AtaTarget for a SATA disk (INQUIRY vendor
// "ATA", or the ATA Information VPD page 0x89 listed and IDENTIFY DEVICE
// answered through ATA PASS-THROUGH), else a C_ScsiTarget. Devices that are not disks, and disks whose node cannot be
// opened, are not created; Skipped() says why. Each discovery keeps the
// devices that exist and adds new ones.
//
// Commands: SCSI blocks go as they are; the ATA target's 0xC6 block becomes
// ATA PASS-THROUGH(16) (N_AtaPassThrough) and IDENTIFY DEVICE strings come
// back in reading order. WRITE BUFFER and DOWNLOAD MICROCODE wait up to
// downloadTimeout seconds, the rest commandTimeout. Results are the codes of
// N_LinuxResult. A unit attention is answered by sending the command once
// more; nothing else is retried. The sense data of a failed command is kept
// and answers the next REQUEST SENSE to that drive (the kernel has already
// taken it from the drive), so "RequestSense" shows what the drive said.
// Control requests: 0x02 fills the address (channel, target, lun); 0x03
// resets (kind 1 logical unit, 2 target, 3 bus, 4 host).
//
// In use: a command that may change the drive (anything but INQUIRY,
// REQUEST SENSE, TEST UNIT READY, MODE SENSE, the other reads of its
// state, and IDENTIFY DEVICE) is refused with IN_USE, and nothing is sent,
// while the drive is mounted, holds a mounted partition or active swap, or
// is held by md, LVM or device-mapper, unless S_Options::force. A drive
// found free is not looked at again for a second, so a download of many
// segments reads the mount table about once a second, not once a segment.
//
// Threads: commands to distinct drives may run at once; the driver's own
// state is locked, the drive's command runs outside the lock.
class C_LinuxDriver : public C_Driver {
 public:
  struct S_Options {
    std::string root = "/";         // where sys/, dev/ and proc/ are
    unsigned commandTimeout = 60;   // seconds
    unsigned downloadTimeout = 600; // seconds, WRITE BUFFER, DOWNLOAD MICROCODE
    bool force = false;             // send to drives in use all the same
  };
  // A SCSI device discovery did not make a target of, and why.
  struct S_Skipped {
    N_LinuxSysfs::S_ScsiDevice device;
    std::string reason;
  };

  // A null transport means SG_IO through libsgutils2 (C_SgTransport).
  explicit C_LinuxDriver(const S_Options& i_options,
                         std::unique_ptr<C_SgTransport> i_transport = nullptr);
  ~C_LinuxDriver() override;

  bool Init() override;
  // Closes every node.
  void Cleanup() override;
  void CleanupDevice(C_Device* i_device) override;
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) override;
  bool FindRootChildren(C_Root* i_root) override;
  bool FindDeviceChildren(C_Device* i_device) override;

  // Of the last discovery, in address order.
  std::vector<S_Skipped> Skipped() const;
  // The names an operator may use for a device (C_LinuxTargetId::Names);
  // empty for a device this driver did not create.
  std::vector<std::string> Names(C_Device* i_device) const;
  // Why the drive must not be changed now ("mounted at /mnt (sdb1)"), or "".
  std::string InUse(C_Device* i_device) const;
  // The sense data of the drive's last failed command, empty when its last
  // command succeeded.
  std::vector<std::uint8_t> LastSense(C_Device* i_device) const;
  // What went wrong with the drive's last failed command beyond its code
  // ("SG_IO: No such device", "no answer within 600 s"), "" when nothing.
  std::string LastDetail(C_Device* i_device) const;
  const S_Options& Options() const { return m_options; }

 private:
  struct S_Node {
    N_LinuxSysfs::S_ScsiDevice device;  // for a host: only host is set
    bool host = false;
    bool ata = false;
    int fd = -1;
    std::vector<std::uint8_t> sense;
    std::string detail;
    std::chrono::steady_clock::time_point foundFree;  // last time found not in use
  };

  bool Knows(const std::string& i_key) const;
  bool IsAta(int i_fd, const N_LinuxSysfs::S_ScsiDevice& i_device);
  // False when the drive is in use (and force is off).
  bool MayChange(C_Device* i_device, const S_Node& i_node);
  int Control(Driver::S_Command& io_command, C_Device* i_device, const S_Node& i_node);
  // Sends one block, once more after a unit attention; keeps the sense.
  int Send(Driver::S_Command& io_command, C_Device* i_device, const S_Node& i_node,
           const std::uint8_t* i_cdb, std::uint8_t i_cdbLength, unsigned i_timeout,
           bool i_testUnitReady);
  void Keep(C_Device* i_device, const std::vector<std::uint8_t>& i_sense,
            const std::string& i_detail = std::string());

  S_Options m_options;
  std::unique_ptr<C_SgTransport> m_transport;
  mutable std::mutex m_mutex;
  std::map<C_Device*, S_Node> m_nodes;
  std::vector<N_LinuxSysfs::S_ScsiDevice> m_scan;  // of the last FindRootChildren
  std::vector<S_Skipped> m_skipped;
};

#endif
