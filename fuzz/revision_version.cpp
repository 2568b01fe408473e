// Fuzz target: firmware revisions and version numbers. The input is two
// texts separated by the first line feed (or one text and an empty one).
//  - C_FirmwareRev ordering: never a < a, never both a < b and b < a;
//    std::out_of_range is the one failure allowed (short "ZQ" texts).
//  - C_Version parsing of each text: either a value that prints and parses
//    back to itself, or the int* exception with the object left unchanged.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "device/C_FirmwareRev.h"
#include "device/C_Version.h"

namespace {

// a < b, or -1 when the comparison throws out_of_range.
int Less(const C_FirmwareRev& i_a, const C_FirmwareRev& i_b) {
  try {
    return i_a < i_b ? 1 : 0;
  } catch (const std::out_of_range&) {
    return -1;
  }
}

void ParseVersion(const std::string& i_text) {
  const unsigned sentinel = 0xA5A5A5A5u;
  C_Version version(sentinel);
  try {
    version.Set(i_text);
  } catch (int* e) {
    const bool unchanged = *e == 1 && version.Get() == sentinel;
    delete e;
    if (!unchanged) std::abort();
    return;
  }
  try {
    if (!(C_Version(version.GetString()) == version)) std::abort();
  } catch (int* e) {
    delete e;
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string input(reinterpret_cast<const char*>(i_data), i_size);
  const std::size_t newline = input.find('\n');
  const std::string first = input.substr(0, newline);
  const std::string second = newline == std::string::npos ? std::string() : input.substr(newline + 1);
  const C_FirmwareRev a(first), b(second);
  if (Less(a, a) == 1 || Less(b, b) == 1 || (Less(a, b) == 1 && Less(b, a) == 1)) std::abort();
  ParseVersion(first);
  ParseVersion(second);
  return 0;
}
