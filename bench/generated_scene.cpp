#include "generated_scene.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace bench {
namespace {

/// The values by name.
struct Surface {
  explicit Surface(const SceneValues& values) {
    int* const members[] = {&level,     &slope_x,  &slope_y,       &column_width, &column_step,
                            &row_width, &row_step, &checker_width, &checker_step, &grain,
                            &noise,     &holes,    &outliers,      &quantum,      &ceiling};
    static_assert(std::size(members) == std::size(scene_parameters));
    for (size_t i = 0; i < values.size(); ++i)
      *members[i] = values[i];
  }

  int at(int x, int y) const {
    const uint64_t random = hash(x / grain, y / grain);
    const auto share = [&](int bit) {
      return static_cast<int>((random >> bit & 0xffff) * 100 >> 16);
    };
    if (share(0) < holes)
      return 0;
    if (share(16) < outliers)
      return quantised(static_cast<int>(random >> 48));
    const int added =
        static_cast<int>((random >> 32 & 0xffff) * static_cast<unsigned>(noise + 1) >> 16);
    return quantised(level + slope_x * x / 64 + slope_y * y / 64 +
                     x / column_width % 2 * column_step + y / row_width % 2 * row_step +
                     (x / checker_width + y / checker_width) % 2 * checker_step + added);
  }

  int quantised(int depth) const { return std::clamp(depth, 0, ceiling) / quantum * quantum; }

  static uint64_t hash(int x, int y) {
    uint64_t bits = (static_cast<uint64_t>(x) << 32 | static_cast<uint64_t>(y)) + 1;
    for (const int shift : {31, 29, 32}) {
      bits ^= bits >> shift;
      bits *= 0x9e3779b97f4a7c15;
    }
    return bits ^ bits >> 32;
  }

  int level, slope_x, slope_y, column_width, column_step, row_width, row_step, checker_width,
      checker_step, grain, noise, holes, outliers, quantum, ceiling;
};

} // namespace

std::string scene_text(const SceneValues& values) {
  std::string text;
  for (size_t i = 0; i < values.size(); ++i)
    if (values[i] != scene_parameters[i].usual)
      text += (text.empty() ? "" : " ") +
              (scene_parameters[i].name + ("=" + std::to_string(values[i])));
  return text;
}

SceneValues scene_values(const std::string& text) {
  SceneValues values;
  std::transform(std::begin(scene_parameters), std::end(scene_parameters), values.begin(),
                 [](const SceneParameter& parameter) { return parameter.usual; });
  std::istringstream words(text);
  for (std::string name; std::getline(words >> std::ws, name, '=');) {
    const auto* found =
        std::find_if(std::begin(scene_parameters), std::end(scene_parameters),
                     [&](const SceneParameter& parameter) { return parameter.name == name; });
    int value = 0;
    if (found == std::end(scene_parameters) || !(words >> value) || value < found->lowest ||
        value > found->highest)
      throw std::runtime_error("no scene's parameter, or beyond its range: " + name);
    values[static_cast<size_t>(found - scene_parameters)] = value;
  }
  return values;
}

Pixels generated_scene(const SceneValues& values, Size size) {
  const Surface surface(values);
  Pixels pixels(size.pixels());
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint16_t>(
        surface.at(static_cast<int>(i % size.width), static_cast<int>(i / size.width)));
  }
  return pixels;
}

} // namespace bench
