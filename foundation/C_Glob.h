#ifndef VEK_FOUNDATION_C_GLOB_H
#define VEK_FOUNDATION_C_GLOB_H

#include <cstddef>
#include <string>
#include <vector>

// The paths that match a shell pattern, found once at construction by the C
// library's glob() and kept as a sorted list; the object holds no glob state
// afterwards. Safe to copy; one object per thread.
class C_Glob {
 public:
  // i_flags are glob()'s flags (GLOB_MARK, GLOB_NOCHECK, ...). Running out of
  // memory in glob() throws the host framework's out-of-memory exception.
  explicit C_Glob(const std::string& i_pattern, int i_flags = 0);

  // glob()'s result: 0, GLOB_NOMATCH (no path matched: not an error),
  // GLOB_ABORTED (a directory could not be read).
  int GetStatus() const { return m_status; }
  const std::vector<std::string>& GetPaths() const { return m_paths; }
  std::size_t size() const { return m_paths.size(); }
  bool empty() const { return m_paths.empty(); }
  std::vector<std::string>::const_iterator begin() const { return m_paths.begin(); }
  std::vector<std::string>::const_iterator end() const { return m_paths.end(); }

 private:
  int m_status;
  std::vector<std::string> m_paths;
};

#endif
