#ifndef VEK_HOST_C_EXCEPTION_H
#define VEK_HOST_C_EXCEPTION_H

#include <cstddef>
#include <exception>
#include <string>

#include "host/HostExport.h"

// The host framework's exception: a text, an errno-style code and the source
// location that raised it. The module throws it (and classes derived from it)
// for failures that are not status codes; the entry points pass it through
// unchanged. Safe to copy; Clone() copies polymorphically for hosts that keep
// an exception beyond the handler.
class VEKHOST_API C_Exception : public std::exception {
 public:
  C_Exception(const char* i_file, int i_line, const std::string& i_text = std::string(),
              int i_errno = 0);
  ~C_Exception() override;

  const char* what() const noexcept override;
  // The message text.
  virtual std::string GetString() const;
  // The errno-style code passed at construction (0: none).
  int GetErrno() const { return m_errno; }
  const std::string& GetFile() const { return m_file; }
  int GetLine() const { return m_line; }
  // A heap copy of the most derived exception; the caller owns it.
  virtual C_Exception* Clone() const;

  // Raises the framework's out-of-memory exception (C_BadAllocException)
  // naming the place, the byte count that could not be had and what it was for.
  [[noreturn]] static void ThrowBadAlloc(const char* i_file, int i_line, std::size_t i_size,
                                         const char* i_what);

 protected:
  void SetString(const std::string& i_text) { m_text = i_text; }

 private:
  std::string m_file;
  int m_line;
  std::string m_text;
  int m_errno;
};

// Out of memory: thrown only through C_Exception::ThrowBadAlloc. GetErrno()
// is ENOMEM; GetSize() the requested byte count; GetWhat() the purpose.
class VEKHOST_API C_BadAllocException : public C_Exception {
 public:
  C_BadAllocException(const char* i_file, int i_line, std::size_t i_size, const char* i_what);
  ~C_BadAllocException() override;
  std::size_t GetSize() const { return m_size; }
  const std::string& GetWhat() const { return m_what; }
  C_Exception* Clone() const override;

 private:
  std::size_t m_size;
  std::string m_what;
};

#endif
