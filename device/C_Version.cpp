#include "device/C_Version.h"

#include <cstdlib>

#include "foundation/StringUtil.h"

void C_Version::Set(const std::string& i_text) {
  std::string::size_type starts[4] = {0, 0, 0, 0};
  for (int i = 1; i < 4; ++i) {
    std::string::size_type dot = i_text.find('.', starts[i - 1]);
    if (dot == std::string::npos) throw new int(1);
    starts[i] = dot + 1;
  }
  unsigned int value = 0;
  for (std::string::size_type start : starts) {
    unsigned int part = static_cast<unsigned int>(std::atoi(i_text.c_str() + start)) & 0xFF;
    value = (value << 8) + part;
  }
  m_value = value;
}

std::string C_Version::GetString() const {
  return stringFormat("%02d.%02d.%02d.%02d", (m_value >> 24) & 0xFF, (m_value >> 16) & 0xFF,
                      (m_value >> 8) & 0xFF, m_value & 0xFF);
}
