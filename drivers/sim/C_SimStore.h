#ifndef VEK_DRIVERS_SIM_C_SIMSTORE_H
#define VEK_DRIVERS_SIM_C_SIMSTORE_H

#include <functional>
#include <stdexcept>
#include <string>

#include "drivers/sim/S_SimFleet.h"

// The state file of the simulated hardware (JSON, doc/sim-state.md), shared
// by every process that drives the simulator.
//
// Every access is a transaction under an exclusive lock on "<path>.lock"
// (flock), so two processes never interleave a read-modify-write. Writes go
// to a temporary file in the same directory, are fsync'ed and renamed over
// the state file. A missing state file starts from the initial fleet (the
// fleet file's, or the built-in one). A state file that cannot be parsed is
// reported with its path and the reason and is never overwritten: only
// Reset replaces it.
class C_SimStore {
 public:
  // Failures of the state file: the message names the path and the reason.
  class C_Error : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
  };

  // i_initial is the fleet to start from and to return to on Reset.
  C_SimStore(const std::string& i_path, const S_SimFleet& i_initial);

  // $VEK_SIM_STATE, else $XDG_STATE_HOME/vek/sim-state.json, else
  // $HOME/.local/state/vek/sim-state.json.
  static std::string DefaultPath();
  // Reads a fleet file; throws C_Error naming the file and the reason.
  static S_SimFleet ReadFleetFile(const std::string& i_path);

  const std::string& Path() const { return m_path; }
  // Directory for large per-drive data (stored deferred requests).
  std::string DataDirectory() const { return m_path + ".d"; }

  // Runs i_change on the current state under the lock; writes the state
  // back when i_change returns true. Exceptions of i_change pass through
  // and nothing is written.
  void Update(const std::function<bool(S_SimFleet&)>& i_change);
  // The current state (read under the lock).
  S_SimFleet Read();
  // Replaces the state with the initial fleet and removes stored requests.
  void Reset();

  // Writes i_bytes to i_path atomically (temporary name, fsync, rename).
  static void WriteFileAtomically(const std::string& i_path, const std::string& i_bytes);

 private:
  class C_Lock;
  S_SimFleet Load(bool& o_missing);
  void Save(const S_SimFleet& i_fleet);

  std::string m_path;
  S_SimFleet m_initial;
};

#endif
