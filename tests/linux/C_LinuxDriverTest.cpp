#ifdef VEK_HAVE_LINUX_DRIVER
#include "drivers/linux/C_LinuxDriver.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <deque>
#include <filesystem>
#include <functional>

#include "device/C_Device.h"
#include "drivers/linux/N_LinuxResult.h"
#include "module/C_Root.h"
#include "support/TestSupport.h"
#include "targets/C_AtaTarget.h"

namespace {

typedef std::vector<std::uint8_t> T_Bytes;
namespace fs = std::filesystem;

T_Bytes Fixed(int i_key, int i_asc, int i_ascq) {
  T_Bytes sense(18, 0);
  sense[0] = 0x70;
  sense[2] = static_cast<std::uint8_t>(i_key);
  sense[7] = 10;
  sense[12] = static_cast<std::uint8_t>(i_asc);
  sense[13] = static_cast<std::uint8_t>(i_ascq);
  return sense;
}

// Answers like a small disk: standard INQUIRY, VPD pages 0x00 and 0x80,
// IDENTIFY DEVICE with its strings stored as ATA stores them; everything
// else GOOD. Replies queued in m_next come first. Records what was sent.
class C_FakeTransport : public C_SgTransport {
 public:
  struct S_Sent {
    T_Bytes cdb;
    unsigned timeout;
  };
  std::vector<S_Sent> sent;
  std::deque<S_Reply> next;
  std::vector<std::string> opened;
  int resets = 0;
  bool listsPage89 = false;
  bool identifies = true;  // answers IDENTIFY DEVICE through ATA PASS-THROUGH

  int Open(const std::string& i_path, int& o_errno) override {
    struct stat info;
    o_errno = stat(i_path.c_str(), &info) == 0 ? 0 : ENOENT;
    opened.push_back(i_path);
    return o_errno ? -1 : static_cast<int>(opened.size());
  }
  void Close(int) override {}
  int Reset(int, int) override { return ++resets, 0; }
  S_Reply Send(int, const S_Request& i_request) override {
    sent.push_back({T_Bytes(i_request.cdb, i_request.cdb + i_request.cdbLength),
                    i_request.timeoutSeconds});
    S_Reply reply;
    if (!next.empty()) {
      reply = next.front();
      next.pop_front();
      return reply;
    }
    T_Bytes data;
    const std::uint8_t* cdb = i_request.cdb;
    if (cdb[0] == 0x12 && !(cdb[1] & 1)) {
      data.assign(56, ' ');
      data[0] = 0;
      const std::string identity = "KESTREL KS-4000         0102";
      std::copy(identity.begin(), identity.end(), data.begin() + 8);
    } else if (cdb[0] == 0x12 && cdb[2] == 0x00) {
      data = {0, 0, 0, 3, 0x00, 0x80, static_cast<std::uint8_t>(listsPage89 ? 0x89 : 0x83)};
    } else if (cdb[0] == 0x12 && cdb[2] == 0x80) {
      data = {0, 0x80, 0, 4, 'S', 'N', '4', '2'};
    } else if (cdb[0] == 0x85 && cdb[14] == 0xEC && identifies) {
      data.assign(512, ' ');
      const std::pair<int, std::string> fields[] = {
          {20, "QZ5A000X    "}, {46, "QZTA2001"}, {54, "QZA-AT5-00      "}};
      for (const auto& field : fields) {
        std::copy(field.second.begin(), field.second.end(), data.begin() + field.first);
      }
    }
    reply.transferred = static_cast<std::uint32_t>(std::min<std::size_t>(data.size(), i_request.dataLength));
    if (i_request.data) std::copy(data.begin(), data.begin() + reply.transferred, i_request.data);
    return reply;
  }
};

// A fake root: sys/, dev/ and proc/ of one machine with a SCSI host 1
// (scsi_debug-like) holding a SCSI disk, a CD-ROM and a disk whose node is
// missing, and a host 2 (ahci) holding a SATA disk.
class C_LinuxDriverTest : public ::testing::Test {
 protected:
  C_LinuxDriverTest() {
    AddDevice("sg0", "1:0:0:0", 0, "KESTREL", "sdb", "scsi_debug");
    AddDevice("sg1", "1:0:1:0", 5, "QEMU", "", "scsi_debug");
    AddDevice("sg2", "1:0:2:0", 0, "HALCYON", "sdc", "scsi_debug");
    fs::remove(m_dir.File("dev/sg2"));
    AddDevice("sg3", "2:0:0:0", 0, "ATA", "sda", "ahci");
    Write("sys/block/sdb/dev", "8:16\n");
    Write("sys/block/sdb/sdb1/dev", "8:17\n");
    Write("proc/self/mountinfo", "22 1 0:21 / /proc rw - proc proc rw\n");
    Write("proc/swaps", "Filename Type Size Used Priority\n");
  }

