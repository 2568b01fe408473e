// A fleet flash on the simulated controller: "vekctl flash --all --jobs N"
// of N SCSI drives (N = 1, 8, 64, each fleet from a fleet file), from a
// fresh state each time, as an operator runs it: process start, discovery,
// the flashes, the journal. The drives' busy polls after a download sleep
// for real (VEK_SIM_INSTANT is unset): that is the time parallel jobs
// overlap.
//
// Each round flashes the three fleets one after another, so that the sizes
// share the machine's load. The summary gives the median wall time of each
// size, its ratio to one drive (goals: at most 1.1 at 8 drives, 1.5 at 64)
// and the CPU time (user and system) of vekctl per drive.
//
//   vek_bench_fleet [--rounds=R] [google benchmark options]
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace fs = std::filesystem;

namespace {

const int SIZES[] = {1, 8, 64};
const std::size_t IMAGE_PAYLOAD = 1u << 20;
int g_rounds = 5;

struct S_Sample {
  double seconds = 0;
  double cpuSeconds = 0;
};
std::map<int, std::vector<S_Sample>> g_samples;

double Cpu(const timeval& i_time) { return i_time.tv_sec + i_time.tv_usec / 1e6; }

// Runs a program with stdout to i_out and stderr to i_err; its exit status
// (-1: did not exit), wall time and CPU time.
int Run(const std::vector<std::string>& i_args, const std::vector<std::string>& i_env,
        const fs::path& i_out, const fs::path& i_err, S_Sample& o_sample) {
  std::vector<char*> argv;
  for (const std::string& arg : i_args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    unsetenv("VEK_SIM_INSTANT");
    for (const std::string& entry : i_env) putenv(const_cast<char*>(entry.c_str()));
    if (!std::freopen(i_out.c_str(), "w", stdout) || !std::freopen(i_err.c_str(), "w", stderr)) {
      _exit(126);
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return -1;
  o_sample.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  o_sample.cpuSeconds = Cpu(usage.ru_utime) + Cpu(usage.ru_stime);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A fleet of i_drives KS-4000 drives at revision 0102 on one adapter.
void WriteFleet(const fs::path& i_path, int i_drives) {
  nlohmann::json drives = nlohmann::json::array();
  for (int i = 0; i < i_drives; ++i) {
    char serial[16];
    std::snprintf(serial, sizeof serial, "KSL%07d", i);
    drives.push_back({{"number", i}, {"kind", "scsi"}, {"vendor", "KESTREL"},
                      {"product", "KS-4000"}, {"serial", serial}, {"firmware", "0102"}});
  }
  nlohmann::json fleet = {{"format", "vek-sim-fleet"}, {"version", 1},
                          {"controllers", {{{"name", "hba0"}, {"kind", "hba"}, {"vendor", "VEKSIM"},
                                            {"product", "SAS HBA 8i"}, {"firmware", "2.10"},
                                            {"drives", drives}}}}};
  std::ofstream(i_path) << fleet.dump();
}

class C_Fleet {
 public:
  C_Fleet() {
    std::string pattern = (fs::temp_directory_path() / "vek-bench-fleet-XXXXXX").string();
    if (mkdtemp(&pattern[0])) m_root = pattern;
  }
  ~C_Fleet() {
    std::error_code ignored;
    if (!m_root.empty()) fs::remove_all(m_root, ignored);
  }
  bool Ready(std::string& o_why) {
    if (m_root.empty()) {
      o_why = "cannot make a temporary directory";
      return false;
    }
    for (int size : SIZES) WriteFleet(Fleet(size), size);
    S_Sample ignored;
    const int status = Run({VEK_SIM_IMAGE, "--product", "KS-4000", "--revision", "0103", "--size",
                            std::to_string(IMAGE_PAYLOAD), "-o", Image().string()},
                           {}, m_root / "image.out", m_root / "image.err", ignored);
    if (status != 0) o_why = "vek-sim-image failed";
    return status == 0;
  }

  // Flashes the fleet of i_drives from a fresh state; "" or what went wrong.
  std::string Flash(int i_drives, S_Sample& o_sample) {
    const fs::path work = m_root / ("run-" + std::to_string(i_drives));
    std::error_code ignored;
    fs::remove_all(work, ignored);
    fs::create_directories(work);
    const std::vector<std::string> env = {"VEK_STATE_DIR=" + work.string(),
                                          "VEK_LOCK_DIR=" + (work / "locks").string()};
    const int status =
        Run({VEKCTL, "--sim-state", (work / "state.json").string(), "--fleet",
             Fleet(i_drives).string(), "flash", Image().string(), "--all", "--yes", "--jobs",
             std::to_string(i_drives), "--json"},
            env, work / "out.json", work / "err.txt", o_sample);
    if (status != 0) {
      return "vekctl flash of " + std::to_string(i_drives) + " drives exited " +
             std::to_string(status) + " (" + (work / "err.txt").string() + ")";
    }
    // A flash counts only when every drive was seen at its new revision.
    try {
      std::ifstream in(work / "out.json");
      const nlohmann::json document = nlohmann::json::parse(in);
      if (document["summary"].value("success", 0) != i_drives) {
        return "not every drive was flashed: " + document["summary"].dump();
      }
    } catch (const std::exception& e) {
      return std::string("vekctl's document cannot be read: ") + e.what();
    }
    return "";
  }

 private:
  fs::path Fleet(int i_drives) const { return m_root / ("fleet-" + std::to_string(i_drives) + ".json"); }
  fs::path Image() const { return m_root / "KS-4000-0103.fw"; }
  fs::path m_root;
};

void FleetFlash(benchmark::State& io_state) {
  C_Fleet fleet;
  std::string why;
  if (!fleet.Ready(why)) {
    io_state.SkipWithError(why.c_str());
    return;
  }
  for (auto _ : io_state) {
    double round = 0;
    for (int size : SIZES) {
      S_Sample sample;
      why = fleet.Flash(size, sample);
      if (!why.empty()) {
        io_state.SkipWithError(why.c_str());
        return;
      }
      g_samples[size].push_back(sample);
      round += sample.seconds;
    }
    io_state.SetIterationTime(round);
  }
}

double Median(std::vector<double> i_values) {
  if (i_values.empty()) return 0;
  std::sort(i_values.begin(), i_values.end());
  const std::size_t middle = i_values.size() / 2;
  return i_values.size() % 2 ? i_values[middle] : (i_values[middle - 1] + i_values[middle]) / 2;
}

// Prints the usual table, then the summary with the ratios.
class C_SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    const std::vector<S_Sample>& single = g_samples[1];
    if (single.empty() || g_samples[64].size() != single.size()) return;
    double load[3] = {0, 0, 0};
    getloadavg(load, 3);
    std::printf("\nvekctl flash --all --jobs N of N simulated drives, %zu rounds, 1 MiB image "
                "(load average %.1f %.1f %.1f)\n",
                single.size(), load[0], load[1], load[2]);
    std::printf("  %6s  %10s  %14s  %14s\n", "drives", "wall (ms)", "ratio to one", "CPU/drive (ms)");
    for (int size : SIZES) {
      std::vector<double> wall, ratio, cpu;
      for (std::size_t i = 0; i < single.size(); ++i) {
        const S_Sample& sample = g_samples[size][i];
        wall.push_back(sample.seconds * 1000);
        ratio.push_back(sample.seconds / single[i].seconds);
        cpu.push_back(sample.cpuSeconds * 1000 / size);
      }
      std::printf("  %6d  %10.0f  %14.2f  %14.1f", size, Median(wall), Median(ratio), Median(cpu));
      if (size == 8) std::printf("   goal <= 1.10: %s", Median(ratio) <= 1.10 ? "met" : "missed");
      if (size == 64) std::printf("   goal <= 1.50: %s", Median(ratio) <= 1.50 ? "met" : "missed");
      std::printf("\n");
    }
    std::printf("  (medians over the rounds; a ratio is taken within its round)\n");
  }
};

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0) {
      g_rounds = std::max(1, std::atoi(argv[i] + 9));
      std::copy(argv + i + 1, argv + argc, argv + i);
      --argc;
      --i;
    }
  }
  benchmark::RegisterBenchmark("FleetFlash/1+8+64", FleetFlash)
      ->Iterations(g_rounds)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  C_SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
