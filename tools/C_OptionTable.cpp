#include "tools/C_OptionTable.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/C_Printer.h"
#include "tools/N_ExitStatus.h"

#ifndef VEKCTL_VERSION
#define VEKCTL_VERSION "0"
#endif

namespace {

const char FOOTER[] =
    "Exit status: 0 success, 1 usage error, 2 device not found, 3 an operation\n"
    "failed, 4 verification failed, 5 some drives of a fleet flash failed, 6 the\n"
    "drive is being flashed by another process, 7 interrupted.\n"
    "DEVICE: a device id (\"hba0:1\", \"sdb\"), serial:S, or the path that \"list\" prints;\n"
    "with --driver linux also /dev/sdb, sg1, /dev/sg1 or 1:0:0:0.";

// Subcommand help lists only the command's own options.
const char GLOBAL_FOOTER[] =
    "Global options, before or after the command: -v (-vv, -vvv), --json,\n"
    "--driver sim|linux, --sim-state PATH, --fleet FILE, --locale L, --module PATH,\n"
    "--timeout S, --force (see vekctl --help).";

// A revision or name given as an empty string selects nothing, silently:
// refused instead.
const CLI::Validator NON_EMPTY(
    [](std::string& i_value) { return i_value.empty() ? std::string("must not be empty") : ""; },
    "", "NON_EMPTY");

}  // namespace

C_OptionTable::C_OptionTable(S_Options& o_options)
    : m_app("vekctl: the drive firmware host of the vek module", "vekctl"), m_options(o_options) {
  // Subcommands inherit these: global options may follow the command, and
  // a command without its own subcommand is an error.
  m_app.fallthrough();
  m_app.require_subcommand(1);
  m_app.footer(FOOTER);
  m_app.set_version_flag("-V,--version", std::string("vekctl ") + VEKCTL_VERSION);
  AddGlobalOptions();
  AddDeviceCommands();
  AddFlash();
  AddDefer();
  AddDdff();
  AddFileCommands();
  AddSim();
  AddHistory();
}

CLI::App* C_OptionTable::Command(CLI::App* i_parent, const std::string& i_name,
                                 const std::string& i_help, S_Options::E_Command i_command) {
  CLI::App* command = i_parent->add_subcommand(i_name, i_help);
  command->require_subcommand(0);
  command->footer(GLOBAL_FOOTER);
  S_Options& options = m_options;
  const std::string name = i_parent == &m_app ? i_name : i_parent->get_name() + " " + i_name;
  command->final_callback([&options, i_command, name]() {
    options.command = i_command;
    options.commandName = name;
  });
  return command;
}

void C_OptionTable::AddGlobalOptions() {
  m_app.add_flag("-v,--verbose", m_options.verbosity,
                 "show each command block sent, one line each (-vv adds 256 bytes of its data "
                 "as a hex dump, -vvv all of it)");
  m_app.add_flag("--json", m_options.json, "one JSON document on standard output");
  m_app.add_option("--driver", m_options.driver, "controller driver")
      ->check(CLI::IsMember({"sim", "linux"}))
      ->capture_default_str();
  m_app.add_option("--sim-state", m_options.simState,
                   "state file of the simulated controller (default: $VEK_SIM_STATE, "
                   "else ~/.local/state/vek/sim-state.json)");
  m_app.add_option("--fleet", m_options.fleet, "fleet file: the simulated hardware to start from");
  m_app.add_option("--locale", m_options.locale,
                   "locale of the module's messages (default: the environment's)");
  m_app.add_option("--module", m_options.module,
                   "libvek.so to load (default: the one vekctl was built with)");
  m_app.add_option("--timeout", m_options.timeout,
                   "linux: seconds a WRITE BUFFER or DOWNLOAD MICROCODE may take (default 600)")
      ->check(CLI::Range(1u, 86400u));
  m_app.add_flag("--force", m_options.force,
                 "override vekctl's refusals: flash drives with no known revision or of "
                 "another product than the image's, images that are not whole; linux: "
                 "drives that are mounted, hold swap, are held by md, LVM or device-mapper, "
                 "or have no serial number");
}

void C_OptionTable::AddDeviceCommands() {
  Command(&m_app, "list", "the device tree, one line per device", S_Options::CMD_LIST);

  CLI::App* show = Command(&m_app, "show", "every attribute of a device, sense data decoded",
                           S_Options::CMD_SHOW);
  show->add_option("DEVICE", m_options.device, "device")->required();

  CLI::App* ops = Command(&m_app, "ops", "the operation names of a device", S_Options::CMD_OPS);
  ops->add_option("DEVICE", m_options.device, "device")->required();

  CLI::App* call =
      Command(&m_app, "call", "call one named operation and show its status", S_Options::CMD_CALL);
  call->add_option("DEVICE", m_options.device, "device")->required();
  call->add_option("OPERATION", m_options.operation, "operation name (see \"ops\")")->required();
  call->add_option("ARG", m_options.arguments,
                   "arguments, as the operation reads them (after -- when one begins with '-')");
}

