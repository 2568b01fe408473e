#ifndef VEK_FUZZ_SIMFUZZ_H
#define VEK_FUZZ_SIMFUZZ_H

// Helpers of the simulator's fuzz targets.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "drivers/sim/C_SimDrive.h"
#include "drivers/sim/C_SimStore.h"
#include "drivers/sim/N_SimSense.h"
#include "fuzz/FuzzFiles.h"
#include "host/C_Exception.h"

namespace N_SimFuzz {

// Sends one command block to a drive model, as the driver would. Aborts on
// a result the driver never answers with; a C_Exception (the throwOnOpcode
// fault) counts as a transport error.
inline int Send(S_SimDrive& io_drive, C_SimDrive::S_Transient& io_transient,
                std::vector<std::uint8_t> i_cdb, std::vector<std::uint8_t>& io_data,
                std::uint8_t i_direction, std::uint32_t i_requestType = Driver::REQUEST_DEVICE) {
  std::uint8_t sense[32] = {};
  Driver::S_Command command = {};
  command.cdb = i_cdb.data();
  command.cdbLength = static_cast<std::uint8_t>(i_cdb.size());
  command.dataBuffer = io_data.empty() ? nullptr : io_data.data();
  command.dataLength = static_cast<std::uint32_t>(io_data.size());
  command.senseBuffer = sense;
  command.senseLength = sizeof sense;
  command.direction = i_direction;
  command.requestType = i_requestType;
  bool changed = false;
  int result;
  try {
    result = C_SimDrive(io_drive, io_transient).Execute(command, changed);
  } catch (const C_Exception&) {
    return N_SimSense::TRANSPORT_ERROR;
  }
  if (result != N_SimSense::GOOD && result != N_SimSense::CHECK_CONDITION &&
      result != N_SimSense::BUSY && result != N_SimSense::TRANSPORT_ERROR) {
    std::abort();
  }
  if (command.dataLength > io_data.size()) std::abort();
  io_data.resize(command.dataLength);
  return result;
}

// What the store writes for a fleet (a state file, which is also a fleet
// file: dump(1) of its JSON) must read back as the same fleet.
inline void CheckWrittenReadsBack(const S_SimFleet& i_fleet) {
  try {
    const std::string written = nlohmann::json(i_fleet).dump(1);
    if (nlohmann::json(nlohmann::json::parse(written).get<S_SimFleet>()).dump(1) != written) {
      std::abort();
    }
  } catch (const std::exception&) {
    std::abort();
  }
}

}  // namespace N_SimFuzz

#endif
