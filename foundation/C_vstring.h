#ifndef VEK_FOUNDATION_C_VSTRING_H
#define VEK_FOUNDATION_C_VSTRING_H

#include <cstdarg>
#include <string>

#include "foundation/Export.h"

// A std::string that printf formats into, as long as the result needs. It
// adds no data, so it may be used wherever a std::string is.
class VEK_API C_vstring : public std::string {
 public:
  C_vstring() {}
  C_vstring(const std::string& i_text) : std::string(i_text) {}

  // Replaces the content with the formatted text; returns *this. A format
  // the C library rejects leaves the string empty.
  C_vstring& Format(const char* i_format, ...) __attribute__((format(printf, 2, 3)));
  // Appends the formatted text; returns *this. A rejected format appends
  // nothing.
  C_vstring& AppendFormat(const char* i_format, ...) __attribute__((format(printf, 2, 3)));
  C_vstring& FormatV(const char* i_format, va_list i_args);
  C_vstring& AppendFormatV(const char* i_format, va_list i_args);
};

#endif
