// vek-vm-bench: runs inside the benchmark guest (bench/vm/guest.sh). Times
// a 16 MiB firmware download to a scsi_debug disk through "vekctl --driver
// linux flash" and through Debian's sg_write_buffer, alternating, and once
// more in process to split vekctl's time per 32 KiB segment into kernel and
// not. Prints "VMBENCH" lines; the last is the summary.
//
//   vek-vm-bench DISK SG-NODE IMAGE ROUNDS
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "device/C_Device.h"
#include "drivers/linux/C_LinuxDriver.h"
#include "drivers/linux/N_LinuxResult.h"
#include "module/C_Root.h"

namespace {

typedef std::chrono::steady_clock T_Clock;

double Seconds(T_Clock::duration i_duration) {
  return std::chrono::duration<double>(i_duration).count();
}
double Cpu(const timeval& i_time) { return i_time.tv_sec + i_time.tv_usec / 1e6; }

struct S_Run {
  double seconds = 0, user = 0, system = 0;
  int status = -1;
};

// Runs a program to its end; wall time and the child's CPU times.
S_Run Run(const std::vector<std::string>& i_args) {
  std::vector<char*> argv;
  for (const std::string& arg : i_args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  S_Run run;
  const T_Clock::time_point start = T_Clock::now();
  const pid_t child = fork();
  if (child == 0) {
    std::freopen("/dev/null", "w", stdout);
    std::freopen("/dev/null", "w", stderr);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  wait4(child, &status, 0, &usage);
  run.seconds = Seconds(T_Clock::now() - start);
  run.user = Cpu(usage.ru_utime);
  run.system = Cpu(usage.ru_stime);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

// Times every SG_IO and counts the commands and the busy answers.
class C_TimingTransport : public C_SgTransport {
 public:
  double inSend = 0;
  int commands = 0, busy = 0;
  S_Reply Send(int i_fd, const S_Request& i_request) override {
    const T_Clock::time_point start = T_Clock::now();
    S_Reply reply = C_SgTransport::Send(i_fd, i_request);
    inSend += Seconds(T_Clock::now() - start);
    ++commands;
    busy += i_request.cdb[0] == 0x00 && N_LinuxResult::Classify(reply, true) == N_LinuxResult::BUSY;
    return reply;
  }
};

struct S_InProcess {
  double seconds = 0, inSend = 0, user = 0;
  int commands = 0, busy = 0, status = -1;
};

// The module's "Flash" on the Linux driver in this process.
S_InProcess FlashInProcess(const std::string& i_disk, std::vector<char>& i_image) {
  C_TimingTransport* transport = new C_TimingTransport();
  C_Root root;
  root.SetDriver(new C_LinuxDriver(C_LinuxDriver::S_Options(), std::unique_ptr<C_SgTransport>(transport)));
  root.Init();
  root.FindChildren();
  C_Device* drive = nullptr;
  for (auto host = root.ChildrenBegin(); host != root.ChildrenEnd(); ++host) {
    (*host)->FindChildren();
    for (auto it = (*host)->ChildrenBegin(); it != (*host)->ChildrenEnd(); ++it) {
      C_Device* device = static_cast<C_Device*>(*it);
      if (device->GetAttribute("DeviceId") == i_disk) drive = device;
    }
  }
  S_InProcess result;
  if (drive) {
    transport->inSend = 0;
    transport->commands = transport->busy = 0;
    const std::string length = std::to_string(i_image.size());
    const std::string address = std::to_string(reinterpret_cast<unsigned long>(i_image.data()));
    const char* argv[] = {"Flash", length.c_str(), address.c_str()};
    rusage before = {}, after = {};
    getrusage(RUSAGE_SELF, &before);
    const T_Clock::time_point start = T_Clock::now();
    result.status = drive->CallOperation("Flash", 3, argv);
    result.seconds = Seconds(T_Clock::now() - start);
    getrusage(RUSAGE_SELF, &after);
    result.user = Cpu(after.ru_utime) - Cpu(before.ru_utime);
    result.inSend = transport->inSend;
    result.commands = transport->commands;
    result.busy = transport->busy;
  }
  root.Cleanup();
  return result;
}

double Median(std::vector<double> i_values) {
  std::sort(i_values.begin(), i_values.end());
  return i_values.empty() ? 0 : i_values[i_values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: vek-vm-bench DISK SG-NODE IMAGE ROUNDS\n");
    return 2;
  }
  const std::string disk = argv[1], sg = argv[2], image = argv[3];
  const int rounds = std::atoi(argv[4]);
  std::ifstream file(image, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const double segments = (bytes.size() + 32767) / 32768;

  const std::vector<std::string> vekctl = {"vekctl", "--driver", "linux", "flash", image, disk,
                                           "--yes", "--expect", "0191"};
  const std::vector<std::string> mode7 = {"sg_write_buffer", "--mode=7", "--bpw=32768",
                                          "--in=" + image, sg};
  const std::vector<std::string> modeE = {"sg_write_buffer", "--mode=0xe", "--bpw=32768",
                                          "--in=" + image, sg};
  std::vector<double> tVekctl, tSg, uVekctl;
  int failures = 0, mode7status = 0;
  for (int round = 1; round <= rounds; ++round) {
    const S_Run a = Run(vekctl);
    const S_Run b = Run(modeE);
    const S_Run c = Run(mode7);
    mode7status = c.status;
    failures += a.status != 0 || b.status != 0;
    tVekctl.push_back(a.seconds);
    uVekctl.push_back(a.user);
    tSg.push_back(b.seconds);
    std::printf("VMBENCH round %d: vekctl %.3f s (exit %d, user %.3f s, system %.3f s); "
                "sg_write_buffer --mode=0xe %.3f s (exit %d); --mode=7 %.3f s (exit %d)\n",
                round, a.seconds, a.status, a.user, a.system, b.seconds, b.status, c.seconds,
                c.status);
    std::fflush(stdout);
  }
  std::vector<double> outside, userPerSegment;
  S_InProcess in;
  for (int round = 1; round <= rounds; ++round) {
    in = FlashInProcess(disk, bytes);
    const double waits = in.busy * 0.1;
    outside.push_back((in.seconds - in.inSend - waits) / segments);
    userPerSegment.push_back(in.user / segments);
    std::printf("VMBENCH in-process Flash %d: %.3f s (status %d), %d commands, %.3f s in SG_IO, "
                "%d busy answers (%.1f s of fixed polling waits), user CPU %.3f s\n",
                round, in.seconds, in.status, in.commands, in.inSend, in.busy, waits, in.user);
  }
  const double ratio = Median(tVekctl) / Median(tSg);
  std::printf("VMBENCH summary: %zu bytes in %.0f segments of 32 KiB, %d rounds; median vekctl "
              "%.3f s, sg_write_buffer --mode=0xe %.3f s, ratio %.3f; vekctl sends %d commands "
              "(each segment after the first twice: scsi_debug raises a unit attention after "
              "every mode 7 segment), sg_write_buffer %.0f, so per command %.3f; "
              "sg_write_buffer --mode=7 exits %d at the second segment for that unit attention; "
              "per segment outside SG_IO %.1f us, user CPU %.1f us; fixed polling waits %.1f s; "
              "failed runs %d\n",
              bytes.size(), segments, rounds, Median(tVekctl), Median(tSg), ratio, in.commands,
              segments, Median(tVekctl) / Median(tSg) * segments / std::max(in.commands, 1),
              mode7status, Median(outside) * 1e6, Median(userPerSegment) * 1e6, in.busy * 0.1,
              failures);
  return failures ? 1 : 0;
}
