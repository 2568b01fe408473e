#ifndef VEK_DRIVERS_SIM_C_SIMARRAY_H
#define VEK_DRIVERS_SIM_C_SIMARRAY_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "drivers/sim/S_SimFleet.h"
#include "targets/S_Command.h"

// The array controller's side of deferred flashing: it stores a request
// image written in chunks, gives it back, senses and sets its status block,
// and (RunPending) plays the controller-side agent that runs pending
// requests when the controller restarts.
//
// Requests are stored as files in the store's data directory, one per drive,
// written atomically; the state record names the file. Not thread-safe: the
// driver holds the drives an object works on.
class C_SimArray {
 public:
  // What lives only as long as the process, per drive: the chunks of a
  // request being assembled and the stride of a read.
  struct S_Transient {
    std::vector<std::uint8_t> incoming;
    std::uint32_t readStride = 0;  // length of chunk 1
  };

  // Runs one SCSI command of an instruction against a drive; returns the
  // driver result and fills the sense bytes.
  typedef std::function<int(int i_drive, Driver::S_Command& io_command)> T_RunCommand;
  // Resets a drive (i_drive) or every drive of the controller (-1).
  typedef std::function<void(int i_drive)> T_Reset;
  // Waits i_milliseconds (replaceable so tests need not wait).
  typedef std::function<void(unsigned i_milliseconds)> T_Sleep;

  C_SimArray(S_SimController& io_controller, const std::string& i_dataDirectory);

  // Performs one controller request (request type 2) for the drive its CDB
  // byte 2 names; io_transient is that drive's. o_changed tells whether the
  // persistent state changed.
  int Execute(Driver::S_Command& io_command, S_Transient& io_transient, bool& o_changed);

  // Runs every request whose status is pending, in drive order. Returns the
  // number of requests run.
  int RunPending(const T_RunCommand& i_run, const T_Reset& i_reset, const T_Sleep& i_sleep,
                 bool& o_changed);

  // The stored request of a drive, or empty.
  std::vector<std::uint8_t> StoredRequest(int i_drive) const;

 private:
  S_SimDrive* Drive(int i_number);
  std::string RequestPath(int i_drive) const;
  void Store(S_SimDrive& io_drive, const std::vector<std::uint8_t>& i_image, bool& o_changed);
  // Runs one stored request to its end and stores the outcome.
  void Run(S_SimDrive& io_drive, const T_RunCommand& i_run, const T_Reset& i_reset,
           const T_Sleep& i_sleep, bool& o_changed);

  S_SimController& m_controller;
  std::string m_dataDirectory;
};

#endif
