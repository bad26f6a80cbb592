// filter_processor_soak [FRAMES]
// How each filter's cost depends on the size of the frame, and how it behaves over a long recording
// (10,000 frames if not told otherwise), as Markdown tables.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "filter_call.h"

namespace {

using bench::Configuration;
using bench::Pixels;
using bench::Size;
using Times = std::vector<double>; ///< microseconds

/// None of these but the smallest has a size at which speckle filters halve the resolution. Rows of
/// 2048 and 4096 pixels lie a multiple of 4 KiB apart, those of 2000 pixels do not.
constexpr Size growing_sizes[] = {{160, 120},   {480, 360},   {848, 480},  {1440, 1080},
                                  {2000, 1500}, {2048, 1536}, {4096, 3072}};

double timed_call(bench::FilterCall& filter, gx_frame* input) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  if (!filter.run(input))
    throw std::runtime_error("the filter failed");
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double percentile(Times times, double fraction) {
  const auto rank = static_cast<ptrdiff_t>(fraction * static_cast<double>(times.size() - 1));
  std::nth_element(times.begin(), times.begin() + rank, times.end());
  return times[static_cast<size_t>(rank)];
}

double median_time(const Configuration& configuration, Size size, size_t frames) {
  const Pixels pixels = configuration.scene(size);
  const bench::Frame input = bench::make_frame(size, pixels.data(), configuration.pixel_type);
  bench::FilterCall filter(configuration, size);
  timed_call(filter, input.get()); // derives what later frames use
  Times times(frames);
  for (double& time : times)
    time = timed_call(filter, input.get());
  return percentile(times, 0.5);
}

void write_growth(const Configuration& configuration, size_t frames) {
  std::printf("| %s", configuration.name().c_str());
  for (const Size size : growing_sizes) {
    // As many pixels at each size, within reason.
    const size_t count = std::clamp<size_t>(frames * 15000 / size.pixels(), 5, 1000);
    const double us = median_time(configuration, size, count);
    std::printf(" | %.3f", 1e3 * us / static_cast<double>(size.pixels()));
  }
  std::puts(" |");
}

/// A scene that scrolls by one row from frame to frame and back again, for ever.
class Recording {
 public:
  explicit Recording(Size size) : size_(size), canvas_(bench::noisy_scene(turning_height())) {}

  const uint16_t* frame(size_t index) const {
    const size_t step = index % (2 * turn);
    const size_t row = step < turn ? step : 2 * turn - step;
    return canvas_.data() + row * size_.width;
  }

 private:
  static constexpr size_t turn = 1000; ///< rows

  Size turning_height() const { return {size_.width, size_.height + uint32_t{turn}}; }

  Size size_;
  Pixels canvas_;
};

double peak_resident_mib() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

void write_endurance(const Configuration& configuration, size_t frames) {
  constexpr Size size{640, 480};
  const Recording recording(size);
  bench::FilterCall filter(configuration, size);
  Times times(frames); // touched now, so that its memory counts from the beginning
  const size_t part = std::min<size_t>(1000, frames / 2);
  double early_peak = 0;
  for (size_t i = 0; i < frames; ++i) {
    const auto input = bench::make_frame(size, recording.frame(i), configuration.pixel_type);
    times[i] = timed_call(filter, input.get());
    if (i + 1 == part)
      early_peak = peak_resident_mib();
  }
  const double late_peak = peak_resident_mib();
  const auto split = static_cast<ptrdiff_t>(part);
  const double median = percentile(times, 0.5);
  const double p99 = percentile(times, 0.99);
  const double first = percentile(Times(times.begin(), times.begin() + split), 0.5);
  const double last = percentile(Times(times.end() - split, times.end()), 0.5);
  std::printf("| %s | %.1f | %.1f | %.2f | %.1f | %.1f | %.1f | %.1f |\n",
              configuration.name().c_str(), median, p99, p99 / median, first, last, early_peak,
              late_peak);
}

/// Runs each soaked configuration in a process of its own, so that its memory is its own too.
template <typename Write>
bool for_each_filter(Write write) {
  bool ok = true;
  for (const Configuration& each : bench::configurations()) {
    if (!each.soaked)
      continue;
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      try {
        write(each);
        std::fflush(stdout);
        _exit(0);
      } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", each.name().c_str(), error.what());
        _exit(1);
      }
    }
    int status = 0;
    ok = child > 0 && waitpid(child, &status, 0) == child && status == 0 && ok;
  }
  return ok;
}

} // namespace

int main(int argc, char** argv) {
  const size_t frames = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10000;
  if (frames < 2) {
    std::fputs("usage: filter_processor_soak [FRAMES], at least 2\n", stderr);
    return 2;
  }
  std::printf("### Nanoseconds per pixel by frame size\n\n| whole call");
  for (const Size size : growing_sizes)
    std::printf(" | %s", bench::text(size).c_str());
  std::printf(" |\n|---|--:|--:|--:|--:|--:|--:|--:|\n");
  bool ok = for_each_filter([=](const Configuration& each) { write_growth(each, frames); });

  std::printf("\n### %zu frames of 640x480\n\n", frames);
  std::puts("| whole call | median µs | p99 µs | p99 ÷ median | first median µs | last median µs | "
            "early peak MiB | final peak MiB |\n|---|--:|--:|--:|--:|--:|--:|--:|");
  ok = for_each_filter([=](const Configuration& each) { write_endurance(each, frames); }) && ok;
  return ok ? 0 : 1;
}
