// Fuzz target: any bytes as a deferred-flash request image, read from memory
// and from a file (C_DDFF::Read, both forms). Each read must end in success
// or a C_DDFF::C_Exception, and the two must agree: the same message on
// failure, the same report on success. What was read must report and build
// again without fault.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "ddff/C_DDFF.h"
#include "fuzz/FuzzFiles.h"

namespace {

// The report of a successful read, or "error: <message>".
std::string Outcome(C_DDFF& io_request, const std::string& i_read) {
  std::ostringstream report;
  io_request.Dump(report);
  io_request.GetRequest();
  return i_read.empty() ? report.str() : "error: " + i_read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string path = N_FuzzFiles::Write("request.dat", i_data, i_size);
  C_DDFF fromMemory, fromFile;
  std::string memoryError, fileError;
  try {
    fromMemory.Read(i_data, i_size, path);
  } catch (const C_DDFF::C_Exception& e) {
    memoryError = e.what();
  }
  try {
    fromFile.Read(path);
  } catch (const C_DDFF::C_Exception& e) {
    fileError = e.what();
  }
  if (Outcome(fromMemory, memoryError) != Outcome(fromFile, fileError)) std::abort();
  return 0;
}
