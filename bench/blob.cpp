// Shared byte buffers: copying a handle must not depend on the buffer size,
// and CloneDeep must run at the speed of a plain memory copy. Printed as
// ratios against baselines measured in the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Blob/C_Blob.h"

namespace {

const unsigned kSmall = 1024;
const unsigned kLarge = 64u << 20;

C_Blob MakeBlob(unsigned i_length) {
  std::vector<unsigned char> bytes(i_length);
  for (unsigned i = 0; i < i_length; ++i) bytes[i] = static_cast<unsigned char>(i * 7);
  return C_Blob(bytes.data(), i_length, false);
}

void BM_HandleCopy(benchmark::State& io_state) {
  C_Blob blob = MakeBlob(static_cast<unsigned>(io_state.range(0)));
  for (auto _ : io_state) {
    C_Blob copy(blob);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_HandleCopy)->Arg(kSmall)->Arg(kLarge);

void BM_CloneDeep(benchmark::State& io_state) {
  C_Blob blob = MakeBlob(static_cast<unsigned>(io_state.range(0)));
  for (auto _ : io_state) {
    C_SmartPtr<C_Blob> clone = blob.CloneDeep();
    benchmark::DoNotOptimize(clone.Get());
  }
  io_state.SetBytesProcessed(io_state.iterations() * io_state.range(0));
}
BENCHMARK(BM_CloneDeep)->Arg(kLarge)->Unit(benchmark::kMillisecond);

// Baseline: what a deep copy needs at least: a fresh array, memcpy, free.
void BM_MemcpyFresh(benchmark::State& io_state) {
  std::vector<unsigned char> source(static_cast<std::size_t>(io_state.range(0)), 0x5A);
  for (auto _ : io_state) {
    unsigned char* copy = new unsigned char[source.size()];
    std::memcpy(copy, source.data(), source.size());
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    delete[] copy;
  }
  io_state.SetBytesProcessed(io_state.iterations() * io_state.range(0));
}
BENCHMARK(BM_MemcpyFresh)->Arg(kLarge)->Unit(benchmark::kMillisecond);

// Baseline: memcpy into an array that is already mapped.
void BM_MemcpyInto(benchmark::State& io_state) {
  std::vector<unsigned char> source(static_cast<std::size_t>(io_state.range(0)), 0x5A);
  std::vector<unsigned char> target(source.size());
  for (auto _ : io_state) {
    std::memcpy(target.data(), source.data(), source.size());
    benchmark::ClobberMemory();
  }
  io_state.SetBytesProcessed(io_state.iterations() * io_state.range(0));
}
BENCHMARK(BM_MemcpyInto)->Arg(kLarge)->Unit(benchmark::kMillisecond);

// Keeps each run's time per iteration (ns) so that ratios can be printed.
class C_RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& i_runs) override {
    for (const Run& run : i_runs) {
      if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
      m_nanoseconds[run.benchmark_name()] =
          run.real_accumulated_time * 1e9 / static_cast<double>(run.iterations);
    }
    ConsoleReporter::ReportRuns(i_runs);
  }

  void PrintRatio(const char* i_label, const std::string& i_name, const std::string& i_baseline) {
    auto a = m_nanoseconds.find(i_name);
    auto b = m_nanoseconds.find(i_baseline);
    if (a == m_nanoseconds.end() || b == m_nanoseconds.end() || b->second <= 0) return;
    std::printf("%-44s %6.2f  (%s / %s)\n", i_label, a->second / b->second, i_name.c_str(),
                i_baseline.c_str());
  }

 private:
  std::map<std::string, double> m_nanoseconds;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  C_RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\nratios (1.00 = same cost as the baseline)\n");
  const std::string small = std::to_string(kSmall);
  const std::string large = std::to_string(kLarge);
  reporter.PrintRatio("handle copy, 64 MiB vs 1 KiB buffer", "BM_HandleCopy/" + large,
                      "BM_HandleCopy/" + small);
  reporter.PrintRatio("CloneDeep vs new[] + memcpy + delete[]", "BM_CloneDeep/" + large,
                      "BM_MemcpyFresh/" + large);
  reporter.PrintRatio("CloneDeep vs memcpy into mapped memory", "BM_CloneDeep/" + large,
                      "BM_MemcpyInto/" + large);
  benchmark::Shutdown();
  return 0;
}
