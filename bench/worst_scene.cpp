// worst_scene FILTER|all SECONDS WIDTHxHEIGHT [LEVEL [SCENE]]
// Looks for the content that costs a filter most, for so many seconds in each of its
// configurations of the benchmark: varies the numbers that a scene is made of, keeps what is
// slowest and prints it beside the plain noisy plane. With a scene, as this program prints them, it
// begins there; in 0 seconds it only measures that. LEVEL: of instructions, "best" by default.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <stdexcept>

#include "filter_call.h"
#include "generated_scene.h"
#include "simd/level.h"

namespace {

using namespace bench;
using Clock = std::chrono::steady_clock;
namespace simd = filter_processor::simd;

template <typename Work>
double microseconds(Work work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

/// The least of some times: what else the machine does only ever adds to it.
class LeastTime {
 public:
  void add(double time) { least_ = std::min(least_, time); }
  double get() const { return least_; }

 private:
  double least_ = std::numeric_limits<double>::infinity();
};

int between(std::mt19937& random, int lowest, int highest) {
  return std::uniform_int_distribution(lowest, highest)(random);
}

/// Small numbers as often as large ones.
int draw(const SceneParameter& parameter, std::mt19937& random) {
  const int shift = between(random, 0, 16);
  const int largest = std::max(1, std::max(parameter.highest, -parameter.lowest) >> shift);
  const int drawn = between(random, parameter.lowest < 0 ? -largest : 0, largest);
  return std::clamp(drawn, parameter.lowest, parameter.highest);
}

int varied(const SceneParameter& parameter, int value, std::mt19937& random) {
  switch (between(random, 0, 3)) {
  case 0:
    return draw(parameter, random);
  case 1:
    return parameter.usual;
  default:
    const int reach = 1 + std::abs(value) / 4;
    return std::clamp(value + between(random, -reach, reach), parameter.lowest, parameter.highest);
  }
}

class Search {
 public:
  Search(const Configuration& configuration, Size size, const std::string& first_scene)
      : configuration_(configuration), size_(size), filter_(configuration, size),
        plain_(frame_of(noisy_scene(size))) {
    call(plain_); // derives what later calls use
    measure(plain_, plain_time_, 5);
    consider(scene_values(first_scene));
  }

  void run(double seconds) {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < end)
      consider(next());
  }

  void report() {
    Candidate& worst = pool_.front();
    const Frame frame = frame_of(generated_scene(worst.scene, size_));
    const size_t lines = (size_.pixels() * sizeof(uint16_t) + sizeof(Line) - 1) / sizeof(Line);
    const std::vector<Line> from(lines);
    std::vector<Line> to(lines);
    LeastTime copy;
    const int rounds = std::clamp(static_cast<int>(2e6 / worst.time.get()), 1, 20);
    for (int round = 0; round < rounds; ++round) {
      measure(plain_, plain_time_, 1);
      measure(frame, worst.time, 1);
      for (int i = 0; i < 5; ++i)
        copy.add(microseconds([&] {
          std::memcpy(to.data(), from.data(), lines * sizeof(Line));
          asm volatile("" : : "r"(to.data()) : "memory"); // somebody may read it
        }));
    }
    const double time = worst.time.get();
    std::printf("%s %s %s: %.3f ms, %.1f M, %.2f times the plain noisy plane: \"%s\"\n",
                configuration_.name().c_str(), text(size_).c_str(),
                simd::level_name(simd::active_level()), time / 1000, time / copy.get(),
                time / plain_time_.get(), scene_text(worst.scene).c_str());
    std::fflush(stdout);
  }

 private:
  struct Candidate {
    SceneValues scene;
    LeastTime time;
  };
  struct alignas(64) Line {
    uint16_t pixels[32];
  };
  static constexpr size_t pool_size = 8;

  Frame frame_of(const Pixels& pixels) const {
    return make_frame(size_, pixels.data(), configuration_.pixel_type);
  }

  void call(const Frame& frame) {
    if (!filter_.run(frame.get()))
      throw std::runtime_error(configuration_.name() + " failed");
  }

  /// At most so many calls, and no more that begin after a second.
  void measure(const Frame& frame, LeastTime& time, int calls) {
    double spent = 0;
    for (int i = 0; i < calls && spent < 1e6; ++i) {
      const double once = microseconds([&] { call(frame); });
      time.add(once);
      spent += once;
    }
  }

  /// A variant of one of the slowest, or something else.
  SceneValues next() {
    SceneValues scene = pool_[random_() % pool_.size()].scene;
    const bool afresh = random_() % 16 == 0;
    for (int changes = afresh ? 100 : between(random_, 1, 3); changes > 0; --changes) {
      const size_t i = random_() % scene.size();
      scene[i] = varied(scene_parameters[i], scene[i], random_);
    }
    return scene;
  }

  /// Takes a scene among the slowest. What looks slow is measured again and again, so that nothing
  /// gets there by disturbances.
  void consider(const SceneValues& scene) {
    const Frame frame = frame_of(generated_scene(scene, size_));
    Candidate candidate{scene, {}};
    for (const int calls : {2, 4, 8}) {
      measure(frame, candidate.time, calls);
      if (pool_.size() == pool_size && candidate.time.get() <= pool_.back().time.get())
        return;
    }
    pool_.push_back(candidate);
    std::ranges::sort(pool_, std::greater{}, [](const Candidate& each) { return each.time.get(); });
    pool_.resize(std::min(pool_.size(), pool_size));
  }

  Configuration configuration_;
  Size size_;
  FilterCall filter_;
  Frame plain_;
  LeastTime plain_time_;
  std::mt19937 random_{1};
  std::vector<Candidate> pool_; ///< the slowest first
};

/// Without those that differ from an earlier one only in the scene.
std::vector<Configuration> configurations_of(const std::string& filter) {
  std::vector<Configuration> found;
  for (const Configuration& each : configurations()) {
    const auto is_same = [&](const Configuration& other) {
      return other.filter == each.filter && other.parameters == each.parameters &&
             other.pixel_type == each.pixel_type;
    };
    if ((filter == "all" || filter == each.filter) && std::ranges::none_of(found, is_same))
      found.push_back(each);
  }
  if (found.empty())
    throw std::runtime_error("no filter " + filter);
  return found;
}

Size size_of(const char* argument) {
  Size size{};
  if (std::sscanf(argument, "%ux%u", &size.width, &size.height) != 2 || size.pixels() == 0)
    throw std::runtime_error(std::string("no size: ") + argument);
  return size;
}

void use_level(const std::string& name) {
  for (const simd::Level level : simd::supported_levels())
    if (name == simd::level_name(level))
      return simd::use_level(level);
  if (name != "best")
    throw std::runtime_error("no level of this processor: " + name);
}

} // namespace

int main(int argc, char** argv) try {
  if (argc < 4 || argc > 6) {
    std::fprintf(stderr, "usage: worst_scene FILTER|all SECONDS WIDTHxHEIGHT [LEVEL [SCENE]]\n");
    return 2;
  }
  const Size size = size_of(argv[3]);
  use_level(argc > 4 ? argv[4] : "best");
  for (const Configuration& each : configurations_of(argv[1])) {
    Search search(each, size, argc > 5 ? argv[5] : "");
    search.run(std::atof(argv[2]));
    search.report();
  }
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
