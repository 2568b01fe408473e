#ifndef VEK_TOOLS_C_OPTIONTABLE_H
#define VEK_TOOLS_C_OPTIONTABLE_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/S_Options.h"

// vekctl's one option table: every command, its arguments and options, and
// the global options, written into an S_Options record. Global options are
// accepted before or after the command ("vekctl list --json" and "vekctl
// --json list" are the same). Arguments of "call" that begin with '-' follow
// a "--".
class C_OptionTable {
 public:
  // o_options receives the parse; it must outlive the table.
  explicit C_OptionTable(S_Options& o_options);

  // Parses the command line. -1: go on and run o_options.command. Otherwise
  // the process's exit status, with the output already written: 0 after
  // --help or --version (standard output), 1 after a usage error (one line
  // on standard error; with --json also the error document on standard
  // output).
  int Parse(int argc, const char* const* argv);

  // Every command as typed ("list", "defer status", ...), for tests and help.
  static std::vector<std::string> CommandPaths();

 private:
  void AddGlobalOptions();
  void AddDeviceCommands();
  void AddFlash();
  void AddDefer();
  void AddDdff();
  void AddFileCommands();
  void AddSim();
  void AddHistory();
  // The subcommands the parse got to, as typed ("defer status"); "" for none.
  std::string ParsedCommand() const;
  // A subcommand that sets o_options.command when it is chosen.
  CLI::App* Command(CLI::App* i_parent, const std::string& i_name, const std::string& i_help,
                    S_Options::E_Command i_command);

  CLI::App m_app;
  S_Options& m_options;
};

#endif
