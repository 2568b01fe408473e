#include "drivers/sim/C_SimStore.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string Reason() { return std::strerror(errno); }

void MakeParent(const std::string& i_path) {
  fs::path parent = fs::path(i_path).parent_path();
  if (parent.empty()) return;
  std::error_code error;
  fs::create_directories(parent, error);
  if (error) {
    throw C_SimStore::C_Error("cannot create directory " + parent.string() + ": " + error.message());
  }
}

}  // namespace

// Holds flock(LOCK_EX) on "<state>.lock" for its lifetime.
class C_SimStore::C_Lock {
 public:
  explicit C_Lock(const std::string& i_statePath) {
    MakeParent(i_statePath);
    const std::string path = i_statePath + ".lock";
    m_fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (m_fd < 0) throw C_Error("cannot open lock file " + path + ": " + Reason());
    while (flock(m_fd, LOCK_EX) != 0) {
      if (errno != EINTR) {
        std::string reason = Reason();
        close(m_fd);
        throw C_Error("cannot lock " + path + ": " + reason);
      }
    }
  }
  ~C_Lock() {
    flock(m_fd, LOCK_UN);
    close(m_fd);
  }
  C_Lock(const C_Lock&) = delete;
  C_Lock& operator=(const C_Lock&) = delete;

 private:
  int m_fd;
};

C_SimStore::C_SimStore(const std::string& i_path, const S_SimFleet& i_initial)
    : m_path(i_path), m_initial(i_initial) {}

std::string C_SimStore::DefaultPath() {
  if (const char* explicitPath = std::getenv("VEK_SIM_STATE")) {
    if (*explicitPath) return explicitPath;
  }
  if (const char* xdg = std::getenv("XDG_STATE_HOME")) {
    if (*xdg == '/') return std::string(xdg) + "/vek/sim-state.json";
  }
  const char* home = std::getenv("HOME");
  return std::string(home && *home ? home : ".") + "/.local/state/vek/sim-state.json";
}

S_SimFleet C_SimStore::ReadFleetFile(const std::string& i_path) {
  std::ifstream in(i_path);
  if (!in) throw C_Error("cannot read fleet file " + i_path + ": " + Reason());
  try {
    nlohmann::json json = nlohmann::json::parse(in);
    return json.get<S_SimFleet>();
  } catch (const std::exception& e) {
    throw C_Error("fleet file " + i_path + " is not valid: " + e.what());
  }
}

S_SimFleet C_SimStore::Load(bool& o_missing) {
  std::ifstream in(m_path);
  o_missing = !in;
  if (o_missing) {
    if (errno != ENOENT) throw C_Error("cannot read state file " + m_path + ": " + Reason());
    return m_initial;
  }
  try {
    nlohmann::json json = nlohmann::json::parse(in);
    return json.get<S_SimFleet>();
  } catch (const std::exception& e) {
    throw C_Error("state file " + m_path + " cannot be used (" + e.what() +
                  "); it was left as it is: fix it, or reset the simulator");
  }
}

void C_SimStore::WriteFileAtomically(const std::string& i_path, const std::string& i_bytes) {
  MakeParent(i_path);
  std::string temp = i_path + ".tmp-XXXXXX";
  int fd = mkstemp(&temp[0]);
  if (fd < 0) throw C_Error("cannot create a temporary file beside " + i_path + ": " + Reason());
  std::size_t done = 0;
  while (done < i_bytes.size()) {
    ssize_t n = write(fd, i_bytes.data() + done, i_bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      std::string reason = Reason();
      close(fd);
      unlink(temp.c_str());
      throw C_Error("cannot write " + temp + ": " + reason);
    }
    done += static_cast<std::size_t>(n);
  }
  if (fchmod(fd, 0644) != 0 || fsync(fd) != 0 || close(fd) != 0) {
    std::string reason = Reason();
    unlink(temp.c_str());
    throw C_Error("cannot complete " + temp + ": " + reason);
  }
  if (rename(temp.c_str(), i_path.c_str()) != 0) {
    std::string reason = Reason();
    unlink(temp.c_str());
    throw C_Error("cannot rename " + temp + " to " + i_path + ": " + reason);
  }
}

void C_SimStore::Save(const S_SimFleet& i_fleet) {
  WriteFileAtomically(m_path, nlohmann::json(i_fleet).dump(1) + "\n");
}

void C_SimStore::Update(const std::function<bool(S_SimFleet&)>& i_change) {
  C_Lock lock(m_path);
  bool missing = false;
  S_SimFleet fleet = Load(missing);
  if (i_change(fleet) || missing) Save(fleet);
}

S_SimFleet C_SimStore::Read() {
  C_Lock lock(m_path);
  bool missing = false;
  return Load(missing);
}

void C_SimStore::Reset() {
  C_Lock lock(m_path);
  std::error_code ignored;
  fs::remove_all(DataDirectory(), ignored);
  Save(m_initial);
}
