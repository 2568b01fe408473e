#include "host/C_Exception.h"

#include <cerrno>

C_Exception::C_Exception(const char* i_file, int i_line, const std::string& i_text, int i_errno)
    : m_file(i_file ? i_file : ""), m_line(i_line), m_text(i_text), m_errno(i_errno) {}

C_Exception::~C_Exception() = default;

const char* C_Exception::what() const noexcept { return m_text.c_str(); }

std::string C_Exception::GetString() const { return m_text; }

C_Exception* C_Exception::Clone() const { return new C_Exception(*this); }

void C_Exception::ThrowBadAlloc(const char* i_file, int i_line, std::size_t i_size,
                                const char* i_what) {
  throw C_BadAllocException(i_file, i_line, i_size, i_what);
}

C_BadAllocException::C_BadAllocException(const char* i_file, int i_line, std::size_t i_size,
                                         const char* i_what)
    : C_Exception(i_file, i_line,
                  "Out of memory: " + std::to_string(i_size) + " bytes for " +
                      (i_what ? i_what : "?"),
                  ENOMEM),
      m_size(i_size),
      m_what(i_what ? i_what : "") {}

C_BadAllocException::~C_BadAllocException() = default;

C_Exception* C_BadAllocException::Clone() const { return new C_BadAllocException(*this); }
