#ifndef VEK_DRIVERS_SIM_C_SIMDRIVER_H
#define VEK_DRIVERS_SIM_C_SIMDRIVER_H

#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "drivers/sim/C_SimArray.h"
#include "drivers/sim/C_SimDrive.h"
#include "drivers/sim/C_SimStore.h"
#include "Common/Localization/ValueFormat.h"
#include "module/C_Driver.h"

class C_EntityNode;

// The simulated controller driver: a storage system of host bus adapters and
// array controllers whose drives behave like drives, kept in a state file so
// that separate processes see one another's work ("flash now, look later").
//
// Discovery: the root's children are the controllers (C_SimController); a
// controller's children are its drives: C_ScsiTarget on a host bus adapter;
// C_AtaTarget (controller id "E0300A57") and C_DeferScsiTarget behind an
// array, each with a C_QarnTargetId carrying its number. Existing devices
// are kept at every discovery; new ones are added and Init'ed.
//
// Commands: request type 1 and 3 go to the drive's model (C_SimDrive),
// request type 2 to its array controller (C_SimArray) for the drive the
// request names. Results are 0 or the codes of N_SimSense (1034 check
// condition, 1035 no answer, 1036 busy). A command holds its drive
// (C_SimStore::C_Hold) and, when it changed the drive, writes it through to
// the state file before it returns; a command that throws changes nothing.
//
// Time: the array agent's waits go through the module's sleep seam
// (SleepMilliSeconds), like the module's own polling. With VEK_SIM_INSTANT
// set to a non-empty value other than "0", the driver installs a sleep hook
// for as long as it lives that returns at once: simulated drives need no
// real time, so a drive busy for 2000 polls takes no 200 s (tests, demos).
//
// Discovery identifies (Init) the new drives of a controller in parallel,
// as a controller scans its bus: each drive's first REQUEST SENSE is a write
// of the state, and those go out together.
//
// Threads: several host threads may use several drives at once and do not
// wait for each other, only for the shared write of the state file; two
// commands for one drive take turns.
class C_SimDriver : public C_Driver {
 public:
  struct S_Options {
    std::string statePath;  // empty: C_SimStore::DefaultPath()
    std::string fleetPath;  // empty: the built-in fleet
  };
  // Throws C_SimStore::C_Error when the fleet file cannot be used.
  explicit C_SimDriver(const S_Options& i_options);
  ~C_SimDriver() override;

  // Reads the state (creating it from the fleet when missing). False when
  // the state file cannot be used; LastError() says why.
  bool Init() override;
  void Cleanup() override;
  void CleanupDevice(C_Device* i_device) override;
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) override;
  bool FindRootChildren(C_Root* i_root) override;
  bool FindDeviceChildren(C_Device* i_device) override;

  // Restarts an array controller: its agent runs the pending deferred
  // requests, holding every drive of the controller. Returns how many ran;
  // -1 for an unknown controller or one that is not an array.
  int RestartController(const std::string& i_name);
  // Returns the simulated hardware to the initial fleet.
  void ResetState();
  S_SimFleet ReadState();
  const std::string& StatePath() const { return m_store.Path(); }
  const std::string& LastError() const { return m_lastError; }

 private:
  struct S_Node {
    std::string controller;
    int drive;  // -1 for the controller itself
  };

  // What a drive's models keep only as long as the process; used by the
  // holder of the drive.
  struct S_Transient {
    C_SimDrive::S_Transient drive;
    C_SimArray::S_Transient array;
  };

  // True when the device for this controller (i_drive -1) or drive exists.
  bool Knows(const std::string& i_controller, int i_drive);
  C_Device* CreateDrive(C_Device* i_controller, const S_SimController& i_record,
                        const S_SimDrive& i_drive);
  S_Transient& Transient(const std::string& i_controller, int i_drive);

  C_SimStore m_store;
  std::mutex m_mutex;  // m_nodes and m_transient (the map, not its entries)
  std::map<C_Device*, S_Node> m_nodes;
  std::map<std::string, S_Transient> m_transient;
  T_SleepHook m_previousSleep;  // restored by the destructor; null when none was installed
  std::string m_lastError;
};

#endif
