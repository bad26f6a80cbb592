// Time of one frame through each filter, through each kernel alone, through the naive scalar forms
// and through OpenCV, beside a memcpy of the frame's pixels. Names are
// <filters|kernels|naive|opencv>/<what>/<size>[/<instruction level>].

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>

#include "measure.h"

/// Buffers begin at cache lines, as the host's do: where the heap happens to put them, vectors that
/// straddle two lines would take up to half as long again.
void* operator new(size_t size) {
  constexpr size_t line = 64;
  if (void* memory = std::aligned_alloc(line, (size + line) / line * line))
    return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}

namespace {

using bench::Size;

void copy_pixels(benchmark::State& state, Size size) {
  const bench::Pixels& from = bench::cached(bench::noisy_scene, size);
  bench::Pixels to(from.size());
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size() * sizeof from[0]);
    benchmark::ClobberMemory();
  }
  bench::set_throughput(state, size);
}

/// As the operating system calls the processor, or "unknown".
std::string processor() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);)
    if (line.starts_with("model name"))
      return line.substr(line.find(':') + 2);
  return "unknown";
}

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  if (const std::string filter = bench::filter_without_configuration(); !filter.empty()) {
    std::fprintf(stderr, "%s has no configuration in bench/configurations.cpp\n", filter.c_str());
    return 1;
  }
  benchmark::AddCustomContext("processor", processor());
  benchmark::AddCustomContext("compiler", __VERSION__);
  for (const Size size : bench::sizes)
    benchmark::RegisterBenchmark(("memcpy/" + bench::text(size)).c_str(), copy_pixels, size);
  bench::register_filters();
  bench::register_kernels();
  bench::register_naive_forms();
  bench::register_peers();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
