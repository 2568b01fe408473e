#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "drivers/sim/C_SimFirmwareImage.h"

extern char** environ;

namespace {

// Argument and environment strings with the pointer arrays execve takes,
// all built before fork.
struct S_Exec {
  std::vector<std::string> strings[2];
  std::vector<char*> pointers[2];
  S_Exec(const std::vector<std::string>& i_args, const std::vector<std::string>& i_common,
         std::vector<std::string> i_env)
      : strings{{VEKCTL_FILE}, std::move(i_env)} {
    strings[0].insert(strings[0].end(), i_args.begin(), i_args.end());
    strings[0].insert(strings[0].end(), i_common.begin(), i_common.end());
    for (int i = 0; i < 2; ++i) {
      for (std::string& s : strings[i]) pointers[i].push_back(&s[0]);
      pointers[i].push_back(nullptr);
    }
  }
  [[noreturn]] void Exec() {
    execve(pointers[0][0], pointers[0].data(), pointers[1].data());
    _exit(127);
  }
};

int ExitStatus(int i_wait) { return WIFEXITED(i_wait) ? WEXITSTATUS(i_wait) : -1; }

}  // namespace

C_Vekctl::C_Vekctl(const std::string& i_fleet) {
  if (!i_fleet.empty()) {
    WriteFileBytes(File("fleet.json"), i_fleet);
    m_common = {"--fleet", File("fleet.json")};
  }
}

std::vector<std::string> C_Vekctl::Environment(const std::vector<std::string>& i_extra) const {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    const std::string name = std::string(*e).substr(0, std::string(*e).find('='));
    if (name != "VEK_SIM_STATE" && name != "NO_COLOR" && name != "LC_ALL" && name != "TERM")
      env.push_back(*e);
  }
  env.push_back("VEK_SIM_STATE=" + File("state.json"));
  env.push_back("VEK_LOCK_DIR=" + File("locks"));
  env.push_back("VEK_STATE_DIR=" + File("state"));
  env.push_back("LC_ALL=C");
  env.insert(env.end(), m_env.begin(), m_env.end());
  env.insert(env.end(), i_extra.begin(), i_extra.end());
  return env;
}

// Standard input, output and error are files in the directory: a file is
// never a terminal, and nothing can block on a full pipe.
C_Vekctl::S_Result C_Vekctl::Run(const std::vector<std::string>& i_args,
                                 const std::string& i_input) {
  WriteFileBytes(File("stdin"), i_input);
  return Wait(Spawn(i_args, ""), "");
}

int C_Vekctl::Spawn(const std::vector<std::string>& i_args, const std::string& i_name) {
  S_Exec exec(i_args, m_common, Environment({}));
  if (!i_name.empty()) WriteFileBytes(File("stdin"), "");
  const int fds[3] = {open(File("stdin").c_str(), O_RDONLY),
                      open(File(i_name + "stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600),
                      open(File(i_name + "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)};
  const pid_t pid = fork();
  if (pid == 0) {
    for (int fd = 0; fd < 3; ++fd) dup2(fds[fd], fd);
    exec.Exec();
  }
  for (int fd : fds) close(fd);
  return pid;
}

C_Vekctl::S_Result C_Vekctl::Wait(int i_pid, const std::string& i_name) {
  int wait = 0;
  waitpid(i_pid, &wait, 0);
  return {ExitStatus(wait), ReadFileBytes(File(i_name + "stdout")),
          ReadFileBytes(File(i_name + "stderr"))};
}

void C_Vekctl::SetDrive(int i_controller, int i_drive, const nlohmann::json& i_keys) {
  Run({"sim", "reset"});  // the initial fleet (--fleet when given)
  nlohmann::json state = nlohmann::json::parse(ReadFileBytes(File("state.json")));
  state["controllers"][i_controller]["drives"][i_drive].update(i_keys);
  WriteFileBytes(File("state.json"), state.dump());
}

nlohmann::json C_Vekctl::Json(std::vector<std::string> i_args, int* o_status) {
  i_args.push_back("--json");
  const S_Result result = Run(i_args);
  if (o_status) *o_status = result.status;
  try {
    return nlohmann::json::parse(result.out);
  } catch (const std::exception& e) {
    ADD_FAILURE() << "not one JSON document (" << e.what() << "):\n"
                  << result.out << "\nstderr:\n" << result.err;
    return nlohmann::json();
  }
}

C_Vekctl::S_Result C_Vekctl::RunOnTerminal(const std::vector<std::string>& i_args,
                                           const std::string& i_prompt, const std::string& i_answer,
                                           const std::vector<std::string>& i_env,
                                           unsigned short i_columns) {
  std::vector<std::string> extra = {"TERM=xterm"};
  extra.insert(extra.end(), i_env.begin(), i_env.end());
  S_Exec exec(i_args, m_common, Environment(extra));
  int master = -1;
  winsize size = {40, i_columns, 0, 0};
  const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
  if (pid < 0) throw std::runtime_error("forkpty failed");
  if (pid == 0) exec.Exec();
  S_Result result;
  bool answered = i_prompt.empty();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (char buffer[4096];;) {
    pollfd fd = {master, POLLIN, 0};
    if (poll(&fd, 1, 200) < 0 || std::chrono::steady_clock::now() > deadline) break;
    if (fd.revents & (POLLIN | POLLHUP)) {
      const ssize_t n = read(master, buffer, sizeof buffer);
      if (n <= 0) break;  // EIO: the child's side is closed
      result.out.append(buffer, static_cast<std::size_t>(n));
    }
    if (!answered && result.out.find(i_prompt) != std::string::npos) {
      answered = true;
      if (write(master, i_answer.data(), i_answer.size()) < 0) break;
    }
  }
  close(master);
  int wait = 0;
  // The terminal closes as the program ends; give it a moment to be gone.
  for (int tries = 0; waitpid(pid, &wait, WNOHANG) == 0; ++tries, usleep(100000)) {
    if (tries == 50) {
      kill(pid, SIGKILL);
      waitpid(pid, &wait, 0);
    }
  }
  result.status = ExitStatus(wait);
  return result;
}

std::string C_Vekctl::Image(const std::string& i_product, const std::string& i_revision,
                            std::size_t i_payload) {
  const std::vector<std::uint8_t> image = C_SimFirmwareImage::Build(
      i_product, i_revision, C_SimFirmwareImage::SamplePayload(i_product, i_revision, i_payload));
  const std::string path = File(i_product + "-" + i_revision + ".fw");
  WriteFileBytes(path, std::string(image.begin(), image.end()));
  return path;
}

std::string C_Vekctl::Revision(const std::string& i_device) {
  const nlohmann::json list = Json({"list"});
  for (const auto& device : list["devices"]) {
    if (device["id"] == i_device) return device["revision"];
  }
  ADD_FAILURE() << i_device << " is not listed";
  return "";
}

#endif
