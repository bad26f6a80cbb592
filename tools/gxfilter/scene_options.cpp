#include "gxfilter/scene_options.h"

#include <limits>
#include <type_traits>

#include <CLI/CLI.hpp>

#include "gxfilter/number_option.h"

namespace gxfilter {

using namespace recordings;

namespace {

class SceneOptions {
 public:
  explicit SceneOptions(CLI::App& command) : command_(command) {}

  void add_size(const std::string& name, FrameSize& size, const std::string& description) {
    const auto set = [name, &size](const std::string& text) {
      const auto parsed = parse_size(text);
      if (!parsed)
        throw CLI::ValidationError("--" + name, "'" + text + "' is not WIDTHxHEIGHT");
      size = *parsed;
    };
    command_.add_option_function<std::string>("--" + name, set, description)
        ->type_name("WxH")
        ->default_str(fmt::format("{}x{}", size.width, size.height));
    keep(name, SceneOption::Kind::size);
  }

  /// `words` begin with the default.
  template <class Set>
  void add_words(const std::string& name, const std::vector<std::string>& words, Set set,
                 const std::string& description) {
    command_.add_option_function<std::string>("--" + name, set, description)
        ->check(CLI::IsMember(words))
        ->default_str(words.front());
    keep(name, SceneOption::Kind::word).words = words;
  }

  template <class Number>
  using Bound = std::conditional_t<std::is_floating_point_v<Number>, double, Number>;

  template <class Number>
  void add_number(const std::string& name, Number& number, Bound<Number> min, Bound<Number> max,
                  const std::string& description) {
    constexpr bool is_real = std::is_floating_point_v<Number>;
    auto* const option =
        command_.add_option("--" + name, number, description)->capture_default_str();
    if constexpr (is_real)
      option->check(real_range(min, max));
    else
      option->check(CLI::Range(min, max));
    SceneOption& kept = keep(name, is_real ? SceneOption::Kind::real : SceneOption::Kind::whole);
    kept.min = static_cast<double>(min);
    kept.max = static_cast<double>(max);
  }

  std::vector<SceneOption> added() && { return std::move(added_); }

 private:
  SceneOption& keep(const std::string& name, SceneOption::Kind kind) {
    const CLI::Option* const option = command_.get_option("--" + name);
    added_.push_back({name, option->get_description(), option->get_default_str(), kind, 0, 0, {}});
    return added_.back();
  }

  CLI::App& command_;
  std::vector<SceneOption> added_;
};

} // namespace

std::vector<SceneOption> add_scene_options(CLI::App& command, SceneSettings& scene,
                                           uint32_t& frames) {
  SceneOptions options(command);
  const auto set_pixel_type = [&scene](const std::string& type) {
    scene.pixel_type = type == "disparity" ? GX_PIXEL_DISPARITY : GX_PIXEL_DEPTH;
  };
  options.add_size("size", scene.size, "Frame size");
  options.add_number("frames", frames, 1, 1'000'000, "Number of frames");
  options.add_number("seed", scene.seed, 0, std::numeric_limits<uint64_t>::max(),
                     "Seed of everything random");
  options.add_words("pixel-type", {"depth", "disparity"}, set_pixel_type, "What pixels hold");
  options.add_number("pack-mode", scene.pack_mode, 1, 2, "Encoding of disparity codes, 1 or 2");
  options.add_number("depth-unit", scene.depth_unit, 1e-3, 1e3, "Millimetres per unit of depth");
  options.add_number("baseline", scene.baseline, 1, 1000, "Baseline, millimetres");
  options.add_number("noise", scene.noise, 0, 100, "Disparity noise, pixels");
  options.add_number("holes", scene.holes, 0, 100'000, "Patches without data");
  options.add_number("speckles", scene.speckles, 0, 100'000, "False patches");
  options.add_number("bleed", scene.bleed, 0, 1, "Share of borders that smear");
  options.add_number("streaks", scene.streaks, 0, 1,
                     "Share of borders that run out far at one depth");
  options.add_number("phantoms", scene.phantoms, 0, 10'000,
                     "Smooth false patches before the scene");
  options.add_number("inset", scene.inset, 0, 65'535, "Pixels along each side without data");
  options.add_number("fringe", scene.fringe, 0, 65'535,
                     "Pixels of false depth along the outline of the rest");
  options.add_number("corner", scene.corner, 0, 65'535, "Radius of the fringe's corners, pixels");
  options.add_number("disparity-offset", scene.disparity_offset, 0, 1000,
                     "Pixels that the camera takes off every disparity");
  return std::move(options).added();
}

} // namespace gxfilter
