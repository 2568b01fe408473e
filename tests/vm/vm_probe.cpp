// vek-vm-probe: runs inside the test guest against the kernel's own SCSI
// stack (scsi_debug, libata behind AHCI) and prints one line per case,
// "VMCASE <name> PASS|FAIL <what was seen>", for vm/boot.sh to judge.
//
//   vek-vm-probe ops SCSI-DISK    every named operation of the SCSI target
//   vek-vm-probe flash SCSI-DISK  "Flash" in 32 KiB segments, new revision
//   vek-vm-probe faults SCSI-DISK failures on purpose, a time-out
//   vek-vm-probe ata ATA-DISK     IDENTIFY and a refused DOWNLOAD MICROCODE
//
// It uses the module and the Linux driver in process (as any host program
// may), with two seams of its own: a transport that counts what reaches
// SG_IO, and a driver that, like a drive activating new microcode at a
// reset, sets scsi_debug's revision when "Flash" resets the drive.
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "device/C_Device.h"
#include "drivers/linux/C_LinuxDriver.h"
#include "drivers/linux/N_LinuxResult.h"
#include "module/C_Root.h"
#include "targets/S_Command.h"
#include "tools/N_Sense.h"
#include "tools/N_Text.h"

namespace {

using N_Text::Address;

const char INQ_REV[] = "/sys/module/scsi_debug/parameters/inq_rev";

void Set(const std::string& i_path, const std::string& i_value) {
  std::ofstream(i_path) << i_value;
}

// Counts the commands that reach SG_IO and remembers their CDBs.
class C_CountingTransport : public C_SgTransport {
 public:
  std::vector<std::vector<std::uint8_t>> sent;
  S_Reply Send(int i_fd, const S_Request& i_request) override {
    sent.emplace_back(i_request.cdb, i_request.cdb + i_request.cdbLength);
    return C_SgTransport::Send(i_fd, i_request);
  }
};

class C_ActivatingDriver : public C_LinuxDriver {
 public:
  using C_LinuxDriver::C_LinuxDriver;
  std::string newRevision;
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) override {
    if (!newRevision.empty() && i_command->requestType == Driver::REQUEST_CONTROL &&
        i_command->cdb[0] == Driver::CONTROL_RESET) {
      Set(INQ_REV, newRevision);
    }
    return C_LinuxDriver::ForwardCommand(i_command, i_device);
  }
};

struct S_Probe {
  C_CountingTransport* transport;
  C_ActivatingDriver* driver;
  C_Root root;
  C_Device* drive = nullptr;

  S_Probe(const std::string& i_name, unsigned i_downloadTimeout = 600) {
    transport = new C_CountingTransport();
    C_LinuxDriver::S_Options options;
    options.downloadTimeout = i_downloadTimeout;
    driver = new C_ActivatingDriver(options, std::unique_ptr<C_SgTransport>(transport));
    root.SetDriver(driver);
    root.Init();
    root.FindChildren();
    for (auto host = root.ChildrenBegin(); host != root.ChildrenEnd(); ++host) {
      (*host)->FindChildren();
      for (auto it = (*host)->ChildrenBegin(); it != (*host)->ChildrenEnd(); ++it) {
        C_Device* device = static_cast<C_Device*>(*it);
        if (device->GetAttribute("DeviceId") == i_name) drive = device;
      }
    }
  }
  ~S_Probe() { root.Cleanup(); }

  int Call(std::vector<std::string> i_args) {
    std::vector<const char*> argv;
    for (const std::string& arg : i_args) argv.push_back(arg.c_str());
    return drive->CallOperation(i_args[0], static_cast<int>(argv.size()), argv.data());
  }
  std::string Sense() {
    std::vector<std::uint8_t> bytes;
    N_Sense::ParseByteAttribute(drive->GetAttribute("$SenseData"), bytes);
    const N_Sense::S_Decoded sense = N_Sense::Decode(bytes);
    return sense.valid ? N_Sense::Summary(sense.key, sense.asc, sense.ascq) : "no sense";
  }
};

bool Report(const std::string& i_name, bool i_pass, const std::string& i_seen) {
  std::printf("VMCASE %s %s %s\n", i_name.c_str(), i_pass ? "PASS" : "FAIL", i_seen.c_str());
  std::fflush(stdout);
  return i_pass;
}

bool Expect(const std::string& i_name, int i_status, int i_want, const std::string& i_more = "") {
  return Report(i_name, i_status == i_want,
                "status " + std::to_string(i_status) + " (want " + std::to_string(i_want) + ")" +
                    (i_more.empty() ? "" : "; " + i_more));
}

