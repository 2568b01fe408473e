// Fuzz target: any bytes as a message catalog, locale/en_US/vek.msg of a
// facility directory. The catalog search (C_StringTable) must accept the
// file exactly when the in-memory check (TextIsOk) does; the private-profile
// reader on the file must find what the scan of the same text finds; and
// every template found is formatted with arguments of several kinds.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Common/Localization/C_StringTable.h"
#include "Common/Localization/C_Text.h"
#include "Common/Localization/TextFormat.h"
#include "foundation/N_FileUtilities.h"
#include "fuzz/FuzzFiles.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string text(reinterpret_cast<const char*>(i_data), i_size);
  const std::string file = N_FuzzFiles::Write("locale/en_US/vek.msg", i_data, i_size);
  const Local::C_StringTable table(N_FuzzFiles::Directory() + "/vek", "en_US");
  if (table.IsGood() != Local::C_StringTable::TextIsOk(text, "en_US", "vek")) std::abort();

  Local::C_Text arguments;
  arguments.AddArg("N", 7);
  arguments.AddArg("CODE", 1034ul);
  arguments.AddArg("MSG", std::string("message"));
  for (const char* key : {"Signature", "Locale", "Facility", "0", "1", "1024", "4000", "65535", ""}) {
    std::string scanned;
    const bool found = N_FileUtilities::FindProfileValue(text, "", key, scanned);
    std::string read;
    N_FileUtilities::GetPrivateProfileString("", key, "(none)", read, file);
    if (read != (found ? scanned : "(none)")) std::abort();
    N_FileUtilities::GetPrivateProfileInt("", key, -1, file);
    if (!found) continue;
    char* end = nullptr;
    const unsigned long id = std::strtoul(key, &end, 10);
    if (table.IsGood() && *key && !*end && id <= 0xFFFF &&
        table.GetString(static_cast<unsigned short>(id)) != scanned) {
      std::abort();
    }
    Local::Format::printf(scanned, arguments);
  }
  return 0;
}
