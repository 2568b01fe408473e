#include "drivers/sim/C_SimStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "foundation/N_FileUtilities.h"

namespace fs = std::filesystem;

namespace {

// Byte 0 of the lock file is the writer's; a drive locks one byte of
// 1 .. 2^31 - 2 chosen by a hash of its name (two drives that share a byte
// only wait for each other). Offsets stay below 2^31 for a 32-bit off_t.
const off_t WRITER_BYTE = 0;

off_t DriveByte(const std::string& i_controller, int i_drive) {
  const std::string key = i_controller + ":" + std::to_string(i_drive);
  std::uint32_t hash = 2166136261u;  // FNV-1a
  for (unsigned char c : key) {
    hash ^= c;
    hash *= 16777619u;
  }
  return 1 + static_cast<off_t>(hash % 0x7FFFFFFEu);
}

std::string Reason(int i_errno = errno) { return std::strerror(i_errno); }

void MakeParent(const std::string& i_path) {
  fs::path parent = fs::path(i_path).parent_path();
  if (parent.empty()) return;
  std::error_code error;
  fs::create_directories(parent, error);
  if (error) {
    throw C_SimStore::C_Error("cannot create directory " + parent.string() + ": " + error.message());
  }
}

int OpenLockFile(const std::string& i_statePath) {
  MakeParent(i_statePath);
  const std::string path = i_statePath + ".lock";
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) throw C_SimStore::C_Error("cannot open lock file " + path + ": " + Reason());
  return fd;
}

// A write lock on i_length bytes from i_start (0: to the end and beyond),
// owned by the open file description of i_fd: it excludes other processes
// and other descriptions in this process alike, and closing i_fd drops it.
void LockRange(int i_fd, off_t i_start, off_t i_length, const std::string& i_statePath) {
  struct flock lock;
  std::memset(&lock, 0, sizeof lock);
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = i_start;
  lock.l_len = i_length;
  while (fcntl(i_fd, F_OFD_SETLKW, &lock) != 0) {
    if (errno != EINTR) throw C_SimStore::C_Error("cannot lock " + i_statePath + ".lock: " + Reason());
  }
}

S_SimFleet Parse(const std::string& i_text, const std::string& i_path) {
  try {
    return nlohmann::json::parse(i_text).get<S_SimFleet>();
  } catch (const std::exception& e) {
    throw C_SimStore::C_Error("state file " + i_path + " cannot be used (" + e.what() +
                              "); it was left as it is: fix it, or reset the simulator");
  }
}

}  // namespace

// One range of the lock file, locked for the object's lifetime.
class C_SimStore::C_FileLock {
 public:
  C_FileLock(const std::string& i_statePath, off_t i_start, off_t i_length)
      : m_fd(OpenLockFile(i_statePath)) {
    try {
      LockRange(m_fd, i_start, i_length, i_statePath);
    } catch (...) {
      close(m_fd);
      throw;
    }
  }
  ~C_FileLock() { close(m_fd); }
  C_FileLock(const C_FileLock&) = delete;
  C_FileLock& operator=(const C_FileLock&) = delete;

 private:
  int m_fd;
};

bool C_SimStore::S_Version::operator==(const S_Version& i_other) const {
  return device == i_other.device && inode == i_other.inode && size == i_other.size &&
         modified == i_other.modified;
}

