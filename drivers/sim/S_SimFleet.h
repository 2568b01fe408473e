#ifndef VEK_DRIVERS_SIM_S_SIMFLEET_H
#define VEK_DRIVERS_SIM_S_SIMFLEET_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

// The simulated hardware as data: what a fleet file describes and what the
// state file keeps between processes (doc/sim-state.md). Plain records; the
// drive and controller models give them behaviour.

// Faults injected on purpose, per drive. 0 or empty: no fault.
struct S_SimFaults {
  int rejectChunk = 0;          // download segment K (from 1) fails with ILLEGAL REQUEST
  bool busyForever = false;     // TEST UNIT READY answers busy without end after a download
  int powerLossAtChunk = 0;     // power is lost at download segment K: old firmware stays
  int failOpcode = -1;          // this opcode fails with failSense
  std::vector<int> failSense;   // sense key, ASC, ASCQ for failOpcode
  int throwOnOpcode = -1;       // the driver throws while performing this opcode
};

struct S_SimDrive {
  int number = 0;               // position on its controller
  std::string kind;             // "scsi", "ata" or "deferred"
  std::string vendor;
  std::string product;
  std::string serial;
  std::string firmware;         // revision running now
  std::string pending;          // downloaded revision waiting for a reset, or ""
  bool stopped = false;
  int busyPolls = 3;            // busy answers to TEST UNIT READY after a download
  int busyLeft = 0;
  std::vector<std::uint8_t> sense;  // sense data waiting for REQUEST SENSE
  std::map<std::string, std::vector<std::uint8_t>> modePages;  // "08" -> page bytes
  S_SimFaults faults;
  std::string requestFile;      // deferred drives: stored request image, or ""
};

struct S_SimController {
  std::string name;             // "hba0", "array0"
  std::string kind;             // "hba" or "array"
  std::string vendor;
  std::string product;
  std::string firmware;
  std::string ddffVersion;      // arrays: the request format version they run
  std::vector<S_SimDrive> drives;
};

struct S_SimFleet {
  std::vector<S_SimController> controllers;

  // The built-in fleet used when nothing else is given.
  static S_SimFleet Default();
  S_SimController* FindController(const std::string& i_name);
  S_SimDrive* FindDrive(const std::string& i_controller, int i_number);
};

// JSON mapping (nlohmann-json). Unknown keys are refused so that a typing
// error in a fleet file is reported, not ignored.
void to_json(nlohmann::json& o_json, const S_SimFaults& i_faults);
void from_json(const nlohmann::json& i_json, S_SimFaults& o_faults);
void to_json(nlohmann::json& o_json, const S_SimDrive& i_drive);
void from_json(const nlohmann::json& i_json, S_SimDrive& o_drive);
void to_json(nlohmann::json& o_json, const S_SimController& i_controller);
// A controller's keys without its "drives".
nlohmann::json ControllerHead(const S_SimController& i_controller);
void from_json(const nlohmann::json& i_json, S_SimController& o_controller);
void to_json(nlohmann::json& o_json, const S_SimFleet& i_fleet);
void from_json(const nlohmann::json& i_json, S_SimFleet& o_fleet);

#endif