void C_OptionTable::AddFlash() {
  CLI::App* flash = Command(&m_app, "flash",
                            "flash IMAGE to drives: direct for SCSI and ATA, a deferred request "
                            "for deferred-flash drives",
                            S_Options::CMD_FLASH);
  flash->add_option("IMAGE", m_options.image, "firmware image file")->required();
  flash->add_option("DEVICE", m_options.devices, "drives to flash (or --all)");
  flash->add_flag("--all", m_options.all, "every drive that matches --vendor, --product, --below");
  flash->add_option("--vendor", m_options.vendor, "with --all: only drives of this vendor")
      ->check(NON_EMPTY);
  flash->add_option("--product", m_options.product, "with --all: only drives of this product")
      ->check(NON_EMPTY);
  flash
      ->add_option("--below", m_options.below,
                   "with --all: only drives whose revision is below REV")
      ->check(NON_EMPTY);
  flash->add_option("--skip-current", m_options.skipCurrent, "leave out drives already at REV")
      ->check(NON_EMPTY);
  flash
      ->add_option("--jobs", m_options.jobs,
                   "flash up to N drives at once (default: all selected, at most 8)")
      ->check(CLI::Validator(
          [](std::string& i_value) {
            const std::string digits = "0123456789";
            if (i_value.empty() || i_value.size() > 2 ||
                i_value.find_first_not_of(digits) != std::string::npos ||
                std::stoi(i_value) < 1 || std::stoi(i_value) > 64) {
              return "takes a number of drives from 1 to 64, not '" + i_value + "'";
            }
            return std::string();
          },
          "N", "JOBS"));
  flash
      ->add_option("--expect", m_options.expect,
                   "a drive whose new revision is not REV has failed (a deferred drive: "
                   "checked by \"defer status --expect\")")
      ->check(NON_EMPTY);
  flash->add_flag("--wait", m_options.wait,
                  "wait for drives another process is flashing (default: refuse them)");
  flash->add_flag("--replace", m_options.replace,
                  "replace a deferred request the controller holds pending");
  flash->add_flag("--dry-run", m_options.dryRun,
                  "check the image, select the drives, print the plan; send nothing");
  flash->add_flag("-y,--yes", m_options.yes,
                  "do not ask for confirmation (required without a terminal)");
}

void C_OptionTable::AddDefer() {
  CLI::App* defer =
      m_app.add_subcommand("defer", "deferred-flash requests held by an array controller");
  defer->require_subcommand(1);
  CLI::App* status = Command(defer, "status", "the request's status as the controller reports it",
                             S_Options::CMD_DEFER_STATUS);
  status->add_option("DEVICE", m_options.device, "deferred-flash drive")->required();
  status
      ->add_option("--expect", m_options.expect,
                   "exit 0 only when the drive runs REV (4 otherwise, 3 for a failed request)")
      ->check(NON_EMPTY);
  CLI::App* cancel = Command(defer, "cancel", "cancel a request that has not started",
                             S_Options::CMD_DEFER_CANCEL);
  cancel->add_option("DEVICE", m_options.device, "deferred-flash drive")->required();
  CLI::App* dump = Command(defer, "dump", "write the controller's copy of the request to a file",
                           S_Options::CMD_DEFER_DUMP);
  dump->add_option("DEVICE", m_options.device, "deferred-flash drive")->required();
  dump->add_option("--dir", m_options.directory, "directory for the dump file (default: .)");
}