C_SimStore::C_Hold::C_Hold(C_SimStore& io_store, const std::string& i_controller,
                           std::vector<int> i_drives)
    : m_store(io_store), m_lockFd(-1), m_found(false) {
  if (i_drives.empty()) {
    std::lock_guard<std::mutex> lock(m_store.m_mutex);
    m_store.RefreshLocked();
    if (const S_SimController* controller = m_store.m_cache.FindController(i_controller)) {
      for (const S_SimDrive& drive : controller->drives) i_drives.push_back(drive.number);
    }
  }
  std::sort(i_drives.begin(), i_drives.end());
  i_drives.erase(std::unique(i_drives.begin(), i_drives.end()), i_drives.end());
  try {
    for (int drive : i_drives) {
      std::mutex& mutex = m_store.DriveMutex(i_controller + ":" + std::to_string(drive));
      mutex.lock();
      m_mutexes.push_back(&mutex);
    }
    // Bytes in ascending order, so that two holders of several drives in
    // two processes cannot each wait for the other.
    std::vector<off_t> bytes;
    for (int drive : i_drives) bytes.push_back(DriveByte(i_controller, drive));
    std::sort(bytes.begin(), bytes.end());
    m_lockFd = m_store.TakeLockFd();
    for (off_t byte : bytes) LockRange(m_lockFd, byte, 1, m_store.m_path);

    std::lock_guard<std::mutex> lock(m_store.m_mutex);
    m_store.RefreshLocked();
    if (S_SimController* controller = m_store.m_cache.FindController(i_controller)) {
      // The controller without its drives, then the held ones: a command
      // copies its own drive, not the fleet.
      m_found = true;
      std::vector<S_SimDrive> drives;
      drives.swap(controller->drives);
      m_controller = *controller;
      drives.swap(controller->drives);
      for (const S_SimDrive& drive : controller->drives) {
        if (std::binary_search(i_drives.begin(), i_drives.end(), drive.number)) {
          m_controller.drives.push_back(drive);
        }
      }
    }
  } catch (...) {
    if (m_lockFd >= 0) m_store.ReturnLockFd(m_lockFd);
    for (std::mutex* mutex : m_mutexes) mutex->unlock();
    throw;
  }
}

C_SimStore::C_Hold::~C_Hold() {
  m_store.ReturnLockFd(m_lockFd);
  for (auto it = m_mutexes.rbegin(); it != m_mutexes.rend(); ++it) (*it)->unlock();
}

void C_SimStore::C_Hold::Commit() {
  if (!m_found) return;
  std::uint64_t sequence;
  {
    std::lock_guard<std::mutex> lock(m_store.m_mutex);
    sequence = ++m_store.m_changes;
    for (const S_SimDrive& drive : m_controller.drives) {
      S_SimDrive* cached = m_store.m_cache.FindDrive(m_controller.name, drive.number);
      if (!cached) continue;  // gone from a state edited by hand
      *cached = drive;
      const auto key = std::make_pair(m_controller.name, drive.number);
      m_store.m_dirty[key] = sequence;
      m_store.m_driveText.erase(key);
    }
  }
  m_store.Flush(sequence);
}

C_SimStore::C_SimStore(const std::string& i_path, const S_SimFleet& i_initial)
    : m_path(i_path),
      m_initial(i_initial),
      m_loaded(false),
      m_knownFd(-1),
      m_writing(false),
      m_changes(0),
      m_lockFdProcess(getpid()),
      m_writerBusy(false),
      m_written(0) {}

C_SimStore::~C_SimStore() {
  if (m_knownFd >= 0) close(m_knownFd);
  for (int fd : m_lockFds) close(fd);
}

int C_SimStore::TakeLockFd() {
  {
    std::lock_guard<std::mutex> lock(m_lockFdMutex);
    // A child process shares its parent's descriptions, and so its locks:
    // it opens its own.
    if (m_lockFdProcess != getpid()) {
      for (int fd : m_lockFds) close(fd);
      m_lockFds.clear();
      m_lockFdProcess = getpid();
    }
    if (!m_lockFds.empty()) {
      const int fd = m_lockFds.back();
      m_lockFds.pop_back();
      return fd;
    }
  }
  return OpenLockFile(m_path);
}

void C_SimStore::ReturnLockFd(int i_fd) {
  struct flock unlock;
  std::memset(&unlock, 0, sizeof unlock);
  unlock.l_type = F_UNLCK;
  unlock.l_whence = SEEK_SET;  // from 0 to the end: all it holds
  if (fcntl(i_fd, F_OFD_SETLK, &unlock) != 0) {
    close(i_fd);  // closing its last descriptor releases the locks too
    return;
  }
  std::lock_guard<std::mutex> lock(m_lockFdMutex);
  if (m_lockFdProcess == getpid()) {
    m_lockFds.push_back(i_fd);
  } else {
    close(i_fd);
  }
}

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

