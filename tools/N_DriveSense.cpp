#include "tools/N_DriveSense.h"

#include "drivers/linux/C_LinuxDriver.h"
#include "tools/N_Messages.h"

namespace N_DriveSense {

namespace {
const char SENSE_ATTRIBUTE[] = "$SenseData";
}

std::string FailureText(const C_ObservingDriver::S_Failure& i_failure) {
  if (i_failure.result == 0) return std::string();
  if (!i_failure.sense.empty()) {
    // The module's ATA pass-through block, and the translations' own.
    const bool ata = i_failure.opcode == 0xC6 || i_failure.opcode == 0x85 ||
                     i_failure.opcode == 0xA1;
    const std::string sense = N_Sense::Describe(i_failure.sense, ata);
    if (!sense.empty()) return sense;
  }
  std::string text = N_Messages::Status(i_failure.result);
  if (!i_failure.what.empty()) text += ": " + i_failure.what;
  return text;
}

std::vector<std::uint8_t> Current(C_Host& io_host, const C_Host::S_Device& i_device,
                                  C_Host::C_Session* i_session) {
  std::vector<std::uint8_t> bytes;
  N_Sense::ParseByteAttribute(io_host.Attribute(i_device, SENSE_ATTRIBUTE, i_session), bytes);
  return bytes;
}

bool Fetch(C_Host& io_host, const C_Host::S_Device& i_device, C_Host::C_Session* i_session,
           N_Sense::S_Decoded& o_sense) {
  o_sense = N_Sense::S_Decoded();
  // An ATA target's "RequestSense" sends nothing: the Linux driver keeps
  // the sense of the drive's last failed command.
  if (C_LinuxDriver* linux = io_host.Linux()) {
    if (i_device.kind == "ATA") {
      o_sense = N_Sense::Decode(linux->LastSense(io_host.DeviceObject(i_device)));
      return o_sense.valid && o_sense.key != 0;
    }
  }
  if (!io_host.HasOperation(i_device, "RequestSense", i_session)) return false;
  // The attribute keeps the last sense; clearing is not offered, so an old
  // value is told from a new one by the request's own result.
  if (io_host.Call(i_device, {"RequestSense"}, i_session) != 0) return false;
  o_sense = N_Sense::Decode(Current(io_host, i_device, i_session));
  return o_sense.valid && o_sense.key != 0;
}

}  // namespace N_DriveSense