void C_OptionTable::AddDdff() {
  CLI::App* ddff = m_app.add_subcommand("ddff", "deferred-flash request files");
  ddff->require_subcommand(1);
  CLI::App* build = Command(ddff, "build", "build a request for IMAGE with the standard program",
                            S_Options::CMD_DDFF_BUILD);
  build->add_option("IMAGE", m_options.image, "firmware image file")->required();
  build->add_option("-o,--output", m_options.output, "request file to write")->required();
  build->add_option("--vendor", m_options.vendor, "drive vendor id (8 characters)");
  build->add_option("--product", m_options.product, "drive product id (16 characters)");
  build->add_option("--revision", m_options.revision,
                    "drive revision the flash replaces (4 characters)");
  build->add_option("--serial", m_options.serial, "drive serial number (20 characters)");
  build->add_option("--flags", m_options.flags, "request flags")
      ->delimiter(',')
      ->check(CLI::IsMember({"debug", "downgrade", "reflash", "fast"}));
  CLI::App* dump =
      Command(ddff, "dump", "the module's report of a request file", S_Options::CMD_DDFF_DUMP);
  dump->add_option("FILE", m_options.file, "request file")->required();
  CLI::App* verify = Command(ddff, "verify", "check a request file (exit 0 only when it is valid)",
                             S_Options::CMD_DDFF_VERIFY);
  verify->add_option("FILE", m_options.file, "request file")->required();
}

void C_OptionTable::AddFileCommands() {
  CLI::App* cloak =
      Command(&m_app, "cloak", "write IN as a cloaked file OUT", S_Options::CMD_CLOAK);
  cloak->add_option("IN", m_options.input, "plain file")->required();
  cloak->add_option("OUT", m_options.output, "cloaked file to write")->required();
  CLI::App* uncloak = Command(&m_app, "uncloak", "write the contents of cloaked file IN to OUT",
                              S_Options::CMD_UNCLOAK);
  uncloak->add_option("IN", m_options.input, "cloaked file")->required();
  uncloak->add_option("OUT", m_options.output, "plain file to write")->required();
  CLI::App* hexdump =
      Command(&m_app, "hexdump", "a file as the module's hex dump", S_Options::CMD_HEXDUMP);
  hexdump->add_option("FILE", m_options.file, "file")->required();
}

void C_OptionTable::AddSim() {
  CLI::App* sim = m_app.add_subcommand("sim", "the simulated controller");
  sim->require_subcommand(1);
  Command(sim, "reset", "return the simulated fleet to its initial state",
          S_Options::CMD_SIM_RESET);
  CLI::App* restart = Command(
      sim, "restart", "restart array controllers: their agents run pending deferred requests",
      S_Options::CMD_SIM_RESTART);
  restart->add_option("CONTROLLER", m_options.controller,
                      "one array controller (default: every one)");
  Command(sim, "status", "the simulated state", S_Options::CMD_SIM_STATUS);
}

void C_OptionTable::AddHistory() {
  CLI::App* history = Command(&m_app, "history", "the flash journal: every flash attempt",
                              S_Options::CMD_HISTORY);
  history->add_option("DEVICE", m_options.device,
                      "only this drive's attempts: its id, path, serial or serial:S");
}

int C_OptionTable::Parse(int argc, const char* const* argv) {
  // "vekctl help [COMMAND...]" is "vekctl [COMMAND...] --help".
  std::vector<std::string> args(argv + std::min(argc, 1), argv + argc);
  if (!args.empty() && args[0] == "help") {
    args.erase(args.begin());
    args.push_back("--help");
  }
  // CLI11 takes the arguments last to first.
  std::reverse(args.begin(), args.end());
  try {
    m_app.parse(args);
  } catch (const CLI::CallForHelp& e) {
    return m_app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return m_app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return m_app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::string message = std::string("vekctl: ") + e.what() + " (see --help)";
    // A word that names no command is reported as that, not as a missing one.
    if (ParsedCommand().empty() && !m_app.remaining().empty()) {
      message = "vekctl: unknown command \"" + m_app.remaining().front() + "\" (see --help)";
    }
    std::fprintf(stderr, "%s\n", message.c_str());
    // --json holds even for a command line that did not parse.
    for (int i = 1; i < argc && std::string(argv[i]) != "--"; ++i) {
      if (std::string(argv[i]) == "--json") {
        const nlohmann::json document = C_Printer::Envelope(
            nlohmann::json::object(), ParsedCommand(), N_ExitStatus::USAGE, message);
        std::printf("%s\n", document.dump(2).c_str());
        break;
      }
    }
    return N_ExitStatus::USAGE;
  }
  return -1;
}

std::string C_OptionTable::ParsedCommand() const {
  std::string name;
  for (const CLI::App* app = &m_app; !app->get_subcommands().empty();) {
    app = app->get_subcommands().front();
    name += (name.empty() ? "" : " ") + app->get_name();
  }
  return name;
}

std::vector<std::string> C_OptionTable::CommandPaths() {
  return {"list",         "show",       "ops",        "call",        "flash",       "defer status",
          "defer cancel", "defer dump", "ddff build", "ddff dump",   "ddff verify", "cloak",
          "uncloak",      "hexdump",    "sim reset",  "sim restart", "sim status",
          "history"};
}