int Ops(S_Probe& io_probe) {
  bool ok = true;
  std::uint8_t tur[6] = {0, 0, 0, 0, 0, 0};
  Driver::S_Command command = {};
  command.cdb = tur;
  command.cdbLength = 6;
  command.direction = Driver::DIRECTION_NONE;
  command.requestType = Driver::REQUEST_DEVICE;
  ok &= Expect("op-ExecuteCommand", io_probe.Call({"ExecuteCommand", Address(&command)}), 0);
  ok &= Expect("op-Inquiry", io_probe.Call({"Inquiry"}), 0,
               "product " + io_probe.drive->GetAttribute("ProductId"));
  ok &= Expect("op-ModeSense", io_probe.Call({"ModeSense", "0", "8"}), 0);
  // scsi_debug refuses the save-pages bit that the module's MODE SELECT
  // always sets: the refusal must come back with the drive's own words.
  const int select = io_probe.Call({"ModeSelect", "0", "8", "2", "1", "4"});
  io_probe.Call({"RequestSense"});
  const std::string said = io_probe.Sense();
  ok &= Report("op-ModeSelect", select == 1105 && said.find("ILLEGAL REQUEST") == 0,
               "status " + std::to_string(select) + ", drive said: " + said);
  // The caching page read by hand, then compared whole and with one byte off.
  std::uint8_t modeSense[6] = {0x1A, 0, 0x08, 0, 0xFF, 0};
  std::uint8_t page[255] = {};
  io_probe.Call({"VendorSpecificCmd", "0", "6", Address(modeSense), "1", "255", Address(page)});
  std::vector<std::string> compare = {"CmprModePage", "0", "8", "0", std::to_string(page[13])};
  for (int i = 0; i < page[13]; ++i) compare.push_back(std::to_string(page[14 + i]));
  const int equal = io_probe.Call(compare);
  compare[5] = std::to_string(page[14] ^ 0x01);
  const int differs = io_probe.Call(compare);
  ok &= Report("op-CmprModePage", page[12] == 0x08 && equal == 2000 && differs == 2001,
               "page length " + std::to_string(page[13]) + ", status " + std::to_string(equal) +
                   " equal, " + std::to_string(differs) + " with one byte off");
  ok &= Expect("op-TestUnitReady", io_probe.Call({"TestUnitReady"}), 0);
  ok &= Expect("op-StartStopUnit", io_probe.Call({"StartStopUnit", "0", "1", "1"}), 0);
  std::vector<std::uint8_t> segment(32768, 0x5A);
  ok &= Expect("op-WriteBuffer", io_probe.Call({"WriteBuffer", "7", Address(segment.data()), "0", "32768"}), 0);
  std::uint8_t inquiry[6] = {0x12, 0, 0, 0, 36, 0};
  std::uint8_t data[36] = {};
  const int vendorStatus =
      io_probe.Call({"VendorSpecificCmd", "0", "6", Address(inquiry), "1", "36", Address(data)});
  const std::string vendor(reinterpret_cast<char*>(data) + 8, 8);
  ok &= Report("op-VendorSpecificCmd", vendorStatus == 0 && vendor == "Linux   ",
               "status " + std::to_string(vendorStatus) + ", vendor '" + vendor + "'");
  ok &= Expect("op-Reset", io_probe.Call({"Reset"}), 0);
  const std::size_t before = io_probe.transport->sent.size();
  ok &= Expect("op-RequestSense", io_probe.Call({"RequestSense"}), 0,
               std::to_string(io_probe.transport->sent.size() - before) + " sent");
  ok &= Expect("op-BlinkLeds", io_probe.Call({"BlinkLeds"}), 1027);
  ok &= Expect("op-Flash-empty", io_probe.Call({"Flash", "0", Address(segment.data())}), 0);
  return ok ? 0 : 1;
}

int Flash(S_Probe& io_probe) {
  const std::string old = io_probe.drive->GetAttribute("FirmwareRev");
  std::vector<std::uint8_t> image(4 << 20);
  for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<std::uint8_t>(i * 7);
  io_probe.driver->newRevision = "0200";
  io_probe.transport->sent.clear();
  const int status = io_probe.Call({"Flash", std::to_string(image.size()), Address(image.data())});
  std::size_t segments = 0, resent = 0, offsetsRight = 0;
  const std::vector<std::uint8_t>* previous = nullptr;
  for (const auto& cdb : io_probe.transport->sent) {
    if (cdb[0] != 0x3B) continue;
    if (previous && *previous == cdb) {
      ++resent;  // the same segment again after a unit attention
    } else {
      const unsigned offset = cdb[3] << 16 | cdb[4] << 8 | cdb[5];
      const unsigned length = cdb[6] << 16 | cdb[7] << 8 | cdb[8];
      offsetsRight += cdb[1] == 7 && offset == segments * 32768 && length == 32768;
      ++segments;
    }
    previous = &cdb;
  }
  const std::string now = io_probe.drive->GetAttribute("FirmwareRev");
  return Report("flash-segments", status == 0 && segments == 128 && offsetsRight == 128 &&
                                      resent == 127 && old != now && now == "0200",
                "status " + std::to_string(status) + ", " + std::to_string(segments) +
                    " segments (" + std::to_string(offsetsRight) + " at their offsets), " +
                    std::to_string(resent) + " sent again after a unit attention, revision " +
                    old + " -> " + now)
             ? 0
             : 1;
}

