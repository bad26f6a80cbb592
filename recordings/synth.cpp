#include "recordings/synth.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace recordings {
namespace {

/// SplitMix64: small, and unlike the standard distributions the same everywhere.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t bits() {
    state_ += 0x9e3779b97f4a7c15U;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
  }
  double uniform() { return static_cast<double>(bits() >> 11) * 0x1p-53; }
  double uniform(double low, double high) { return low + (high - low) * uniform(); }

  /// Nearly normal with mean 0 and standard deviation 1: the scaled sum of four uniform numbers.
  double normal() {
    constexpr double scale = 1.7320508075688772;
    double sum = 0;
    for (int i = 0; i < 4; ++i)
      sum += uniform();
    return (sum - 2.0) * scale;
  }

 private:
  uint64_t state_;
};

constexpr double no_hit = 1e30; // beyond anything in the scene

/// Depths in millimetres along the ray (u, v, 1); x points right and y down.
struct Ray {
  double u;
  double v;
};

double back_wall(Ray ray) {
  return 3200.0 / (1.0 - 0.12 * ray.u);
}

double floor_plane(Ray ray) {
  return ray.v > 0 ? 800.0 / ray.v : no_hit;
}

double left_wall(Ray ray) {
  return ray.u < 0.35 ? 1300.0 / (0.35 - ray.u) : no_hit;
}

struct Stair {
  double depth;
  double left;
  double top;
};

double steps(Ray ray) {
  constexpr std::array<Stair, 3> flight{{{1700, 420, 420}, {2100, 420, 120}, {2500, 420, -180}}};
  for (const Stair& stair : flight) {
    const double x = ray.u * stair.depth;
    const double y = ray.v * stair.depth;
    if (x > stair.left && x < stair.left + 700 && y > stair.top)
      return stair.depth;
  }
  return no_hit;
}

double slanted_board(Ray ray, double centre) {
  constexpr double slope = 0.6;
  const double z = (1500.0 - slope * centre) / (1.0 - slope * ray.u);
  const double x = ray.u * z - centre;
  const double y = ray.v * z;
  const bool inside = z > 0.0 && std::abs(x) < 260.0 && y > -420.0 && y < 180.0;
  return inside ? z : no_hit;
}

double ball(Ray ray, double centre_x) {
  constexpr double radius = 230;
  constexpr double centre_y = 330;
  constexpr double centre_z = 1250;
  const double a = ray.u * ray.u + ray.v * ray.v + 1.0;
  const double b = ray.u * centre_x + ray.v * centre_y + centre_z;
  const double c =
      centre_x * centre_x + centre_y * centre_y + centre_z * centre_z - radius * radius;
  const double discriminant = b * b - a * c;
  return discriminant > 0 ? (b - std::sqrt(discriminant)) / a : no_hit;
}

/// To and fro between -1 and 1.
double sweep(uint32_t frame, uint32_t period) {
  const double phase = static_cast<double>(frame % period) / static_cast<double>(period);
  return phase < 0.5 ? 4.0 * phase - 1.0 : 3.0 - 4.0 * phase;
}

/// One frame on its way from true disparities (pixels, 0 without data) to codes.
class SceneRenderer {
 public:
  SceneRenderer(const SceneSettings& settings, uint32_t frame)
      : settings_(settings), frame_(frame), random_(settings.seed * 1000003 + frame),
        width_(settings.size.width), height_(settings.size.height),
        focal_length_(0.9 * settings.size.width), disparity_(settings.size.pixel_count()) {}

  Image render() {
    draw_surfaces();
    smear_borders();
    drop_occluded();
    float_phantoms();
    add_noise();
    run_borders_out();
    punch_holes();
    scatter_speckles();
    spoil_outline();
    return encode();
  }

  Image render_truth() {
    draw_surfaces();
    return encode();
  }

 private:
  double* row(size_t y) { return disparity_.data() + y * width_; }
  double to_disparity(double depth) const {
    return focal_length_ * static_cast<double>(settings_.baseline) / depth;
  }
  /// The mean side of the frame relative to 640 x 480, so that patches keep their share of it.
  double relative_scale() const {
    return std::sqrt(static_cast<double>(settings_.size.pixel_count()) / (640.0 * 480.0));
  }

  void draw_surfaces() {
    const double board = -150.0 + 260.0 * sweep(frame_, 400);
    const double ball_x = -60.0 - 330.0 * sweep(frame_ + 90, 360);
    for (size_t y = 0; y < height_; ++y) {
      for (size_t x = 0; x < width_; ++x) {
        const Ray ray{(static_cast<double>(x) - (settings_.size.width - 1.0) / 2) / focal_length_,
                      (static_cast<double>(y) - (settings_.size.height - 1.0) / 2) / focal_length_};
        row(y)[x] =
            to_disparity(std::min({back_wall(ray), floor_plane(ray), left_wall(ray), steps(ray),
                                   slanted_board(ray, board), ball(ray, ball_x)}));
      }
    }
  }

