#include "gxfilter/camera_options.h"

#include <CLI/CLI.hpp>

#include "gexton_host.hpp"

namespace gxfilter {

using namespace recordings;

void add_camera_options(CLI::App& command, CameraFacts& facts) {
  struct FactOption {
    const char* option;
    const char* key;
    const char* help;
  };
  static constexpr FactOption fact_options[] = {
      {"--depth-unit", "depth_unit", "Millimetres per unit of a depth pixel (1)"},
      {"--fx", "fx", "Focal length, pixels (0.9 * width)"},
      {"--fy", "fy", "Focal length, pixels (fx)"},
      {"--cx", "cx", "Principal point, pixels (centre)"},
      {"--cy", "cy", "Principal point, pixels (centre)"},
      {"--baseline", "baseline", "Baseline, millimetres (50)"},
      {"--bit-size", "bit_size", "Significant bits of a pixel, 8 to 16 (16)"},
      {"--disparity-offset", "disparity_offset", "Frame metadata disparity offset (none)"},
  };
  for (const FactOption& fact : fact_options) {
    command
        .add_option_function<double>(
            fact.option, [&facts, key = fact.key](double value) { facts[key] = value; }, fact.help)
        ->group("Camera");
  }
  command
      .add_option_function<std::string>(
          "--pixel-type", [&facts](const std::string& type) { facts["pixel_type"] = type; },
          "What pixels hold (depth)")
      ->check(CLI::IsMember({"depth", "disparity", "tof"}))
      ->group("Camera");
  command
      .add_option_function<std::vector<std::string>>(
          "--d2d",
          [&facts](const std::vector<std::string>& pairs) {
            for (const std::string& pair : pairs) {
              const size_t equals = pair.find('=');
              double value = 0;
              if (equals == std::string::npos ||
                  !CLI::detail::lexical_cast(pair.substr(equals + 1), value))
                throw CLI::ValidationError("--d2d", "'" + pair + "' is not field=number");
              facts["d2d"][std::string(gexton::trim(pair.substr(0, equals)))] = value;
            }
          },
          "Fields of the disparity record: zpd, zpps, baseline, fx, bitSize, unit,\n"
          "minDisparity, packMode, dispOffset, invalidDisp, dispIntPlace, isDualCamera")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("FIELD=NUMBER,...")
      ->group("Camera");
}

} // namespace gxfilter
