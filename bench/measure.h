#pragma once

// What the benchmarks of one executable share.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <map>
#include <utility>

#include "configurations.h"

namespace bench {

/// "" when all have one.
std::string filter_without_configuration();

void register_filters();
void register_kernels();
void register_naive_forms();
void register_peers();

/// The scene's pixels, generated once; empty where the scene can't be had.
inline const Pixels& cached(Scene scene, Size size) {
  static std::map<std::pair<Scene, std::string>, Pixels> all;
  const auto [entry, added] = all.try_emplace({scene, text(size)});
  if (added)
    entry->second = scene(size);
  return entry->second;
}

inline void set_throughput(benchmark::State& state, Size size) {
  state.SetItemsProcessed(state.iterations() * size.width * size.height);
}

/// Times work that overwrites its input: each round has a fresh copy, and the copying doesn't
/// count. To be registered with UseManualTime().
template <typename Work>
void measure_in_place(benchmark::State& state, const Pixels& scene, Work work) {
  using Clock = std::chrono::steady_clock;
  Pixels pixels = scene;
  for (auto _ : state) {
    std::memcpy(pixels.data(), scene.data(), scene.size() * sizeof scene[0]);
    benchmark::ClobberMemory();
    const auto start = Clock::now();
    work(pixels);
    benchmark::ClobberMemory();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
}

/// The same with the copying, which a whole call through a filter contains too.
template <typename Work>
void measure_with_copy(benchmark::State& state, const Pixels& scene, Work work) {
  Pixels pixels = scene;
  for (auto _ : state) {
    std::memcpy(pixels.data(), scene.data(), scene.size() * sizeof scene[0]);
    benchmark::ClobberMemory();
    work(pixels);
    benchmark::ClobberMemory();
  }
}

} // namespace bench