  /// On some rows an object's border runs out into the background over up to four pixels.
  void smear_borders() {
    for (size_t y = 0; y < height_; ++y) {
      double* line = row(y);
      for (size_t x = 1; x < width_; ++x) {
        const double near = line[x - 1];
        const double far = line[x];
        if (near < far * 1.08 || random_.uniform() >= settings_.bleed)
          continue;
        const auto length = std::min<size_t>(1 + random_.bits() % 4, width_ - x);
        for (size_t i = 0; i < length; ++i) {
          const double share = static_cast<double>(i + 1) / static_cast<double>(length + 1);
          line[x + i] = near + (line[x + i] - near) * share;
        }
        x += length;
      }
    }
  }

  /// What the second camera can't see has no disparity: a pixel whose match lies behind the match
  /// of a pixel further right.
  void drop_occluded() {
    for (size_t y = 0; y < height_; ++y) {
      double leftmost_match = no_hit;
      for (size_t x = width_; x-- > 0;) {
        const double match = static_cast<double>(x) - row(y)[x];
        if (match > leftmost_match + 0.75)
          row(y)[x] = 0;
        leftmost_match = std::min(leftmost_match, match);
      }
    }
  }

  /// Phantoms are mismatches of repeated patterns: smooth, in front of everything, and parted from
  /// it by pixels without data.
  void float_phantoms() {
    for (uint32_t i = 0; i < settings_.phantoms; ++i) {
      const double x = random_.uniform(0, static_cast<double>(width_));
      const double y = random_.uniform(0, static_cast<double>(height_));
      const double radius = random_.uniform(9, 18) * relative_scale();
      const double gap = 3 * relative_scale();
      fill_ellipse(x, y, radius + gap, radius + gap, 0);
      fill_ellipse(x, y, radius, radius, to_disparity(random_.uniform(600, 1000)));
    }
  }

  void add_noise() {
    for (double& disparity : disparity_) {
      const double noise = settings_.noise * random_.normal();
      const bool dropped = random_.uniform() < 0.002;
      disparity = disparity == 0 || dropped ? 0 : std::max(disparity + noise, 0.01);
    }
  }

  /// On some rows an object's border runs out into the background for tens of pixels, all of the
  /// same disparity.
  void run_borders_out() {
    if (settings_.streaks == 0)
      return;
    for (size_t y = 0; y < height_; ++y) {
      double* line = row(y);
      for (size_t x = 1; x < width_; ++x) {
        const double near = line[x - 1];
        const double far = line[x];
        if (far == 0 || near < far * 1.15 || random_.uniform() >= settings_.streaks)
          continue;
        const double length = random_.uniform(0.08, 0.2) * static_cast<double>(width_);
        const auto end = std::min(x + static_cast<size_t>(length), width_);
        std::fill(line + x, line + end, near);
        x = end;
      }
    }
  }

  void fill_ellipse(double centre_x, double centre_y, double radius_x, double radius_y,
                    double disparity) {
    const auto clamp = [](double value, size_t limit) {
      return static_cast<size_t>(std::clamp(value, 0.0, static_cast<double>(limit)));
    };
    const size_t bottom = clamp(centre_y + radius_y + 1, height_);
    const size_t right = clamp(centre_x + radius_x + 1, width_);
    for (size_t y = clamp(centre_y - radius_y, height_); y < bottom; ++y) {
      for (size_t x = clamp(centre_x - radius_x, width_); x < right; ++x) {
        const double dx = (static_cast<double>(x) - centre_x) / radius_x;
        const double dy = (static_cast<double>(y) - centre_y) / radius_y;
        if (dx * dx + dy * dy <= 1.0)
          row(y)[x] = disparity;
      }
    }
  }

  /// Holes belong to the scene: they drift and breathe, but are the same ones in every frame.
  void punch_holes() {
    Random scene(settings_.seed);
    for (uint32_t i = 0; i < settings_.holes; ++i) {
      const double drift = 6.0 * relative_scale() * sweep(frame_ + i * 17, 120);
      const double x = scene.uniform(0, static_cast<double>(width_)) + drift;
      const double y = scene.uniform(0, static_cast<double>(height_));
      const double radius = scene.uniform(2, 14) * relative_scale() * random_.uniform(0.9, 1.1);
      fill_ellipse(x, y, radius * scene.uniform(0.5, 1.8), radius, 0);
    }
  }

