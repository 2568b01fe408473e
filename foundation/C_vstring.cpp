#include "foundation/C_vstring.h"

#include "foundation/StringUtil.h"

C_vstring& C_vstring::Format(const char* i_format, ...) {
  va_list args;
  va_start(args, i_format);
  FormatV(i_format, args);
  va_end(args);
  return *this;
}

C_vstring& C_vstring::AppendFormat(const char* i_format, ...) {
  va_list args;
  va_start(args, i_format);
  AppendFormatV(i_format, args);
  va_end(args);
  return *this;
}

C_vstring& C_vstring::FormatV(const char* i_format, va_list i_args) {
  assign(stringFormatV(i_format, i_args));
  return *this;
}

C_vstring& C_vstring::AppendFormatV(const char* i_format, va_list i_args) {
  append(stringFormatV(i_format, i_args));
  return *this;
}
