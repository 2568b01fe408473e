#ifndef VEK_TESTS_TOOLS_C_VEKCTL_H
#define VEK_TESTS_TOOLS_C_VEKCTL_H

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/TestSupport.h"

// The real vekctl binary run as a subprocess on a simulated fleet of its
// own: a temporary directory holds the state file (VEK_SIM_STATE), the
// drives' locks (VEK_LOCK_DIR), the journal (VEK_STATE_DIR), sample images
// and whatever the commands write. The environment is the test's, with
// LC_ALL=C, NO_COLOR unset, those paths set and Env()'s additions.
class C_Vekctl {
 public:
  struct S_Result {
    int status = -1;  // exit status; -1 when killed by a signal
    std::string out;  // standard output
    std::string err;  // standard error
  };

  // i_fleet: the fleet file's contents ("" for the built-in fleet).
  explicit C_Vekctl(const std::string& i_fleet = "");

  // Runs vekctl with i_args, standard input from i_input (never a terminal).
  S_Result Run(const std::vector<std::string>& i_args, const std::string& i_input = "");
  // Starts vekctl in the background (no input; output to files named after
  // i_name); Wait collects it.
  int Spawn(const std::vector<std::string>& i_args, const std::string& i_name);
  S_Result Wait(int i_pid, const std::string& i_name);
  // Sets keys of drive i_drive of controller i_controller (indexes into the
  // state file) in the simulated state: "faults", "busyPolls", ...
  void SetDrive(int i_controller, int i_drive, const nlohmann::json& i_keys);
  // Variables ("NAME=value") added to every later run.
  std::vector<std::string>& Env() { return m_env; }
  // Runs with --json; the parsed standard output, which must be exactly
  // one document (a parse failure fails the test).
  nlohmann::json Json(std::vector<std::string> i_args, int* o_status = nullptr);
  // Runs on a pseudo-terminal: i_answer is typed once i_prompt has
  // appeared (nothing typed when i_prompt is empty). Returns everything the
  // terminal showed. i_env adds variables ("NAME=value").
  S_Result RunOnTerminal(const std::vector<std::string>& i_args, const std::string& i_prompt,
                         const std::string& i_answer, const std::vector<std::string>& i_env = {},
                         unsigned short i_columns = 160);

  // A firmware image for i_product that installs i_revision, written into
  // the directory; its path.
  std::string Image(const std::string& i_product, const std::string& i_revision,
                    std::size_t i_payload = 96 * 1024);
  // The drive's revision as "list --json" reports it now.
  std::string Revision(const std::string& i_device);
  const std::string& Dir() const { return m_dir.Path(); }
  std::string File(const std::string& i_name) const { return m_dir.File(i_name); }

 private:
  std::vector<std::string> Environment(const std::vector<std::string>& i_extra) const;
  C_TempDir m_dir;
  std::vector<std::string> m_common;  // --fleet FILE when given
  std::vector<std::string> m_env;
};

// Whether i_text holds i_part; a failure shows the whole text.
inline testing::AssertionResult Has(const std::string& i_text, const std::string& i_part) {
  if (i_text.find(i_part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "no \"" << i_part << "\" in:\n" << i_text;
}

#endif
#endif