  /// Speckles are mismatches: new ones in every frame.
  void scatter_speckles() {
    for (uint32_t i = 0; i < settings_.speckles; ++i) {
      const double x = random_.uniform(0, static_cast<double>(width_));
      const double y = random_.uniform(0, static_cast<double>(height_));
      const double radius = random_.uniform(0.5, 3.5) * relative_scale();
      // One after the other: compilers choose the order of arguments.
      const double disparity = to_disparity(random_.uniform(600, 4500));
      const double stretch = random_.uniform(0.6, 1.6);
      fill_ellipse(x, y, radius * stretch, radius, disparity);
    }
  }

  /// The valid area ends at the inset. Along its outline, and outside its rounded corners, depth is
  /// false.
  void spoil_outline() {
    const auto from_side = [this](size_t at, size_t sides) {
      return static_cast<double>(std::min(at, sides - 1 - at)) - settings_.inset;
    };
    const double radius = settings_.corner;
    for (size_t y = 0; y < height_; ++y) {
      for (size_t x = 0; x < width_; ++x) {
        const double dx = from_side(x, width_);
        const double dy = from_side(y, height_);
        const bool in_corner = dx < radius && dy < radius;
        const double depth_inside =
            in_corner
                ? radius - std::sqrt((radius - dx) * (radius - dx) + (radius - dy) * (radius - dy))
                : std::min(dx, dy);
        if (dx < 0 || dy < 0)
          row(y)[x] = 0;
        else if (depth_inside < settings_.fringe)
          row(y)[x] = to_disparity(random_.uniform(600, 4500));
      }
    }
  }

  Image encode() const {
    const bool codes = settings_.pixel_type == GX_PIXEL_DISPARITY;
    // The topmost codes are reserved by cameras for marks.
    const double largest = codes ? 65531.0 : 65535.0;
    Image image{settings_.size, std::vector<uint16_t>(disparity_.size())};
    for (size_t i = 0; i < disparity_.size(); ++i) {
      // The camera takes its offset off and sees nothing that is farther than the offset alone.
      const double measured = std::max(disparity_[i] - settings_.disparity_offset, 0.0);
      const double value = codes ? code_of(measured) : depth_of(measured);
      const double rounded = std::floor(value + 0.5);
      const bool fits = rounded > 0 && rounded <= largest;
      image.pixels[i] = fits ? static_cast<uint16_t>(rounded) : uint16_t{0};
    }
    return image;
  }

  double code_of(double measured) const {
    if (measured == 0)
      return 0;
    // Pack mode 1 counts half pixels down from a fixed disparity, pack mode 2 pixels up from zero.
    return settings_.pack_mode == 1 ? (328.375 - measured) * 128.0 : measured * 256.0;
  }

  /// A camera that makes depth itself adds the offset to every pixel, with or without disparity.
  double depth_of(double measured) const {
    const double disparity = measured + settings_.disparity_offset;
    // The formula is its own inverse.
    return disparity != 0 ? to_disparity(disparity) / static_cast<double>(settings_.depth_unit) : 0;
  }

  const SceneSettings& settings_;
  uint32_t frame_;
  Random random_;
  size_t width_;
  size_t height_;
  double focal_length_; ///< pixels
  std::vector<double> disparity_;
};

} // namespace

CameraFacts scene_facts(const SceneSettings& settings) {
  const bool codes = settings.pixel_type == GX_PIXEL_DISPARITY;
  const double focal_length = 0.9 * settings.size.width;
  const auto baseline = static_cast<double>(settings.baseline);
  CameraFacts facts = {{"width", settings.size.width},
                       {"height", settings.size.height},
                       {"pixel_type", codes ? "disparity" : "depth"},
                       {"depth_unit", static_cast<double>(settings.depth_unit)},
                       {"bit_size", 16},
                       {"fx", focal_length},
                       {"fy", focal_length},
                       {"cx", (settings.size.width - 1.0) / 2},
                       {"cy", (settings.size.height - 1.0) / 2},
                       {"baseline", baseline},
                       {"d2d",
                        {{"baseline", baseline},
                         {"fx", focal_length},
                         {"bitSize", 16},
                         {"unit", 1.0},
                         {"packMode", settings.pack_mode},
                         {"invalidDisp", 0},
                         {"dispIntPlace", 8},
                         {"isDualCamera", 1}}}};
  if (settings.disparity_offset != 0)
    facts["disparity_offset"] = settings.disparity_offset;
  return facts;
}

Image render_scene(const SceneSettings& settings, uint32_t frame) {
  return SceneRenderer(settings, frame).render();
}

Image render_truth(const SceneSettings& settings, uint32_t frame) {
  SceneSettings faultless = settings;
  // An offset bounds what disparities can hold. Depth has no such bound.
  if (settings.pixel_type == GX_PIXEL_DEPTH)
    faultless.disparity_offset = 0;
  return SceneRenderer(faultless, frame).render_truth();
}

} // namespace recordings
