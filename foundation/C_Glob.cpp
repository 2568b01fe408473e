#include "foundation/C_Glob.h"

#include <glob.h>

#include "host/C_Exception.h"

C_Glob::C_Glob(const std::string& i_pattern, int i_flags) : m_status(0) {
  glob_t found{};
  m_status = ::glob(i_pattern.c_str(), i_flags, nullptr, &found);
  if (m_status == 0) m_paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  ::globfree(&found);
  if (m_status == GLOB_NOSPACE) C_Exception::ThrowBadAlloc(__FILE__, __LINE__, 0, "glob results");
}
