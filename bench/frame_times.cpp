// frame_times WIDTHxHEIGHT FRAMES [LEVEL|best [FILTER/LABEL...]]
// The least time of a whole call, in microseconds and as a multiple of a memcpy of the frame, in
// each of the benchmark's configurations and in the usual chain of four filters, "chain/four".
// Needs no library that is not everywhere, so that all platforms can be compared; and with a number
// of FRAMES that is just one more, a counter of instructions tells what a frame takes.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>

#include "filter_call.h"
#include "simd/level.h"

namespace {

using namespace bench;
namespace simd = filter_processor::simd;

/// The least of several times: what else the machine does only ever adds to it.
template <typename Work>
double least_microseconds(int rounds, Work work) {
  using Clock = std::chrono::steady_clock;
  double least = std::numeric_limits<double>::infinity();
  for (int round = 0; round < rounds; ++round) {
    const auto start = Clock::now();
    work();
    least =
        std::min(least, std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  return least;
}

double copy_microseconds(Size size, int rounds) {
  const Pixels from(size.pixels());
  Pixels to(size.pixels());
  return least_microseconds(rounds, [&] {
    std::memcpy(to.data(), from.data(), from.size() * sizeof from[0]);
    asm volatile("" : : "r"(to.data()) : "memory"); // somebody may read it
  });
}

/// False if a filter failed: then there is nothing to print.
template <typename Call>
bool time_calls(const std::string& name, Call call, Size size, int frames) {
  bool ok = call(); // derives what later calls use
  const double time = least_microseconds(frames, [&] { ok = call() && ok; });
  const double copy = copy_microseconds(size, 20);
  if (ok)
    std::printf("%s %s %s %.1f %.2f\n", name.c_str(), text(size).c_str(),
                simd::level_name(simd::active_level()), time, time / copy);
  return ok;
}

bool time_filter(const Configuration& configuration, Size size, int frames) {
  const Pixels scene = configuration.scene(size);
  if (scene.empty()) // a recording that is not installed
    return true;
  const Frame frame = make_frame(size, scene.data(), configuration.pixel_type);
  FilterCall filter(configuration, size);
  return time_calls(
      configuration.name(), [&] { return filter.run(frame.get()); }, size, frames);
}

bool time_chain(const std::string& name, Size size, int frames) {
  const Frame frame = make_frame(size, noisy_scene(size).data(), GX_PIXEL_DEPTH);
  ChainCall chain = ChainCall::usual(size);
  return time_calls(
      name, [&] { return chain.run(frame.get()); }, size, frames);
}

bool use_level_named(const std::string& name) {
  for (const simd::Level level : simd::supported_levels()) {
    if (name == simd::level_name(level)) {
      simd::use_level(level);
      return true;
    }
  }
  return name == "best";
}

} // namespace

int main(int argc, char** argv) {
  Size size{};
  const int frames = argc < 3 ? 0 : std::atoi(argv[2]);
  if (frames < 1 || std::sscanf(argv[1], "%ux%u", &size.width, &size.height) != 2 ||
      size.pixels() == 0 || (argc > 3 && !use_level_named(argv[3]))) {
    std::fprintf(stderr, "usage: %s WIDTHxHEIGHT FRAMES [LEVEL|best [FILTER/LABEL...]]\n", argv[0]);
    return 2;
  }
  const auto wanted = [&](const std::string& name) {
    return argc <= 4 || std::find(argv + 4, argv + argc, name) != argv + argc;
  };
  bool ok = true;
  try {
    for (const Configuration& each : configurations())
      if (wanted(each.name()))
        ok = time_filter(each, size, frames) && ok;
    const std::string chain = "chain/four";
    if (wanted(chain))
      ok = time_chain(chain, size, frames) && ok;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "frame_times: %s\n", exception.what());
    return 1;
  }
  return ok ? 0 : 1;
}
