// vekctl: the command-line host of the vek module. Parses the command line
// (C_OptionTable), runs one command function, and turns what happened into
// output and an exit status in one place (doc/vekctl.md).
#include <exception>
#include <string>

#include "tools/C_Host.h"
#include "tools/C_OptionTable.h"
#include "tools/C_Printer.h"
#include "tools/N_DeferCommands.h"
#include "tools/N_DeviceCommands.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_FileCommands.h"
#include "tools/N_FlashCommand.h"
#include "tools/N_Messages.h"
#include "tools/N_SimCommands.h"
#include "tools/N_Trace.h"

namespace {

int RunFileCommand(const S_Options& i_options, C_Printer& io_printer) {
  switch (i_options.command) {
    case S_Options::CMD_DDFF_BUILD: return N_FileCommands::DdffBuild(i_options, io_printer);
    case S_Options::CMD_DDFF_DUMP: return N_FileCommands::DdffDump(i_options, io_printer);
    case S_Options::CMD_DDFF_VERIFY: return N_FileCommands::DdffVerify(i_options, io_printer);
    case S_Options::CMD_CLOAK: return N_FileCommands::Cloak(i_options, io_printer);
    case S_Options::CMD_UNCLOAK: return N_FileCommands::Uncloak(i_options, io_printer);
    case S_Options::CMD_HEXDUMP: return N_FileCommands::Hexdump(i_options, io_printer);
    case S_Options::CMD_HISTORY: return N_FlashCommand::History(i_options, io_printer);
    default: return -1;
  }
}

int RunHostCommand(const S_Options& i_options, C_Printer& io_printer) {
  C_Host host(i_options);
  host.Driver().SetObserver(N_Trace::Tracer(io_printer, host.Driver()));
  switch (i_options.command) {
    case S_Options::CMD_LIST: return N_DeviceCommands::List(i_options, io_printer, host);
    case S_Options::CMD_SHOW: return N_DeviceCommands::Show(i_options, io_printer, host);
    case S_Options::CMD_OPS: return N_DeviceCommands::Ops(i_options, io_printer, host);
    case S_Options::CMD_CALL: return N_DeviceCommands::Call(i_options, io_printer, host);
    case S_Options::CMD_FLASH: return N_FlashCommand::Run(i_options, io_printer, host);
    case S_Options::CMD_DEFER_STATUS: return N_DeferCommands::Status(i_options, io_printer, host);
    case S_Options::CMD_DEFER_CANCEL: return N_DeferCommands::Cancel(i_options, io_printer, host);
    case S_Options::CMD_DEFER_DUMP: return N_DeferCommands::Dump(i_options, io_printer, host);
    case S_Options::CMD_SIM_RESET: return N_SimCommands::Reset(i_options, io_printer, host);
    case S_Options::CMD_SIM_RESTART: return N_SimCommands::Restart(i_options, io_printer, host);
    case S_Options::CMD_SIM_STATUS: return N_SimCommands::Status(i_options, io_printer, host);
    default: throw C_Failure(N_ExitStatus::USAGE, "no command given (see --help)");
  }
}

// The one place where a failure becomes output: its line on standard error
// and, in --json mode, the document on standard output.
int Report(const S_Options& i_options, C_Printer& io_printer, int i_status,
           const std::string& i_message) {
  io_printer.Error(i_message);
  io_printer.Finish(i_options.commandName, i_status, i_message);
  return i_status;
}

}  // namespace

int main(int argc, char** argv) {
  S_Options options;
  {
    C_OptionTable table(options);
    const int parsed = table.Parse(argc, argv);
    if (parsed >= 0) return parsed;
  }
  C_Printer printer(options.verbosity, options.json);
  try {
    N_Messages::SetLocale(options.locale);
    int status = RunFileCommand(options, printer);
    if (status < 0) status = RunHostCommand(options, printer);
    printer.Finish(options.commandName, status);
    return status;
  } catch (const C_Failure& failure) {
    return Report(options, printer, failure.Status(), failure.what());
  } catch (const std::exception& e) {
    return Report(options, printer, N_ExitStatus::FAILED, std::string("vekctl: ") + e.what());
  }
}
