#include "Common/Localization/N_PrintfFormat.h"

#include <cstring>

namespace Local {
namespace N_PrintfFormat {

namespace {
// Skips up to four digits; false when there are more (a width of 10000 or
// more would only make snprintf pad for a long time into a short buffer).
bool SkipDigits(const char*& io_p) {
  int digits = 0;
  while (*io_p >= '0' && *io_p <= '9') {
    if (++digits > 4) return false;
    ++io_p;
  }
  return true;
}

bool Fits(E_Kind i_kind, const char* i_length, char i_conversion) {
  auto in = [](char c, const char* set) { return c != '\0' && std::strchr(set, c) != nullptr; };
  const bool intWidth = !*i_length || !std::strcmp(i_length, "h") || !std::strcmp(i_length, "hh");
  switch (i_kind) {
    case INT:
    case UNSIGNED_INT:
    case LONG:
    case UNSIGNED_LONG:
      // The caller passes the value at the width the format names (see
      // TakesLong), so every integer kind fits every integer format.
      return (intWidth && in(i_conversion, "diouxXc")) ||
             (!std::strcmp(i_length, "l") && in(i_conversion, "diouxX"));
    case DOUBLE:
      return (!*i_length || !std::strcmp(i_length, "l")) && in(i_conversion, "fFeEgGaA");
    case STRING:
      return !*i_length && i_conversion == 's';
  }
  return false;
}
}  // namespace

bool IsSafe(const char* i_format, E_Kind i_kind) {
  if (!i_format) return false;
  int conversions = 0;
  const char* p = i_format;
  while (*p) {
    if (*p++ != '%') continue;
    if (*p == '%') {
      ++p;
      continue;
    }
    while (*p && std::strchr("-+ #0'", *p)) ++p;
    if (!SkipDigits(p)) return false;
    if (*p == '.') {
      ++p;
      if (!SkipDigits(p)) return false;
    }
    char length[3] = {0, 0, 0};
    if (*p == 'h' || *p == 'l') {
      length[0] = *p++;
      if (*p == length[0]) length[1] = *p++;
    }
    if (!Fits(i_kind, length, *p)) return false;
    ++p;
    if (++conversions > 1) return false;
  }
  return true;
}

bool TakesLong(const char* i_format) {
  for (const char* p = i_format; p && *p; ++p) {
    if (*p != '%') continue;
    if (*++p == '%') continue;
    while (*p && std::strchr("-+ #0'.0123456789", *p)) ++p;
    return *p == 'l';
  }
  return false;
}

}  // namespace N_PrintfFormat
}  // namespace Local
