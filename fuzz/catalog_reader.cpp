// Fuzz target (libFuzzer): any bytes as catalog text. Not part of the
// build; see fuzz/cloaked_file_reader.cpp for how to compile. Runs the
// private-profile scan for the catalog keys and a few numbers, the
// signature check, and formats whatever templates it finds.
#include <cstdint>
#include <string>

#include "Common/Localization/C_StringTable.h"
#include "Common/Localization/C_Text.h"
#include "Common/Localization/TextFormat.h"
#include "foundation/N_FileUtilities.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string text(reinterpret_cast<const char*>(i_data), i_size);
  Local::C_StringTable::TextIsOk(text, "en_US", "vek");
  Local::C_Text arguments;
  arguments.AddArg("N", 7);
  arguments.AddArg("MSG", std::string("message"));
  for (const char* key : {"Signature", "Locale", "Facility", "0", "1", "1024", "4000", ""}) {
    std::string value;
    if (N_FileUtilities::FindProfileValue(text, "", key, value)) Local::Format::printf(value, arguments);
  }
  return 0;
}
