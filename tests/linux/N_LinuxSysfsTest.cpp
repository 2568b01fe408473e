#ifdef VEK_HAVE_LINUX_DRIVER
#include "drivers/linux/N_LinuxSysfs.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/TestSupport.h"

namespace {

namespace fs = std::filesystem;

void Write(const C_TempDir& i_root, const std::string& i_path, const std::string& i_text) {
  fs::create_directories(fs::path(i_root.File(i_path)).parent_path());
  WriteFileBytes(i_root.File(i_path), i_text);
}

// A disk sdb (8:16) with a partition sdb1 (8:17) in a fake root, and each
// way Linux shows that it is in use.
TEST(N_LinuxSysfs, SaysWhyADiskIsInUse) {
  const struct { const char *file, *text, *reason; } cases[] = {
      {"proc/self/mountinfo", "22 1 0:21 / /proc rw - proc proc rw\n", ""},
      {"proc/self/mountinfo", "30 1 8:17 / /mnt/data rw - vfat /dev/sdb1 rw\n",
       "mounted at /mnt/data (sdb1)"},
      {"proc/self/mountinfo", "30 1 0:44 / /srv\\040x rw - btrfs /dev/sdb rw\n",
       "mounted at /srv x (sdb)"},
      {"proc/swaps", "Filename Type\n/dev/sdb1 partition 1 0 -2\n", "active swap (sdb1)"},
      {"sys/block/sdb/sdb1/holders/dm-0/x", "", "held by dm-0 (vg-root) through sdb1"},
      {"sys/block/sdb/holders/md0/x", "", "held by md0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reason);
    C_TempDir root;
    Write(root, "sys/block/sdb/dev", "8:16\n");
    Write(root, "sys/block/sdb/sdb1/dev", "8:17\n");
    Write(root, "sys/block/dm-0/dm/name", "vg-root\n");
    Write(root, c.file, c.text);
    EXPECT_EQ(N_LinuxSysfs::InUse(root.Path(), "sdb"), c.reason);
  }
}

TEST(N_LinuxSysfs, ScansGenericNodesInAddressOrder) {
  C_TempDir root;
  for (const char* sg : {"sg1", "sg0"}) {
    const std::string address = sg[2] == '0' ? "2:0:1:0" : "2:0:0:0";
    const std::string device = "sys/devices/host2/" + address;
    Write(root, device + "/type", sg[2] == '0' ? "5\n" : "0\n");
    Write(root, device + "/vendor", "ATA     \n");
    if (sg[2] == '1') fs::create_directories(root.File(device + "/block/sda"));
    fs::create_directories(root.File(std::string("sys/class/scsi_generic/") + sg));
    fs::create_symlink(root.File(device), root.File(std::string("sys/class/scsi_generic/") + sg + "/device"));
  }
  Write(root, "sys/class/scsi_host/host2/proc_name", "ahci\n");
  const std::vector<N_LinuxSysfs::S_ScsiDevice> devices = N_LinuxSysfs::Scan(root.Path());
  ASSERT_EQ(devices.size(), 2u);
  EXPECT_EQ(devices[0].address, "2:0:0:0");
  EXPECT_EQ(devices[0].sg, "sg1");
  EXPECT_EQ(devices[0].block, "sda");
  EXPECT_EQ(devices[0].vendor, "ATA");
  EXPECT_EQ(devices[0].hostDriver, "ahci");
  EXPECT_EQ(devices[1].type, 5);
  EXPECT_EQ(N_LinuxSysfs::TypeName(devices[1].type), "CD/DVD");
}

}  // namespace
#endif