void C_SimStore::WriteFile(const std::string& i_path, const std::string& i_bytes) {
  MakeParent(i_path);
  const int error = N_FileUtilities::WriteFileAtomically(i_path, i_bytes.data(), i_bytes.size());
  if (error) throw C_Error("cannot write " + i_path + ": " + Reason(error));
}

std::mutex& C_SimStore::DriveMutex(const std::string& i_key) {
  std::lock_guard<std::mutex> lock(m_mutex);
  std::unique_ptr<std::mutex>& mutex = m_driveMutexes[i_key];
  if (!mutex) mutex.reset(new std::mutex);
  return *mutex;
}

C_SimStore::S_Version C_SimStore::VersionOf(const struct stat& i_stat) {
  S_Version version;
  version.device = i_stat.st_dev;
  version.inode = i_stat.st_ino;
  version.size = i_stat.st_size;
  version.modified = static_cast<std::int64_t>(i_stat.st_mtim.tv_sec) * 1000000000 +
                     i_stat.st_mtim.tv_nsec;
  return version;
}

namespace {

// The whole of an open file; false when it cannot be read.
bool ReadAll(int i_fd, std::string& o_text) {
  char buffer[65536];
  for (;;) {
    const ssize_t n = read(i_fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    o_text.append(buffer, static_cast<std::size_t>(n));
  }
}

}  // namespace

void C_SimStore::RefreshLocked() {
  // While this process writes, the file is its own: nothing to read.
  if (m_writing) return;
  S_SimFleet fleet;
  int fd = -1;
  S_Version version;
  struct stat status;
  if (stat(m_path.c_str(), &status) == 0) {
    if (m_loaded && m_knownFd >= 0 && VersionOf(status) == m_known) return;
    fd = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
  }
  if (fd < 0) {
    if (errno != ENOENT) throw C_Error("cannot read state file " + m_path + ": " + Reason());
    if (m_loaded && m_knownFd < 0) return;  // missing, as it was
    fleet = m_initial;
  } else {
    std::string text;
    if (fstat(fd, &status) != 0 || !ReadAll(fd, text)) {
      const std::string reason = Reason();
      close(fd);
      throw C_Error("cannot read state file " + m_path + ": " + reason);
    }
    version = VersionOf(status);
    try {
      fleet = Parse(text, m_path);
    } catch (...) {
      close(fd);
      throw;
    }
  }
  // What this process changed and has not written yet stays.
  for (const auto& entry : m_dirty) {
    S_SimDrive* mine = m_cache.FindDrive(entry.first.first, entry.first.second);
    S_SimDrive* theirs = fleet.FindDrive(entry.first.first, entry.first.second);
    if (mine && theirs) *theirs = *mine;
  }
  m_cache = std::move(fleet);
  m_driveText.clear();
  if (m_knownFd >= 0) close(m_knownFd);
  m_knownFd = fd;
  m_known = version;
  m_loaded = true;
}

std::string C_SimStore::RenderLocked() {
  std::string text = "{\"format\":\"vek-sim-fleet\",\"version\":1,\"controllers\":[";
  for (const S_SimController& controller : m_cache.controllers) {
    if (&controller != &m_cache.controllers.front()) text += ",";
    std::string head = ControllerHead(controller).dump();
    head.pop_back();  // its closing brace: the drives follow
    text += "\n" + head + ",\"drives\":[";
    for (const S_SimDrive& drive : controller.drives) {
      std::string& line = m_driveText[std::make_pair(controller.name, drive.number)];
      if (line.empty()) line = nlohmann::json(drive).dump();
      if (&drive != &controller.drives.front()) text += ",";
      text += "\n " + line;
    }
    text += "]}";
  }
  return text + "]}\n";
}

void C_SimStore::WriteLocked(const std::string& i_text, std::uint64_t i_upTo) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_writing = true;
  }
  int fd = -1;
  try {
    WriteFile(m_path, i_text);
    fd = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
  } catch (...) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_writing = false;
    m_loaded = false;  // read the file again, whatever it holds now
    throw;
  }
  struct stat status;
  std::lock_guard<std::mutex> lock(m_mutex);
  m_writing = false;
  if (m_knownFd >= 0) close(m_knownFd);
  m_knownFd = -1;
  m_loaded = false;
  if (fd >= 0 && fstat(fd, &status) == 0) {
    m_knownFd = fd;
    m_known = VersionOf(status);
    m_loaded = true;
  } else if (fd >= 0) {
    close(fd);
  }
  for (auto it = m_dirty.begin(); it != m_dirty.end();) {
    it = it->second <= i_upTo ? m_dirty.erase(it) : std::next(it);
  }
}

