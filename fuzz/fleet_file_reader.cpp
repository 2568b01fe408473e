// Fuzz target: any bytes as a fleet file (C_SimStore::ReadFleetFile, what
// vekctl --fleet reads). A file is refused with C_SimStore::C_Error naming
// it, or read into a fleet that, written as the store writes it, reads back
// the same.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/SimFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string path = N_FuzzFiles::Write("fleet.json", i_data, i_size);
  S_SimFleet fleet;
  try {
    fleet = C_SimStore::ReadFleetFile(path);
  } catch (const C_SimStore::C_Error& e) {
    if (std::string(e.what()).find(path) == std::string::npos) std::abort();
    return 0;
  }
  N_SimFuzz::CheckWrittenReadsBack(fleet);
  return 0;
}
