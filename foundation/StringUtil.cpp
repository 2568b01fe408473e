#include "foundation/StringUtil.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

static_assert(sizeof(unsigned long) == sizeof(void*), "addresses travel as unsigned long");

void TrimLeft(std::string& io_text, char i_char) {
  io_text.erase(0, io_text.find_first_not_of(i_char));
}

void TrimRight(std::string& io_text, char i_char) {
  std::string::size_type last = io_text.find_last_not_of(i_char);
  io_text.erase(last == std::string::npos ? 0 : last + 1);
}

std::string stringFormatV(const char* i_format, va_list i_args) {
  va_list copy;
  va_copy(copy, i_args);
  char small[256];
  int n = std::vsnprintf(small, sizeof small, i_format, copy);
  va_end(copy);
  if (n < 0) return std::string();
  if (static_cast<std::size_t>(n) < sizeof small) return std::string(small, n);
  std::vector<char> big(static_cast<std::size_t>(n) + 1);
  std::vsnprintf(big.data(), big.size(), i_format, i_args);
  return std::string(big.data(), n);
}

std::string stringFormat(const char* i_format, ...) {
  va_list args;
  va_start(args, i_format);
  std::string result = stringFormatV(i_format, args);
  va_end(args);
  return result;
}

long ParseSigned(const char* i_text) { return i_text ? std::strtol(i_text, nullptr, 0) : 0; }

unsigned long ParseUnsigned(const char* i_text) {
  return i_text ? std::strtoul(i_text, nullptr, 0) : 0;
}
