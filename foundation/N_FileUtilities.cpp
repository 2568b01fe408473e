#include "foundation/N_FileUtilities.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "foundation/C_File.h"

namespace N_FileUtilities {

bool FileExists(const std::string& i_path) {
  struct stat info;
  return !i_path.empty() && ::stat(i_path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool DirectoryExists(const std::string& i_path) {
  struct stat info;
  return !i_path.empty() && ::stat(i_path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool ReadFile(const std::string& i_path, std::string& o_contents, std::size_t i_maxSize) {
  o_contents.clear();
  int fd = ::open(i_path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info;
  bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
            static_cast<unsigned long long>(info.st_size) <= i_maxSize;
  if (ok) {
    // The size is a hint only: the file may grow or shrink while we read, so
    // read until end of file and still enforce the limit.
    o_contents.reserve(static_cast<std::size_t>(info.st_size));
    char chunk[16384];
    for (;;) {
      ssize_t n = ::read(fd, chunk, sizeof chunk);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0 || o_contents.size() + static_cast<std::size_t>(n) > i_maxSize) {
        ok = false;
        break;
      }
      if (n == 0) break;
      o_contents.append(chunk, static_cast<std::size_t>(n));
    }
  }
  ::close(fd);
  if (!ok) o_contents.clear();
  return ok;
}

int WriteFileAtomically(const std::string& i_path, const void* i_data, std::size_t i_size) {
  C_File file;
  if (!file.OpenReplace(i_path)) return errno;
  errno = 0;
  // A short write returns before Close: the destructor removes the temporary.
  if (file.Write(i_data, i_size) != i_size) return errno ? errno : EIO;
  return file.Close() ? 0 : errno;
}

bool FindProfileValue(const std::string& i_text, const std::string& i_section,
                      const std::string& i_key, std::string& o_value) {
  std::string section;
  std::string::size_type begin = 0;
  while (begin < i_text.size()) {
    std::string::size_type end = i_text.find('\n', begin);
    if (end == std::string::npos) end = i_text.size();
    // Trim spaces only; a carriage return is data.
    std::string::size_type first = i_text.find_first_not_of(' ', begin);
    std::string::size_type last = i_text.find_last_not_of(' ', end == 0 ? 0 : end - 1);
    if (first < end && last != std::string::npos && last >= first) {
      const char* line = i_text.data() + first;
      std::string::size_type length = last - first + 1;
      if (line[0] == '[') {
        // The name is the line less its first and last character, whatever
        // that last character is.
        section.assign(length >= 2 ? std::string(line + 1, length - 2) : std::string());
      } else if (section == i_section) {
        const void* eq = std::memchr(line, '=', length);
        if (eq) {
          std::string::size_type keyLength = static_cast<const char*>(eq) - line;
          std::string key(line, keyLength);
          key.erase(key.find_last_not_of(' ') + 1);  // npos + 1 == 0 erases all blanks
          if (key == i_key) {
            std::string value(line + keyLength + 1, length - keyLength - 1);
            value.erase(0, value.find_first_not_of(' '));
            if (!value.empty() && value[0] == '"') {
              value = value.size() >= 2 ? value.substr(1, value.size() - 2) : std::string();
            }
            o_value = value;
            return true;
          }
        }
      }
    }
    begin = end + 1;
  }
  return false;
}

void GetPrivateProfileString(const std::string& i_section, const std::string& i_key,
                             const std::string& i_default, std::string& o_result,
                             const std::string& i_file) {
  o_result = i_default;
  std::string text;
  if (!ReadFile(i_file, text)) return;
  FindProfileValue(text, i_section, i_key, o_result);
}

long GetPrivateProfileInt(const std::string& i_section, const std::string& i_key,
                          long i_default, const std::string& i_file) {
  std::string value;
  GetPrivateProfileString(i_section, i_key, std::string(), value, i_file);
  if (value.empty()) return i_default;
  return std::strtol(value.c_str(), nullptr, 0);
}

std::string GetCurrentDirectory() {
  std::vector<char> buffer(256);
  for (;;) {
    if (::getcwd(buffer.data(), buffer.size())) return std::string(buffer.data());
    if (errno != ERANGE || buffer.size() >= (1u << 20)) return std::string();
    buffer.resize(buffer.size() * 2);
  }
}

bool MakeDirectory(const std::string& i_path) {
  if (::mkdir(i_path.c_str(), 0777) == 0) return true;
  return errno == EEXIST && DirectoryExists(i_path);
}

}  // namespace N_FileUtilities
