// The direct flash path: "Flash" of a 256 MiB image held in memory, through
// the module's operation table, the SCSI target, the controller and the root
// to a driver that accepts every command at once.
//
// Baselines measured in the same run:
//  - DriverAlone: the same 8192 WRITE BUFFER records handed straight to the
//    driver, i.e. the driver's own share of each chunk;
//  - CopyImage: one memcpy of the image, what a module that copied its
//    chunks would pay at least.
// The summary prints bytes per second through the module, the time per
// chunk of the module next to the driver's, and the ratios.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "device/C_Controller.h"
#include "foundation/StringUtil.h"
#include "module/C_Driver.h"
#include "module/C_Root.h"
#include "targets/C_ScsiTarget.h"
#include "targets/S_Command.h"

namespace {

const std::size_t IMAGE_SIZE = 256u << 20;
const std::size_t CHUNK = 32768;
const std::size_t CHUNKS = IMAGE_SIZE / CHUNK;

std::vector<char>& Image() {
  static std::vector<char> image(IMAGE_SIZE, 0x5A);
  return image;
}

// Accepts every command. Checks that download data is never a copy: every
// data pointer of an outgoing command lies inside the caller's image.
class C_NullDriver : public C_Driver {
 public:
  C_NullDriver() : C_Driver(0) {}
  bool Init() override { return true; }
  void Cleanup() override {}
  bool FindRootChildren(C_Root*) override { return true; }
  bool FindDeviceChildren(C_Device*) override { return true; }
  int ForwardCommand(Driver::S_Command* i_command, C_Device*) override {
    if (i_command->direction == Driver::DIRECTION_OUT && i_command->requestType == 1) {
      const char* data = reinterpret_cast<const char*>(i_command->dataBuffer);
      const std::vector<char>& image = Image();
      if (data < image.data() || data + i_command->dataLength > image.data() + image.size()) {
        ++copies;
      }
      bytes += i_command->dataLength;
    }
    ++commands;
    return 0;
  }
  std::size_t commands = 0;
  std::size_t bytes = 0;
  std::size_t copies = 0;
};

void FlashThroughModule(benchmark::State& state) {
  std::unique_ptr<C_Root> root(new C_Root);
  C_NullDriver* driver = new C_NullDriver;
  root->SetDriver(driver);
  C_Controller* controller = new C_Controller;
  controller->SetParent(root.get());
  C_ScsiTarget* target = new C_ScsiTarget;
  target->SetParent(controller);

  const std::string length = std::to_string(IMAGE_SIZE);
  const std::string address = stringFormat("%#lx", reinterpret_cast<unsigned long>(Image().data()));
  const char* argv[] = {"Flash", length.c_str(), address.c_str(), nullptr};
  for (auto _ : state) {
    int status = target->CallOperation("Flash", 3, argv);
    if (status != 0) state.SkipWithError("Flash failed");
  }
  if (driver->copies) state.SkipWithError("a chunk did not point into the image");
  if (driver->bytes != IMAGE_SIZE * state.iterations()) state.SkipWithError("bytes lost");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE_SIZE));
  state.counters["per_chunk"] = benchmark::Counter(
      CHUNKS, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  root->Cleanup();
}

void DriverAlone(benchmark::State& state) {
  C_NullDriver driver;
  std::uint8_t cdb[10] = {0x3B, 0x07};
  std::uint8_t sense[255];
  for (auto _ : state) {
    for (std::size_t i = 0; i < CHUNKS; ++i) {
      Driver::S_Command command;
      std::memset(&command, 0, sizeof command);
      command.cdb = cdb;
      command.cdbLength = 10;
      command.dataBuffer = reinterpret_cast<std::uint8_t*>(Image().data() + i * CHUNK);
      command.dataLength = CHUNK;
      command.senseBuffer = sense;
      command.senseLength = sizeof sense;
      command.flags = 0x04;
      command.direction = Driver::DIRECTION_OUT;
      command.requestType = Driver::REQUEST_DEVICE;
      benchmark::DoNotOptimize(driver.ForwardCommand(&command, nullptr));
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE_SIZE));
  state.counters["per_chunk"] = benchmark::Counter(
      CHUNKS, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void CopyImage(benchmark::State& state) {
  std::vector<char> copy(IMAGE_SIZE);
  for (auto _ : state) {
    std::memcpy(copy.data(), Image().data(), IMAGE_SIZE);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE_SIZE));
}

BENCHMARK(FlashThroughModule)->Unit(benchmark::kMicrosecond);
BENCHMARK(DriverAlone)->Unit(benchmark::kMicrosecond);
BENCHMARK(CopyImage)->Unit(benchmark::kMicrosecond);

// Prints the usual table, then the summary with the ratios.
class C_SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& i_runs) override {
    ConsoleReporter::ReportRuns(i_runs);
    for (const Run& run : i_runs) {
      if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
      m_microseconds[run.run_name.function_name] = run.GetAdjustedRealTime();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    const double flash = m_microseconds["FlashThroughModule"];
    const double driver = m_microseconds["DriverAlone"];
    const double copy = m_microseconds["CopyImage"];
    if (flash <= 0 || driver <= 0 || copy <= 0) return;
    const double flashPerChunk = flash * 1000.0 / CHUNKS;
    const double driverPerChunk = driver * 1000.0 / CHUNKS;
    std::printf("\nFlash of %zu MiB in %zu chunks of %zu bytes\n", IMAGE_SIZE >> 20, CHUNKS, CHUNK);
    std::printf("  through the module: %.1f GiB/s\n",
                IMAGE_SIZE / (flash / 1e6) / (1u << 30));
    std::printf("  per chunk: module and driver %.1f ns, driver alone %.1f ns, module %.1f ns\n",
                flashPerChunk, driverPerChunk, flashPerChunk - driverPerChunk);
    std::printf("  ratio flash / driver alone: %.2f\n", flash / driver);
    std::printf("  ratio flash / one copy of the image: %.4f\n", flash / copy);
  }

 private:
  std::map<std::string, double> m_microseconds;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Image();  // allocated and touched before any timing
  C_SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