// The writer's turn in this process, one thread at a time. When a write
// ends, every thread waiting for its turn wakes at once, and those whose
// commits that write carried go back without a turn: none waits for the
// others to find that out one after the other.
class C_SimStore::C_Writer {
 public:
  // Waits for the turn; with i_sequence > 0, goes back without it as soon as
  // that commit is on disk.
  C_Writer(C_SimStore& io_store, std::uint64_t i_sequence)
      : m_store(io_store), m_turn(false), m_wrote(0) {
    std::unique_lock<std::mutex> lock(m_store.m_writerMutex);
    auto written = [&] { return i_sequence && m_store.m_written >= i_sequence; };
    m_store.m_writerDone.wait(lock, [&] { return written() || !m_store.m_writerBusy; });
    if (written()) return;
    m_store.m_writerBusy = true;
    m_turn = true;
  }
  ~C_Writer() {
    if (!m_turn) return;
    {
      std::lock_guard<std::mutex> lock(m_store.m_writerMutex);
      m_store.m_writerBusy = false;
      m_store.m_written = std::max(m_store.m_written, m_wrote);
    }
    m_store.m_writerDone.notify_all();
  }
  C_Writer(const C_Writer&) = delete;
  C_Writer& operator=(const C_Writer&) = delete;

  bool Turn() const { return m_turn; }
  // The commits up to i_upTo are on disk.
  void Wrote(std::uint64_t i_upTo) { m_wrote = i_upTo; }

 private:
  C_SimStore& m_store;
  bool m_turn;
  std::uint64_t m_wrote;
};

void C_SimStore::Flush(std::uint64_t i_sequence) {
  C_Writer writer(*this, i_sequence);
  if (!writer.Turn()) return;  // an earlier write took it along
  C_FileLock file(m_path, WRITER_BYTE, 1);
  std::string text;
  std::uint64_t upTo;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    RefreshLocked();  // another process's drives, written since
    text = RenderLocked();
    upTo = m_changes;
  }
  WriteLocked(text, upTo);
  writer.Wrote(upTo);
}

void C_SimStore::Update(const std::function<bool(S_SimFleet&)>& i_change) {
  C_FileLock all(m_path, 0, 0);
  C_Writer writer(*this, 0);
  S_SimFleet fleet;
  bool missing;
  std::uint64_t upTo;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    RefreshLocked();
    fleet = m_cache;
    missing = m_knownFd < 0;
    upTo = m_changes;
  }
  if (!i_change(fleet) && !missing) return;
  std::string text;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cache = std::move(fleet);
    m_driveText.clear();
    text = RenderLocked();
  }
  WriteLocked(text, upTo);
  writer.Wrote(upTo);
}

S_SimFleet C_SimStore::Read() {
  std::lock_guard<std::mutex> lock(m_mutex);
  RefreshLocked();
  return m_cache;
}

void C_SimStore::Reset(const std::function<void()>& i_alsoHeld) {
  C_FileLock all(m_path, 0, 0);
  C_Writer writer(*this, 0);
  std::error_code ignored;
  fs::remove_all(DataDirectory(), ignored);
  std::uint64_t upTo;
  std::string text;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cache = m_initial;
    m_driveText.clear();
    text = RenderLocked();
    upTo = m_changes;
  }
  WriteLocked(text, upTo);
  writer.Wrote(upTo);
  if (i_alsoHeld) i_alsoHeld();
}
