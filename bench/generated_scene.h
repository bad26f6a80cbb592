#pragma once

// Scenes made of a dozen numbers, for a search that varies them.

#include <array>
#include <string>

#include "scenes.h"

namespace bench {

/// A number that a scene is made of.
struct SceneParameter {
  const char* name;
  int lowest, highest;
  int usual; ///< where a text doesn't name it
};

inline constexpr SceneParameter scene_parameters[] = {
    {"level", 0, 65535, 1000},       // depth at the upper left
    {"slope_x", -6400, 6400, 0},     // rise in 64 columns
    {"slope_y", -6400, 6400, 0},     // rise in 64 rows
    {"column_width", 1, 128, 1},     // of stripes, every other of which is raised ...
    {"column_step", -8000, 8000, 0}, // ... by this
    {"row_width", 1, 128, 1},        // the same of rows
    {"row_step", -8000, 8000, 0},    //
    {"checker_width", 1, 128, 1},    // the same of squares
    {"checker_step", -8000, 8000, 0},
    {"grain", 1, 16, 1},         // side of the squares that noise treats alike
    {"noise", 0, 65535, 0},      // the most that it adds
    {"holes", 0, 100, 0},        // per cent
    {"outliers", 0, 100, 0},     // per cent of the rest: any depth
    {"quantum", 1, 4000, 1},     // depths are multiples of it
    {"ceiling", 1, 65535, 65535} // larger depths saturate
};

using SceneValues = std::array<int, std::size(scene_parameters)>;

/// "level=1000 noise=16", without what is as usual.
std::string scene_text(const SceneValues& values);

/// Throws std::runtime_error where the text has an unknown name or a value out of its range.
SceneValues scene_values(const std::string& text);

/// The same pixels for the same values, everywhere.
Pixels generated_scene(const SceneValues& values, Size size);

/// The scene of a text, as a `Scene`.
template <const auto& text>
Pixels found_scene(Size size) {
  return generated_scene(scene_values(text), size);
}

} // namespace bench
