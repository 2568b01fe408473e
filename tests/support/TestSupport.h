#ifndef VEK_TESTS_SUPPORT_TESTSUPPORT_H
#define VEK_TESTS_SUPPORT_TESTSUPPORT_H

#include <string>

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
class C_TempDir {
 public:
  C_TempDir();
  ~C_TempDir();
  C_TempDir(const C_TempDir&) = delete;
  C_TempDir& operator=(const C_TempDir&) = delete;
  const std::string& Path() const { return m_path; }
  // Path() + "/" + i_name.
  std::string File(const std::string& i_name) const;

 private:
  std::string m_path;
};

// Whole-file helpers for tests.
std::string ReadFileBytes(const std::string& i_path);
void WriteFileBytes(const std::string& i_path, const std::string& i_bytes);

#endif
