// NoiseRemovalFilter and LutNoiseRemovalFilter.
#pragma once

#include <cmath>
#include <cstdlib>
#include <string>

#include "naive/depth_table.h"
#include "naive/speckles.h"
#include "support/camera_frame.h"

namespace naive {

/// Without memory: everything is derived anew for each frame.
struct SpeckleFilter {
  explicit SpeckleFilter(bool has_tiles) : tiled(has_tiles) { reset(); }

  bool tiled;
  std::vector<int> sizes{};
  int min_diff{}, width{}, height{};

  std::string name() const { return tiled ? "LutNoiseRemovalFilter" : "NoiseRemovalFilter"; }

  /// Texts within their ranges.
  void update(const std::vector<std::string>& texts) {
    std::vector<int> values(texts.size());
    for (size_t i = 0; i < texts.size(); ++i)
      values[i] = std::atoi(texts[i].c_str());
    store(values);
  }
  void store(const std::vector<int>& values) {
    sizes.assign(values.begin(), values.end() - 3);
    min_diff = values[sizes.size()];
    width = values[sizes.size() + 1];
    height = values[sizes.size() + 2];
  }

  void reset() {
    if (tiled)
      store({1920, 1920, 1920, 1920, 1920, 200, 200, 1920, 800, 200, 200, 800, 800, 800, 800, 800,
             192, 1280, 800});
    else
      store({80, 256, 848, 480});
  }

  std::vector<uint16_t> process(const test::CameraFrame& input, std::string& error) const {
    const gx_pixel_type type = input.pixel_type;
    const auto failure = [&](const char* args, const char* message = "invalid params") {
      error = message + (" | " + name()) + "::updateConfig | " + args + " | 4";
      return std::vector<uint16_t>{};
    };
    const char* const bad_size = "frame_info.width||frame_info.height";
    constexpr uint32_t largest = 32767;
    if (input.width - 1 >= largest || input.height - 1 >= largest)
      return failure(bad_size);
    const bool other_size =
        static_cast<int>(input.width) != width || static_cast<int>(input.height) != height;
    if (other_size && type == GX_PIXEL_DEPTH && input.record.baseline <= 0)
      return failure("frame_info.bxf");
    if (type != GX_PIXEL_DISPARITY && input.scale <= 0)
      return failure("frame_info.depth_unit");
    const float area = (static_cast<float>(input.height) / static_cast<float>(height)) *
                       (static_cast<float>(input.width) / static_cast<float>(width));
    if (area < 1e-5)
      return failure(bad_size);
    const int fraction_bits = static_cast<uint8_t>(input.bits - input.record.dispIntPlace);
    const int diff = type == GX_PIXEL_TOF_DEPTH
                         ? min_diff
                         : cut(std::exp2(fraction_bits) * min_diff / std::exp2(8));
    std::vector<uint16_t> limits;
    for (const int size : sizes)
      limits.push_back(cut(static_cast<float>(size) * area));
    const auto bxf = static_cast<float>(double{input.record.baseline} * input.record.fx);
    filter_processor::DepthDiffLut table;
    if (!build_depth_table({input.width, input.height, input.scale, type, bxf,
                            static_cast<uint8_t>(fraction_bits)},
                           static_cast<uint16_t>(diff), table))
      return failure("updateDepthDiffLut()", "update depth diff lut error");
    SpeckleTask task{.width = input.width,
                     .height = input.height,
                     .max_diff = diff,
                     .lut = table.entries.data(),
                     .lut_size = static_cast<uint8_t>(table.entries.size()),
                     .depth_shift = table.shift,
                     .single = !tiled,
                     .max_size = limits[0],
                     .tile_limits = limits.data()};
    if (type == GX_PIXEL_DISPARITY) {
      task.lut_size = 0;
      const bool own_code = input.record.isDualCamera == 0 && input.record.packMode != 1;
      task.invalid_value = !own_code ? 0 : input.record.packMode == 4 ? 65532 : 8192;
    }
    std::vector<uint16_t> pixels = input.pixels;
    remove_speckles(task, pixels);
    return pixels;
  }
};

} // namespace naive