  void Write(const std::string& i_path, const std::string& i_text) {
    fs::create_directories(fs::path(m_dir.File(i_path)).parent_path());
    WriteFileBytes(m_dir.File(i_path), i_text);
  }

  void AddDevice(const std::string& i_sg, const std::string& i_address, int i_type,
                 const std::string& i_vendor, const std::string& i_block,
                 const std::string& i_hostDriver) {
    const std::string host = "host" + i_address.substr(0, i_address.find(':'));
    const std::string device = "sys/devices/" + host + "/" + i_address;
    Write(device + "/type", std::to_string(i_type) + "\n");
    Write(device + "/vendor", i_vendor + "\n");
    if (!i_block.empty()) fs::create_directories(m_dir.File(device + "/block/" + i_block));
    Write("sys/class/scsi_host/" + host + "/proc_name", i_hostDriver + "\n");
    fs::create_directories(m_dir.File("sys/class/scsi_generic/" + i_sg));
    fs::create_symlink(m_dir.File(device), m_dir.File("sys/class/scsi_generic/" + i_sg + "/device"));
    Write("dev/" + i_sg, "");
  }

  // Builds the tree on a driver with m_options; returns the devices by id.
  std::map<std::string, C_Device*> Start(bool i_listsPage89 = false, bool i_identifies = true) {
    Stop();
    m_transport = new C_FakeTransport();
    m_transport->listsPage89 = i_listsPage89;
    m_transport->identifies = i_identifies;
    m_options.root = m_dir.Path();
    m_driver = new C_LinuxDriver(m_options, std::unique_ptr<C_SgTransport>(m_transport));
    m_root.reset(new C_Root());
    m_root->SetDriver(m_driver);
    m_root->Init();
    m_root->FindChildren();
    std::map<std::string, C_Device*> drives;
    for (auto host = m_root->ChildrenBegin(); host != m_root->ChildrenEnd(); ++host) {
      (*host)->FindChildren();
      drives[static_cast<C_Device*>(*host)->GetAttribute("DeviceId")] = static_cast<C_Device*>(*host);
      for (auto drive = (*host)->ChildrenBegin(); drive != (*host)->ChildrenEnd(); ++drive) {
        C_Device* device = static_cast<C_Device*>(*drive);
        drives[device->GetAttribute("DeviceId")] = device;
      }
    }
    m_transport->sent.clear();
    return drives;
  }

  int Call(C_Device* i_device, std::vector<std::string> i_args) {
    std::vector<const char*> argv;
    for (const std::string& arg : i_args) argv.push_back(arg.c_str());
    return i_device->CallOperation(i_args[0], static_cast<int>(argv.size()), argv.data());
  }

  void Stop() {
    if (m_root) m_root->Cleanup();
    m_root.reset();
  }
  ~C_LinuxDriverTest() override { Stop(); }

