#include "tools/N_Text.h"

namespace N_Text {

std::string Trimmed(const std::string& i_text) {
  const auto first = i_text.find_first_not_of(' ');
  if (first == std::string::npos) return std::string();
  return i_text.substr(first, i_text.find_last_not_of(' ') - first + 1);
}

std::string Address(const void* i_pointer) {
  return std::to_string(reinterpret_cast<unsigned long>(i_pointer));
}

}  // namespace N_Text
