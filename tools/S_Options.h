#ifndef VEK_TOOLS_S_OPTIONS_H
#define VEK_TOOLS_S_OPTIONS_H

#include <string>
#include <vector>

// Everything the command line said, filled by C_OptionTable and read by the
// commands. Plain data; empty strings mean "not given".
struct S_Options {
  enum E_Command {
    CMD_NONE,
    CMD_LIST,
    CMD_SHOW,
    CMD_OPS,
    CMD_CALL,
    CMD_FLASH,
    CMD_DEFER_STATUS,
    CMD_DEFER_CANCEL,
    CMD_DEFER_DUMP,
    CMD_DDFF_BUILD,
    CMD_DDFF_DUMP,
    CMD_DDFF_VERIFY,
    CMD_CLOAK,
    CMD_UNCLOAK,
    CMD_HEXDUMP,
    CMD_SIM_RESET,
    CMD_SIM_RESTART,
    CMD_SIM_STATUS,
    CMD_HISTORY
  };

  E_Command command = CMD_NONE;
  // The command as typed, without options ("list", "defer status"); "" when
  // the command line named none.
  std::string commandName;

  // Global options.
  int verbosity = 0;  // -v count: 1 command blocks, 2 with data (256 bytes), 3 all data
  bool json = false;  // one JSON document on standard output
  std::string driver = "sim";
  std::string simState;  // --sim-state
  std::string fleet;     // --fleet
  std::string locale;    // --locale
  std::string module;    // --module: libvek.so to load
  unsigned timeout = 0;  // --timeout: seconds for a download command (linux); 0 default
  bool force = false;    // --force: override vekctl's refusals (flash; linux: drives in use too)

  // Positional arguments of the commands.
  std::string device;                  // show, ops, call, defer *, history
  std::string operation;               // call
  std::vector<std::string> arguments;  // call
  std::string image;                   // flash, ddff build
  std::vector<std::string> devices;    // flash
  std::string file;                    // ddff dump, ddff verify, hexdump
  std::string input, output;           // cloak, uncloak; ddff build -o
  std::string directory;               // defer dump --dir
  std::string controller;              // sim restart [CONTROLLER]

  // flash
  bool all = false;
  std::string vendor, product, below, expect, skipCurrent;  // expect: defer status too
  int jobs = 0;  // 0: all selected drives, at most 8
  bool dryRun = false;
  bool yes = false;
  bool wait = false;     // wait for a drive another process is flashing
  bool replace = false;  // replace a pending deferred request

  // ddff build (vendor and product above are shared with flash)
  std::string revision, serial;
  std::vector<std::string> flags;
};

#endif
