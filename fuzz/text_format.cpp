// Fuzz target: any bytes as a message template (Local::Format::printf),
// formatted with one argument of each kind the texts carry. Without
// arguments the output can never be longer than the template; the traced
// form must give the same output and one state per character.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "Common/Localization/C_Text.h"
#include "Common/Localization/TextFormat.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string templ(reinterpret_cast<const char*>(i_data), i_size);
  static const Local::C_Text empty;
  static const Local::C_Text arguments = [] {
    Local::C_Text text;
    text.AddArg("i", -1);
    text.AddArg("u", 2u);
    text.AddArg("l", -3l);
    text.AddArg("ul", 4ul);
    text.AddArg("d", 5.5);
    text.AddArg("s", std::string("six"));
    text.AddArg("t", C_Time(0));
    return text;
  }();
  if (Local::Format::printf(templ, empty).size() > templ.size()) std::abort();
  std::vector<int> states;
  if (Local::Format::printf(templ, arguments, &states) != Local::Format::printf(templ, arguments) ||
      states.size() != templ.size()) {
    std::abort();
  }
  return 0;
}