  C_TempDir m_dir;
  C_LinuxDriver::S_Options m_options;
  C_FakeTransport* m_transport = nullptr;
  C_LinuxDriver* m_driver = nullptr;
  std::unique_ptr<C_Root> m_root;
};

TEST_F(C_LinuxDriverTest, DiscoversDisksAndSaysWhyOthersAreSkipped) {
  auto drives = Start();
  ASSERT_EQ(drives.size(), 4u);  // host1, host2, sdb, sda
  EXPECT_EQ(drives["host1"]->GetAttribute("ProductId"), "scsi_debug");
  EXPECT_EQ(drives["sdb"]->GetAttribute("VendorId"), "KESTREL");
  EXPECT_EQ(drives["sdb"]->GetAttribute("SerialNumber"), "SN42");
  EXPECT_EQ(m_driver->Names(drives["sdb"]),
            (std::vector<std::string>{"sdb", "/dev/sdb", "sg0", "/dev/sg0", "1:0:0:0"}));
  // The SATA disk: IDENTIFY through ATA PASS-THROUGH, strings in reading order.
  ASSERT_NE(dynamic_cast<C_AtaTarget*>(drives["sda"]), nullptr);
  EXPECT_EQ(drives["sda"]->GetAttribute("ProductId"), "ZQ-ATA-500");
  EXPECT_EQ(drives["sda"]->GetAttribute("FirmwareRev"), "0210");
  EXPECT_EQ(drives["sda"]->GetAttribute("SerialNumber").substr(0, 8), "ZQA500X0");
  const std::vector<C_LinuxDriver::S_Skipped> skipped = m_driver->Skipped();
  ASSERT_EQ(skipped.size(), 2u);
  EXPECT_EQ(skipped[0].reason, "peripheral device type 5 (CD/DVD), not a disk");
  EXPECT_EQ(skipped[1].reason, "cannot open /dev/sg2: No such file or directory");
}

// Not vendor "ATA": a SATA disk behind a translation layer lists VPD page
// 0x89 and answers IDENTIFY DEVICE; an emulated disk may only list the page.
TEST_F(C_LinuxDriverTest, VpdPage89AndIdentifyMakeAnAtaTarget) {
  EXPECT_EQ(dynamic_cast<C_AtaTarget*>(Start(false, false)["sdb"]), nullptr);
  EXPECT_EQ(dynamic_cast<C_AtaTarget*>(Start(true, false)["sdb"]), nullptr);
  EXPECT_NE(dynamic_cast<C_AtaTarget*>(Start(true, true)["sdb"]), nullptr);
}

TEST_F(C_LinuxDriverTest, RetriesAUnitAttentionOnceAndKeepsTheSense) {
  auto drives = Start();
  C_SgTransport::S_Reply attention;
  attention.status = 0x02;
  attention.sense = Fixed(0x6, 0x3F, 0x16);
  C_SgTransport::S_Reply refused = attention;
  refused.sense = Fixed(0x5, 0x26, 0x00);

  m_transport->next = {attention};  // then GOOD
  EXPECT_EQ(Call(drives["sdb"], {"TestUnitReady"}), 0);
  EXPECT_EQ(m_transport->sent.size(), 2u);

  m_transport->sent.clear();
  m_transport->next = {attention, attention, attention};
  EXPECT_EQ(Call(drives["sdb"], {"TestUnitReady"}), 1106);
  EXPECT_EQ(m_transport->sent.size(), 2u);

  m_transport->next = {refused};
  std::vector<char> image(1024);
  EXPECT_EQ(Call(drives["sdb"], {"WriteBuffer", "7", std::to_string(reinterpret_cast<unsigned long>(image.data())), "0", "1024"}), 1105);
  EXPECT_EQ(m_driver->LastSense(drives["sdb"]), refused.sense);
  m_transport->sent.clear();
  EXPECT_EQ(Call(drives["sdb"], {"RequestSense"}), 0);  // from what was kept
  EXPECT_TRUE(m_transport->sent.empty());
  EXPECT_EQ(drives["sdb"]->GetAttribute("$SenseData").substr(0, 12), " 70  0  5  0");
  EXPECT_TRUE(m_driver->LastSense(drives["sdb"]).empty());
}

TEST_F(C_LinuxDriverTest, DownloadsGetTheirOwnTimeout) {
  m_options.commandTimeout = 20;
  m_options.downloadTimeout = 900;
  auto drives = Start();
  std::vector<char> image(4096);
  const std::string address = std::to_string(reinterpret_cast<unsigned long>(image.data()));
  EXPECT_EQ(Call(drives["sdb"], {"WriteBuffer", "7", address, "0", "4096"}), 0);
  EXPECT_EQ(Call(drives["sdb"], {"TestUnitReady"}), 0);
  ASSERT_EQ(m_transport->sent.size(), 2u);
  EXPECT_EQ(m_transport->sent[0].timeout, 900u);
  EXPECT_EQ(m_transport->sent[1].timeout, 20u);
}

TEST_F(C_LinuxDriverTest, RefusesToChangeADriveInUseUnlessForced) {
  struct S_Case {
    const char* file;
    const char* text;
    const char* reason;
  } cases[] = {
      {"proc/self/mountinfo", "30 1 8:17 / /mnt/data rw - vfat /dev/sdb1 rw\n",
       "mounted at /mnt/data (sdb1)"},
      {"proc/self/mountinfo", "30 1 0:44 / /srv\\040x rw - btrfs /dev/sdb rw\n",
       "mounted at /srv x (sdb)"},
      {"proc/swaps", "Filename Type\n/dev/sdb1 partition 1 0 -2\n", "active swap (sdb1)"},
      {"sys/block/dm-0/dm/name", "vg-root\n", "held by dm-0 (vg-root) through sdb1"},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.reason);
    Write("proc/self/mountinfo", "");
    Write("proc/swaps", "");
    fs::remove_all(m_dir.File("sys/block/sdb/sdb1/holders"));
    Write(c.file, c.text);
    if (std::string(c.file).find("dm-0") != std::string::npos) {
      fs::create_directories(m_dir.File("sys/block/sdb/sdb1/holders/dm-0"));
    }
    m_options.force = false;
    auto drives = Start();
    EXPECT_EQ(m_driver->InUse(drives["sdb"]), c.reason);
    EXPECT_EQ(Call(drives["sdb"], {"StartStopUnit", "0", "1"}), N_LinuxResult::IN_USE);
    EXPECT_EQ(Call(drives["sdb"], {"Reset"}), N_LinuxResult::IN_USE);
    EXPECT_EQ(Call(drives["sdb"], {"Inquiry"}), 0);  // reading is harmless
    EXPECT_EQ(m_transport->sent.size(), 1u);
    EXPECT_EQ(m_transport->resets, 0);
    m_options.force = true;
    drives = Start();
    EXPECT_EQ(Call(drives["sdb"], {"StartStopUnit", "0", "1"}), 0);
  }
}

}  // namespace
#endif
