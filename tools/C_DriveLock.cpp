#include "tools/C_DriveLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tools/N_ExitStatus.h"

namespace {

std::string Clean(const std::string& i_text) {
  std::string clean;
  for (char c : i_text) {
    if (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '.') clean += c;
  }
  return clean;
}

bool UsableDirectory(const std::string& i_path) {
  mkdir(i_path.c_str(), 0755);  // an existing one is fine
  struct stat info;
  return stat(i_path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) &&
         access(i_path.c_str(), W_OK | X_OK) == 0;
}

}  // namespace

std::string C_DriveLock::Key(const std::string& i_serial, const std::string& i_wwn,
                             const std::string& i_fallback) {
  const std::string serial = Clean(i_serial);
  if (serial.empty()) return "id-" + Clean(i_fallback);
  const std::string wwn = Clean(i_wwn);
  return wwn.empty() ? serial : serial + "_" + wwn;
}

std::string C_DriveLock::Directory() {
  const char* forced = std::getenv("VEK_LOCK_DIR");
  if (forced && *forced) return forced;
  if (geteuid() == 0 && UsableDirectory("/run/vek")) return "/run/vek";
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime && UsableDirectory(std::string(runtime) + "/vek")) {
    return std::string(runtime) + "/vek";
  }
  return "/tmp/vek-" + std::to_string(geteuid());
}

C_DriveLock::C_DriveLock(const std::string& i_key) : m_fd(-1), m_held(false) {
  const std::string directory = Directory();
  mkdir(directory.c_str(), 0755);
  m_path = directory + "/" + i_key + ".lock";
  m_fd = open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (m_fd < 0) {
    throw C_Failure(N_ExitStatus::FAILED,
                    m_path + ": cannot open the drive's lock file: " + std::strerror(errno));
  }
}

C_DriveLock::~C_DriveLock() {
  if (m_held) {
    if (ftruncate(m_fd, 0) != 0) {
      // Only the holder's note is lost; the lock goes with the descriptor.
    }
    flock(m_fd, LOCK_UN);
  }
  close(m_fd);
}

void C_DriveLock::Claim() {
  m_held = true;
  const std::string note =
      std::to_string(getpid()) + " " + std::to_string(static_cast<long>(std::time(nullptr))) + "\n";
  if (ftruncate(m_fd, 0) != 0 || pwrite(m_fd, note.data(), note.size(), 0) < 0) {
    // The note only names the holder for others; the lock is what counts.
  }
}

bool C_DriveLock::TryLock() {
  if (flock(m_fd, LOCK_EX | LOCK_NB) != 0) return false;
  Claim();
  return true;
}

bool C_DriveLock::Lock() {
  int result;
  while ((result = flock(m_fd, LOCK_EX)) != 0 && errno == EINTR) {
  }
  if (result != 0) return false;
  Claim();
  return true;
}

std::string C_DriveLock::Holder() const {
  char buffer[64] = {};
  const ssize_t n = pread(m_fd, buffer, sizeof buffer - 1, 0);
  long pid = 0, since = 0;
  if (n <= 0 || std::sscanf(buffer, "%ld %ld", &pid, &since) != 2) return "another process";
  const std::time_t time = static_cast<std::time_t>(since);
  struct tm local;
  char text[32] = "?";
  if (localtime_r(&time, &local)) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return "process " + std::to_string(pid) + " since " + text;
}
