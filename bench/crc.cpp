// CRC-32 throughput of each implementation this processor runs, next to
// zlib's crc32 and ISA-L's crc32_gzip_refl on the same buffers, and the time
// of C_DDFF::GetRequest for a 64 MiB image next to a memcpy of the image
// followed by a CRC over the copy. After the table of results it prints the
// ratios the speed goals are stated in, all from this one run.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "ddff/C_CRC32.h"
#include "ddff/C_DDFF.h"
#include "ddff/internal/Crc32Impl.h"

#if VEK_HAVE_ZLIB
#include <zlib.h>
#endif
#if VEK_HAVE_ISAL
#include <isa-l.h>
#endif

namespace {

const std::size_t SIZES[] = {4 << 10, 64 << 10, 1 << 20, 64 << 20};
const std::size_t IMAGE_SIZE = 64 << 20;

// One buffer for every CRC benchmark, so all read the same bytes.
const std::vector<std::uint8_t>& Buffer() {
  static const std::vector<std::uint8_t> buffer = [] {
    std::vector<std::uint8_t> bytes(64 << 20);
    std::uint32_t x = 12345;
    for (std::uint8_t& b : bytes) b = static_cast<std::uint8_t>((x = x * 1103515245u + 12345u) >> 24);
    return bytes;
  }();
  return buffer;
}

void Bytes(benchmark::State& io_state, std::size_t i_nSize) {
  io_state.SetBytesProcessed(static_cast<std::int64_t>(io_state.iterations() * i_nSize));
}

// The machines this runs on are shared: three repetitions, and the ratios
// take their medians.
benchmark::internal::Benchmark* Settle(benchmark::internal::Benchmark* io_benchmark) {
  return io_benchmark->Repetitions(3)->ReportAggregatesOnly(true);
}

void RegisterCrc(const std::string& i_name, std::uint32_t (*i_function)(const std::uint8_t*, std::size_t)) {
  for (std::size_t size : SIZES)
    Settle(benchmark::RegisterBenchmark(("crc/" + i_name + "/" + std::to_string(size)).c_str(),
                                        [i_function, size](benchmark::State& state) {
                                          const std::uint8_t* data = Buffer().data();
                                          for (auto _ : state) benchmark::DoNotOptimize(i_function(data, size));
                                          Bytes(state, size);
                                        }));
}

void RegisterImplementations() {
  std::size_t count = 0;
  const Crypt::internal::S_Crc32Impl* impls = Crypt::internal::Crc32Implementations(&count);
  for (std::size_t k = 0; k < count; ++k) {
    if (!impls[k].available) continue;
    const Crypt::internal::T_Crc32Update update = impls[k].update;
    for (std::size_t size : SIZES)
      Settle(benchmark::RegisterBenchmark(
          ("crc/vek-" + std::string(impls[k].name) + "/" + std::to_string(size)).c_str(),
          [update, size](benchmark::State& state) {
            const std::uint8_t* data = Buffer().data();
            for (auto _ : state) benchmark::DoNotOptimize(~update(0xFFFFFFFFu, data, size));
            Bytes(state, size);
          }));
  }
  // Through the public class: what every request build and read runs.
  RegisterCrc("vek", [](const std::uint8_t* i_p, std::size_t i_n) {
    Crypt::C_CRC32 crc;
    crc.Update(i_p, static_cast<std::uint32_t>(i_n));
    return crc.GetCRC();
  });
#if VEK_HAVE_ZLIB
  RegisterCrc("zlib", [](const std::uint8_t* i_p, std::size_t i_n) {
    return static_cast<std::uint32_t>(crc32(0, i_p, static_cast<uInt>(i_n)));
  });
#endif
#if VEK_HAVE_ISAL
  RegisterCrc("isal", [](const std::uint8_t* i_p, std::size_t i_n) {
    return crc32_gzip_refl(0, i_p, static_cast<std::uint64_t>(i_n));
  });
#endif
}

void BM_GetRequest(benchmark::State& io_state) {
  C_DDFF request;
  request.SetRomImage(Buffer().data(), IMAGE_SIZE);
  for (auto _ : io_state) benchmark::DoNotOptimize(request.GetRequest());
  Bytes(io_state, IMAGE_SIZE);
}

void BM_MemcpyThenCrc(benchmark::State& io_state) {
  std::vector<std::uint8_t> target(IMAGE_SIZE + 1024);
  for (auto _ : io_state) {
    std::memcpy(target.data() + 284, Buffer().data(), IMAGE_SIZE);
    Crypt::C_CRC32 crc;
    crc.Update(target.data() + 284, IMAGE_SIZE);
    benchmark::DoNotOptimize(crc.GetCRC());
  }
  Bytes(io_state, IMAGE_SIZE);
}

// Keeps every result's rate (bytes per second) by name for the ratios: the
// median of the repetitions, or the single run without repetitions.
class C_RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& i_runs) override {
    ConsoleReporter::ReportRuns(i_runs);
    for (const Run& run : i_runs) {
      const auto rate = run.counters.find("bytes_per_second");
      if (rate == run.counters.end()) continue;
      const std::string name = run.run_name.function_name;
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
        m_rates[name] = rate->second.value, m_median[name] = true;
      else if (run.run_type == Run::RT_Iteration && !m_median[name])
        m_rates[name] = rate->second.value;
    }
  }
  double Rate(const std::string& i_name) const {
    const auto found = m_rates.find(i_name);
    return found == m_rates.end() ? 0 : found->second;
  }

 private:
  std::map<std::string, double> m_rates;
  std::map<std::string, bool> m_median;
};

void PrintRatio(const char* i_label, double i_value, double i_base, const char* i_goal) {
  if (i_value > 0 && i_base > 0)
    std::printf("  %-44s %6.2f   (goal %s)\n", i_label, i_value / i_base, i_goal);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RegisterImplementations();
  Settle(benchmark::RegisterBenchmark("request/GetRequest/64MiB", BM_GetRequest))->Unit(benchmark::kMillisecond);
  Settle(benchmark::RegisterBenchmark("request/MemcpyThenCrc/64MiB", BM_MemcpyThenCrc))
      ->Unit(benchmark::kMillisecond);
  C_RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  std::printf("\nselected implementation: %s\nratios from this run:\n",
              Crypt::internal::Crc32Selected().name);
  for (std::size_t size : SIZES) {
    const std::string suffix = "/" + std::to_string(size);
    const double vek = reporter.Rate("crc/vek" + suffix);
    std::printf(" %zu bytes: vek %.1f GB/s, fallback (slice16) %.1f GB/s (goal >= 3.5)\n", size,
                vek / 1e9, reporter.Rate("crc/vek-slice16" + suffix) / 1e9);
    PrintRatio("vek / ISA-L crc32_gzip_refl", vek, reporter.Rate("crc/isal" + suffix), ">= 1.0 at 64 KiB, 1 MiB");
    PrintRatio("vek / zlib crc32", vek, reporter.Rate("crc/zlib" + suffix), "-");
    PrintRatio("vek / byte-at-a-time", vek, reporter.Rate("crc/vek-bytewise" + suffix),
               ">= 30 at 64 KiB, 1 MiB without ISA-L");
  }
  PrintRatio("GetRequest / (memcpy then CRC), 64 MiB", reporter.Rate("request/GetRequest/64MiB"),
             reporter.Rate("request/MemcpyThenCrc/64MiB"), ">= 1.0");
  benchmark::Shutdown();
  return 0;
}
