// Fuzz target: any bytes as the simulator's state file (C_SimStore::Read).
// A state is refused with C_SimStore::C_Error, or read into a fleet that
// reads back the same once written, and whose every drive answers the
// commands the module and vekctl send (identity, sense, mode pages, start,
// reset) with one of the driver's results.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/SimFuzz.h"

namespace {

typedef std::vector<std::uint8_t> T_Bytes;

void Exercise(S_SimDrive& io_drive) {
  C_SimDrive::S_Transient transient;
  auto in = [&](const T_Bytes& i_cdb, std::size_t i_size) {
    T_Bytes data(i_size);
    N_SimFuzz::Send(io_drive, transient, i_cdb, data, Driver::DIRECTION_IN);
    return data;
  };
  in({0x12, 0, 0, 0, 56, 0}, 56);        // INQUIRY
  in({0x12, 1, 0x00, 0, 255, 0}, 255);   // supported VPD pages
  in({0x12, 1, 0x80, 0, 255, 0}, 255);   // unit serial number
  in({0x00, 0, 0, 0, 0, 0}, 0);          // TEST UNIT READY
  in({0x03, 0, 0, 0, 252, 0}, 252);      // REQUEST SENSE
  for (std::uint8_t page : {0x01, 0x08, 0x0A, 0x1C, 0x3F}) {
    for (std::uint8_t control = 0; control < 4; ++control) {
      T_Bytes sensed = in({0x1A, 0x08, static_cast<std::uint8_t>(control << 6 | page), 0, 255, 0}, 255);
      if (control != 0 || sensed.empty()) continue;
      // MODE SELECT of what was read, as "CmprModePage" and vekctl do.
      sensed[0] = 0;
      N_SimFuzz::Send(io_drive, transient,
                      {0x15, 0x10, 0, 0, static_cast<std::uint8_t>(sensed.size()), 0}, sensed,
                      Driver::DIRECTION_OUT);
    }
  }
  in({0x1B, 0, 0, 0, 0x01, 0}, 0);                            // START UNIT
  in({0xC6, 0x01, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 512);     // ATA IDENTIFY DEVICE
  T_Bytes address(3), none;
  N_SimFuzz::Send(io_drive, transient, {Driver::CONTROL_GET_ADDRESS}, address, Driver::DIRECTION_IN,
                  Driver::REQUEST_CONTROL);
  N_SimFuzz::Send(io_drive, transient, {Driver::CONTROL_RESET, 0}, none, Driver::DIRECTION_NONE,
                  Driver::REQUEST_CONTROL);
  in({0x03, 0, 0, 0, 252, 0}, 252);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string path = N_FuzzFiles::Write("state.json", i_data, i_size);
  S_SimFleet fleet;
  try {
    fleet = C_SimStore(path, S_SimFleet::Default()).Read();
  } catch (const C_SimStore::C_Error&) {
    return 0;
  }
  N_SimFuzz::CheckWrittenReadsBack(fleet);
  for (S_SimController& controller : fleet.controllers) {
    for (S_SimDrive& drive : controller.drives) Exercise(drive);
  }
  return 0;
}
