#ifndef VEK_FOUNDATION_STRINGUTIL_H
#define VEK_FOUNDATION_STRINGUTIL_H

#include <cstdarg>
#include <string>

#include "foundation/Export.h"

// Removes every leading (TrimLeft) or trailing (TrimRight) occurrence of
// i_char from io_text; other characters, blanks included, are kept.
VEK_API void TrimLeft(std::string& io_text, char i_char);
VEK_API void TrimRight(std::string& io_text, char i_char);

// printf into a std::string of whatever length the result needs.
VEK_API std::string stringFormat(const char* i_format, ...) __attribute__((format(printf, 1, 2)));
VEK_API std::string stringFormatV(const char* i_format, va_list i_args);

// Parses a number as strtoul/strtol with base 0 (0x hexadecimal, leading 0
// octal, else decimal); trailing text is ignored, a null or empty text is 0.
// ParseUnsigned has the width of a pointer, so host addresses that travel as
// text survive on 64-bit hosts.
VEK_API long ParseSigned(const char* i_text);
VEK_API unsigned long ParseUnsigned(const char* i_text);
// The address an argument carries, as a pointer.
template <class T>
T* ParseAddress(const char* i_text) {
  return reinterpret_cast<T*>(static_cast<unsigned long>(ParseUnsigned(i_text)));
}

#endif
