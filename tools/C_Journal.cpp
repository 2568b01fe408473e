#include "tools/C_Journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "tools/N_ExitStatus.h"
#include "tools/N_FileIo.h"

namespace {

// The file's bytes; empty when it does not exist.
std::string Contents(const std::string& i_path) {
  if (access(i_path.c_str(), F_OK) != 0 && errno == ENOENT) return std::string();
  const std::vector<std::uint8_t> bytes = N_FileIo::Read(i_path);
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

C_Journal::C_Journal(const std::string& i_path) : m_path(i_path.empty() ? DefaultPath() : i_path) {}

std::string C_Journal::DefaultPath() {
  const char* state = std::getenv("VEK_STATE_DIR");
  if (state && *state) return std::string(state) + "/journal.jsonl";
  const char* xdg = std::getenv("XDG_STATE_HOME");
  if (xdg && *xdg == '/') return std::string(xdg) + "/vek/journal.jsonl";
  const char* home = std::getenv("HOME");
  return std::string(home && *home ? home : ".") + "/.local/state/vek/journal.jsonl";
}

void C_Journal::Append(const std::vector<nlohmann::json>& i_entries) {
  const std::size_t slash = m_path.rfind('/');
  if (slash != std::string::npos && slash > 0) N_FileIo::MakeDirectories(m_path.substr(0, slash));
  const std::string lockPath = m_path + ".lock";
  const int fd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0 || flock(fd, LOCK_EX) != 0) {
    const int error = errno;
    if (fd >= 0) close(fd);
    throw C_Failure(N_ExitStatus::FAILED,
                    lockPath + ": cannot lock the journal: " + std::strerror(error));
  }
  try {
    std::string text = Contents(m_path);
    if (!text.empty() && text.back() != '\n') text += '\n';  // a line cut by hand
    for (const nlohmann::json& entry : i_entries) {
      text += entry.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    }
    N_FileIo::WriteAtomically(m_path, reinterpret_cast<const std::uint8_t*>(text.data()),
                              text.size());
  } catch (...) {
    close(fd);  // releases the lock
    throw;
  }
  close(fd);
}

std::vector<nlohmann::json> C_Journal::Read(std::size_t* o_damaged) const {
  std::vector<nlohmann::json> entries;
  std::size_t damaged = 0;
  std::istringstream lines(Contents(m_path));
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) continue;
    const nlohmann::json entry = nlohmann::json::parse(line, nullptr, false);
    if (entry.is_object()) {
      entries.push_back(entry);
    } else {
      ++damaged;
    }
  }
  if (o_damaged) *o_damaged = damaged;
  return entries;
}
