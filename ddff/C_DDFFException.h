// Defined inside C_DDFF.h, which includes this header after the class;
// including this header alone includes C_DDFF.h (outside the guard, so the
// enclosing class is always complete first).
#include "ddff/C_DDFF.h"

#ifndef VEK_DDFF_C_DDFFEXCEPTION_H
#define VEK_DDFF_C_DDFFEXCEPTION_H

#include <stdexcept>

// A failure to build or parse a DDFF request. The text is held in a fixed
// 256-character buffer: longer messages are cut to 255 characters. Thrown by
// value; copying is cheap and cannot fail.
class VEK_API C_DDFF::C_Exception : public std::runtime_error {
 public:
  explicit C_Exception(const char* i_text);
  ~C_Exception() override;
  const char* what() const noexcept override { return m_szText; }

 private:
  char m_szText[256];
};

#endif