int Faults(const std::string& i_name) {
  bool ok = true;
  {
    S_Probe probe(i_name);
    if (!probe.drive) return Report("faults", false, i_name + " not found") ? 0 : 1;
    // scsi_debug fails every command with ABORTED COMMAND.
    Set("/sys/bus/pseudo/drivers/scsi_debug/every_nth", "1");
    Set("/sys/bus/pseudo/drivers/scsi_debug/opts", "16");
    probe.transport->sent.clear();
    const int status = probe.Call({"TestUnitReady"});
    const std::size_t sent = probe.transport->sent.size();
    const int sense = probe.Call({"RequestSense"});
    Set("/sys/bus/pseudo/drivers/scsi_debug/opts", "0");
    Set("/sys/bus/pseudo/drivers/scsi_debug/every_nth", "0");
    const std::string decoded = probe.Sense();
    ok &= Report("fault-aborted", status == 1111 && sent == 1 && sense == 0 &&
                                      decoded.find("ABORTED COMMAND") == 0,
                 "status " + std::to_string(status) + ", sent " + std::to_string(sent) +
                     " time(s), drive said: " + decoded);
  }
  {
    S_Probe probe(i_name, 3);
    std::vector<std::uint8_t> segment(32768);
    Set("/sys/bus/pseudo/drivers/scsi_debug/every_nth", "1");
    Set("/sys/bus/pseudo/drivers/scsi_debug/opts", "4");
    probe.transport->sent.clear();
    const int status = probe.Call({"WriteBuffer", "7", Address(segment.data()), "0", "32768"});
    Set("/sys/bus/pseudo/drivers/scsi_debug/opts", "0");
    Set("/sys/bus/pseudo/drivers/scsi_debug/every_nth", "0");
    ok &= Report("fault-timeout", status == N_LinuxResult::TIMEOUT && probe.transport->sent.size() == 1,
                 "status " + std::to_string(status) + " (" + N_LinuxResult::Describe(status) +
                     "; " + probe.driver->LastDetail(probe.drive) + "), sent " +
                     std::to_string(probe.transport->sent.size()) + " time(s)");
    ok &= Expect("fault-timeout-recovers", probe.Call({"TestUnitReady"}), 0);
  }
  return ok ? 0 : 1;
}

int Ata(S_Probe& io_probe) {
  bool ok = true;
  ok &= Report("ata-identify",
               io_probe.drive->GetAttribute("ProductId") == "ZQ-ATA-500" &&
                   io_probe.drive->GetAttribute("FirmwareRev") == "0210" &&
                   io_probe.drive->GetAttribute("SerialNumber").find("ZQA500X1") == 0 &&
                   io_probe.transport->sent.size() >= 1 && io_probe.transport->sent[0][0] == 0x85,
               "product " + io_probe.drive->GetAttribute("ProductId") + ", revision " +
                   io_probe.drive->GetAttribute("FirmwareRev") + ", serial '" +
                   io_probe.drive->GetAttribute("SerialNumber") + "'");
  std::vector<std::uint8_t> image(65536, 0xA5);
  io_probe.transport->sent.clear();
  const int status =
      io_probe.Call({"WriteBuffer", "7", Address(image.data()), "0", std::to_string(image.size())});
  const std::vector<std::uint8_t> sense = io_probe.driver->LastSense(io_probe.drive);
  std::string cdb;
  for (std::uint8_t byte : io_probe.transport->sent.at(0)) {
    char hex[4];
    std::snprintf(hex, sizeof(hex), "%02X ", byte);
    cdb += hex;
  }
  const N_Sense::S_Decoded decoded = N_Sense::Decode(sense);
  io_probe.Call({"Inquiry"});
  ok &= Report("ata-download-refused",
               status == 1111 && decoded.key == 0xB &&
                   cdb == "85 0A 06 00 07 00 80 00 00 00 00 00 00 00 92 00 " &&
                   io_probe.drive->GetAttribute("FirmwareRev") == "0210",
               "status " + std::to_string(status) + ", sent " + cdb + ", sense " +
                   N_Sense::Hex(sense) + ", revision " + io_probe.drive->GetAttribute("FirmwareRev"));
  return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: vek-vm-probe ops|flash|faults|ata DISK\n");
    return 2;
  }
  const std::string what = argv[1], name = argv[2];
  if (what == "faults") return Faults(name);
  S_Probe probe(name);
  if (!probe.drive) return Report(what, false, name + " not found") ? 0 : 1;
  if (what == "ops") return Ops(probe);
  if (what == "flash") return Flash(probe);
  if (what == "ata") return Ata(probe);
  return 2;
}
