#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "drivers/sim/C_SimFirmwareImage.h"

extern char** environ;

namespace {

std::vector<char*> Pointers(std::vector<std::string>& io_strings) {
  std::vector<char*> pointers;
  for (std::string& s : io_strings) pointers.push_back(&s[0]);
  pointers.push_back(nullptr);
  return pointers;
}

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
    const std::string entry = *e;
    const std::string name = entry.substr(0, entry.find('='));
    if (name == "VEK_SIM_STATE" || name == "NO_COLOR" || name == "LC_ALL" || name == "TERM")
      continue;
    env.push_back(entry);
  }
  env.push_back("VEK_SIM_STATE=" + File("state.json"));
  env.push_back("LC_ALL=C");
  env.insert(env.end(), i_extra.begin(), i_extra.end());
  return env;
}

C_Vekctl::S_Result C_Vekctl::Run(const std::vector<std::string>& i_args,
                                 const std::string& i_input) {
  std::vector<std::string> argv = {VEKCTL_FILE};
  argv.insert(argv.end(), i_args.begin(), i_args.end());
  argv.insert(argv.end(), m_common.begin(), m_common.end());
  std::vector<std::string> env = Environment({});
  std::vector<char*> argp = Pointers(argv), envp = Pointers(env);

  int in[2], out[2], err[2];
  if (pipe(in) || pipe(out) || pipe(err)) throw std::runtime_error("pipe failed");
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
    execve(argp[0], argp.data(), envp.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  // Small inputs fit the pipe; the child may not read them at all.
  signal(SIGPIPE, SIG_IGN);
  if (!i_input.empty() && write(in[1], i_input.data(), i_input.size()) < 0) {
    // the child went away without reading: its output says why
  }
  close(in[1]);
  S_Result result;
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open = 2;
  while (open > 0) {
    if (poll(fds, 2, -1) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n <= 0) {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      } else {
        sinks[i]->append(buffer, static_cast<std::size_t>(n));
      }
    }
  }
  int wait = 0;
  waitpid(pid, &wait, 0);
  result.status = ExitStatus(wait);
  return result;
}

nlohmann::json C_Vekctl::Json(std::vector<std::string> i_args, int* o_status) {
  i_args.push_back("--json");
  const S_Result result = Run(i_args);
  if (o_status) *o_status = result.status;
  try {
    return nlohmann::json::parse(result.out);
  } catch (const std::exception& e) {
    ADD_FAILURE() << "not one JSON document (" << e.what() << "):\n"
                  << result.out << "\nstderr:\n"
                  << result.err;
    return nlohmann::json();
  }
}

C_Vekctl::S_Result C_Vekctl::RunOnTerminal(const std::vector<std::string>& i_args,
                                           const std::string& i_prompt, const std::string& i_answer,
                                           const std::vector<std::string>& i_env) {
  std::vector<std::string> argv = {VEKCTL_FILE};
  argv.insert(argv.end(), i_args.begin(), i_args.end());
  argv.insert(argv.end(), m_common.begin(), m_common.end());
  std::vector<std::string> extra = {"TERM=xterm"};
  extra.insert(extra.end(), i_env.begin(), i_env.end());
  std::vector<std::string> env = Environment(extra);
  std::vector<char*> argp = Pointers(argv), envp = Pointers(env);

  int master = -1;
  winsize size = {40, 160, 0, 0};
  const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
  if (pid < 0) throw std::runtime_error("forkpty failed");
  if (pid == 0) {
    execve(argp[0], argp.data(), envp.data());
    _exit(127);
  }
  S_Result result;
  bool answered = i_prompt.empty();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (;;) {
    pollfd fd = {master, POLLIN, 0};
    if (poll(&fd, 1, 200) < 0 || std::chrono::steady_clock::now() > deadline) break;
    if (fd.revents & (POLLIN | POLLHUP)) {
      char buffer[4096];
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
  for (int tries = 0; waitpid(pid, &wait, WNOHANG) == 0; ++tries) {
    if (tries == 50) {
      kill(pid, SIGKILL);
      waitpid(pid, &wait, 0);
      break;
    }
    usleep(100000);
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
