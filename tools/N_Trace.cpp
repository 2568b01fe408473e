#include "tools/N_Trace.h"

#include <fmt/core.h>

#include <algorithm>
#include <sstream>
#include <vector>

#include "foundation/C_HexConverter.h"
#include "targets/S_Command.h"
#include "tools/N_Sense.h"

namespace N_Trace {

namespace {

const unsigned SHORT_DUMP = 256;

const char* RequestName(std::uint32_t i_type) {
  switch (i_type) {
    case Driver::REQUEST_DEVICE: return "device";
    case Driver::REQUEST_CONTROLLER: return "controller";
    case Driver::REQUEST_CONTROL: return "control";
    default: return "request?";
  }
}

const char* DirectionName(std::uint8_t i_direction) {
  switch (i_direction) {
    case Driver::DIRECTION_OUT: return "out";
    case Driver::DIRECTION_IN: return "in";
    default: return "none";
  }
}

// The converter's lines, indented under the block's line.
std::string Dump(const std::uint8_t* i_data, unsigned i_length) {
  C_HexConverter converter;
  std::istringstream lines(converter.Convert(i_data, i_length));
  std::string text, line;
  while (std::getline(lines, line)) text += "\n      " + line;
  return text;
}

}  // namespace

std::string Describe(const Driver::S_Command& i_command, const std::string& i_device, int i_result,
                     int i_verbosity) {
  const std::vector<std::uint8_t> cdb(
      i_command.cdb, i_command.cdb ? i_command.cdb + i_command.cdbLength : i_command.cdb);
  std::string text = fmt::format(
      "  {} {} [{}] {} {} -> {}", i_device, RequestName(i_command.requestType), N_Sense::Hex(cdb),
      DirectionName(i_command.direction), i_command.dataLength, i_result);
  if (i_verbosity >= 2 && i_command.dataBuffer && i_command.dataLength &&
      i_command.direction != Driver::DIRECTION_NONE) {
    const unsigned length = i_verbosity >= 3 ? i_command.dataLength
                                             : std::min<unsigned>(i_command.dataLength, SHORT_DUMP);
    text += Dump(i_command.dataBuffer, length);
    if (length < i_command.dataLength)
      text += fmt::format("\n      ... {} more bytes", i_command.dataLength - length);
  }
  if (i_result != 0 && i_command.senseBuffer && i_command.senseLength && i_command.senseBuffer[0]) {
    const std::vector<std::uint8_t> sense = C_ObservingDriver::SenseBytes(i_command);
    text += "\n      sense " + N_Sense::Hex(sense);
    // Decoded, with the ATA registers of a failed ATA pass-through block.
    const std::string decoded = N_Sense::Describe(sense, i_command.cdb && i_command.cdb[0] == 0xC6);
    if (!decoded.empty()) text += ": " + decoded;
  }
  return text;
}

C_ObservingDriver::T_Observer Tracer(C_Printer& io_printer, C_Driver& io_driver) {
  C_Printer* printer = &io_printer;
  C_Driver* driver = &io_driver;
  return [printer, driver](const Driver::S_Command& i_command, C_Device* i_device, int i_result) {
    if (printer->Verbosity() < 1) return;
    printer->Verbose(
        1, Describe(i_command, driver->GetDeviceId(i_device), i_result, printer->Verbosity()));
  };
}

}  // namespace N_Trace
