#include "tools/N_LinuxFlash.h"

#include <fmt/core.h>

#include "drivers/linux/C_LinuxDriver.h"
#include "tools/N_ExitStatus.h"

namespace N_LinuxFlash {

namespace {

// ATA error and status registers from the sense data of a failed ATA
// PASS-THROUGH: the ATA Status Return descriptor (type 09h) of descriptor
// sense; in fixed sense the information bytes 3 and 4 when VALID is set,
// else bytes 8 and 9, where Linux 6.1's libata puts them. False when
// there is no such data.
bool AtaRegisters(const std::vector<std::uint8_t>& i_sense, int& o_error, int& o_status) {
  if (i_sense.size() >= 8 && (i_sense[0] & 0x7F) == 0x72) {
    for (std::size_t at = 8; at + 13 < i_sense.size() && at < 8u + i_sense[7];
         at += 2u + i_sense[at + 1]) {
      if (i_sense[at] == 0x09) {
        o_error = i_sense[at + 3];
        o_status = i_sense[at + 13];
        return true;
      }
    }
    return false;
  }
  if (i_sense.size() >= 10 && (i_sense[0] & 0x7F) == 0x70) {
    const std::size_t at = (i_sense[0] & 0x80) ? 3 : 8;
    o_error = i_sense[at];
    o_status = i_sense[at + 1];
    return true;
  }
  return false;
}

}  // namespace

bool WholeImage(C_Host& io_host, const C_Host::S_Device& i_device) {
  return io_host.Linux() && i_device.kind == "ATA";
}

void Check(const S_Options& i_options, C_Host& io_host, const C_FlashJob& i_job,
           std::uint64_t i_imageSize) {
  C_LinuxDriver* linux = io_host.Linux();
  if (!linux) return;
  const C_Host::S_Device& device = i_job.Device();
  if (!i_options.force) {
    const std::string use = linux->InUse(io_host.DeviceObject(device));
    if (!use.empty()) {
      throw C_Failure(N_ExitStatus::FAILED,
                      device.id + ": in use, " + use +
                          ": vekctl does not flash a drive in use; release it, or give --force; "
                          "nothing was sent");
    }
    // The flash lock that keeps two vekctl processes off one drive is keyed
    // by its serial number: a drive without one cannot be told apart.
    if (io_host.Attribute(device, "SerialNumber").find_first_not_of(' ') == std::string::npos) {
      throw C_Failure(N_ExitStatus::FAILED,
                      device.id + ": the drive reports no serial number, so it cannot be told "
                                  "apart from others or locked for the flash; give --force to "
                                  "flash it all the same; nothing was sent");
    }
  }
  if (WholeImage(io_host, device) && i_imageSize % 512 != 0) {
    throw C_Failure(N_ExitStatus::FAILED,
                    fmt::format("{}: {} bytes is not a multiple of 512: an ATA drive takes its "
                                "microcode in whole 512-byte blocks ({}); nothing was sent",
                                i_options.image, i_imageSize, device.id));
  }
}

std::string Detail(C_Host& io_host, const C_Host::S_Device& i_device) {
  C_LinuxDriver* linux = io_host.Linux();
  if (!linux) return std::string();
  C_Device* object = io_host.DeviceObject(i_device);
  std::string detail = linux->LastDetail(object);
  int error = 0, status = 0;
  if (i_device.kind == "ATA" && AtaRegisters(linux->LastSense(object), error, status)) {
    if (!detail.empty()) detail += "; ";
    detail += fmt::format("ATA error {:#04x}, status {:#04x}", error, status);
  }
  return detail;
}

}  // namespace N_LinuxFlash
