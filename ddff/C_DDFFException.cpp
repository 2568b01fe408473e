#include "ddff/C_DDFFException.h"

#include <cstdio>

namespace {
// The text as the fixed buffer will hold it, for the base class too.
std::string Cut(const char* i_text) {
  std::string text(i_text ? i_text : "");
  if (text.size() > 255) text.resize(255);
  return text;
}
}  // namespace

C_DDFF::C_Exception::C_Exception(const char* i_text) : std::runtime_error(Cut(i_text)) {
  std::snprintf(m_szText, sizeof m_szText, "%s", i_text ? i_text : "");
}

C_DDFF::C_Exception::~C_Exception() = default;
