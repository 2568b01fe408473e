#ifndef VEK_DRIVERS_SIM_C_SIMSTORE_H
#define VEK_DRIVERS_SIM_C_SIMSTORE_H

#include <sys/types.h>

struct stat;

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "drivers/sim/S_SimFleet.h"

// The state file of the simulated hardware (JSON, doc/sim-state.md), shared
// by every process that drives the simulator, and this process's copy of it
// in memory.
//
// The file is the truth between processes; the copy spares a parse per
// command. Before a drive is used the file is looked at (one stat): when it
// is not the version this process last read or wrote, it is read again.
// (The last version's file stays open, so its inode number cannot be reused
// by another version.)
//
// Drives are used one at a time, not the whole state: a C_Hold holds some
// drives of one controller, in this process (a mutex per drive) and across
// processes (a write lock on one byte of "<path>.lock" per drive, owned by
// an open file description of the hold's own). Drives held by different
// holders never wait for each other. A hold's Commit writes its drives'
// records through before it returns: under the file lock (byte 0 of the lock
// file) the newest state file is read if another process changed it, the
// held records replace their drives' in it, and the whole is written
// atomically (N_FileUtilities::WriteFileAtomically: temporary name, fsync,
// rename, directory fsync). Commits of several threads that arrive while a
// write is under way go out together in the next write: one fsync for all.
// So two processes using different drives never lose each other's updates,
// and two never use one drive at once.
//
// Update and Reset are whole-state transactions: they lock every byte of
// the lock file, and so wait for every hold of every process and keep new
// ones out until they are done.
//
// A missing state file starts from the initial fleet (the fleet file's, or
// the built-in one). A state file that cannot be parsed is reported with its
// path and the reason and is never overwritten: only Reset replaces it.
//
// Threads: every member may be used from any thread.
class C_SimStore {
 public:
  // Failures of the state file: the message names the path and the reason.
  class C_Error : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
  };

  // Exclusive use of drives of one controller for the hold's lifetime (see
  // above). Not copyable; one thread at a time.
  class C_Hold {
   public:
    // Holds drives i_drives of i_controller, or every drive it has when
    // i_drives is empty. Waits while another holder has one of them, or
    // while an Update or Reset runs. Throws C_Error when the lock file or
    // the state file cannot be used.
    C_Hold(C_SimStore& io_store, const std::string& i_controller, std::vector<int> i_drives);
    ~C_Hold();
    C_Hold(const C_Hold&) = delete;
    C_Hold& operator=(const C_Hold&) = delete;

    // The controller as it is now, with only the held drives that exist, in
    // its order: the holder's working copy, changed at will. Null when the
    // state has no such controller.
    S_SimController* Controller() { return m_found ? &m_controller : nullptr; }
    // Writes the working copy's drives through (see above); returns once
    // they are in the state file and synced. Throws C_Error when the file
    // cannot be written: the changes then stay in this process's copy and go
    // out with the next write that succeeds.
    void Commit();

   private:
    C_SimStore& m_store;
    std::vector<std::mutex*> m_mutexes;  // locked, in drive order
    int m_lockFd;                        // its own description of the lock file
    bool m_found;
    S_SimController m_controller;
  };

  // i_initial is the fleet to start from and to return to on Reset.
  C_SimStore(const std::string& i_path, const S_SimFleet& i_initial);
  ~C_SimStore();
  C_SimStore(const C_SimStore&) = delete;
  C_SimStore& operator=(const C_SimStore&) = delete;

  // $VEK_SIM_STATE, else $XDG_STATE_HOME/vek/sim-state.json, else
  // $HOME/.local/state/vek/sim-state.json.
  static std::string DefaultPath();
  // Reads a fleet file; throws C_Error naming the file and the reason.
  static S_SimFleet ReadFleetFile(const std::string& i_path);
  // Replaces i_path with i_bytes (N_FileUtilities::WriteFileAtomically),
  // creating missing directories; throws C_Error naming the path and why.
  static void WriteFile(const std::string& i_path, const std::string& i_bytes);

  const std::string& Path() const { return m_path; }
  // Directory for large per-drive data (stored deferred requests).
  std::string DataDirectory() const { return m_path + ".d"; }

  // Runs i_change on the current state with every drive held; writes the
  // state back when i_change returns true (or the file was missing).
  // Exceptions of i_change pass through and nothing is written.
  void Update(const std::function<bool(S_SimFleet&)>& i_change);
  // The current state.
  S_SimFleet Read();
  // Replaces the state with the initial fleet and removes stored requests.
  // i_alsoHeld, when given, runs while every drive is still held (the
  // driver forgets what it kept of the drives there).
  void Reset(const std::function<void()>& i_alsoHeld = nullptr);

 private:
  class C_FileLock;
  class C_Writer;
  struct S_Version {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified = 0;  // nanoseconds
    bool operator==(const S_Version& i_other) const;
  };
  static S_Version VersionOf(const struct stat& i_stat);

  std::mutex& DriveMutex(const std::string& i_key);
  // A descriptor of the lock file with a description of its own, holding
  // no lock; ReturnLockFd unlocks it and keeps it for the next hold.
  int TakeLockFd();
  void ReturnLockFd(int i_fd);
  // With m_mutex held: brings m_cache up to the file, keeping the records
  // of m_dirty (written by this process, not yet on disk).
  void RefreshLocked();
  // Writes what is dirty, unless i_sequence is on disk already.
  void Flush(std::uint64_t i_sequence);
  // With m_mutex held: the state file's text of m_cache, one line for each
  // controller's own keys and one for each drive; a drive's line is made
  // again only when the drive changed.
  std::string RenderLocked();
  // With the file lock and the writer's turn: writes i_text and takes it as
  // the version this process knows; the drives of the commits up to i_upTo
  // (all in i_text) are no longer dirty.
  void WriteLocked(const std::string& i_text, std::uint64_t i_upTo);

  const std::string m_path;
  const S_SimFleet m_initial;

  std::mutex m_mutex;  // m_cache to m_driveMutexes
  S_SimFleet m_cache;
  bool m_loaded;         // m_cache came from the file (or it is missing)
  int m_knownFd;         // the version read or written last, kept open; -1: none
  S_Version m_known;
  bool m_writing;        // a write of this process is under way: the file is ours
  // Drives this process changed that are not on disk yet, with the commit
  // that changed them last.
  std::map<std::pair<std::string, int>, std::uint64_t> m_dirty;
  std::uint64_t m_changes;  // commits so far
  std::map<std::pair<std::string, int>, std::string> m_driveText;  // RenderLocked's lines
  std::map<std::string, std::unique_ptr<std::mutex>> m_driveMutexes;

  std::mutex m_lockFdMutex;  // the two below
  std::vector<int> m_lockFds;  // unused descriptors of the lock file
  pid_t m_lockFdProcess;       // the process they belong to

  std::mutex m_writerMutex;  // C_Writer's: the three below
  std::condition_variable m_writerDone;
  bool m_writerBusy;        // a thread has the writer's turn
  std::uint64_t m_written;  // commits on disk
};

#endif
