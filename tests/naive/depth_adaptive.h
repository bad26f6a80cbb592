#pragma once

// What the smoothing filters with a depth-difference table make of parameters and frames, written
// down step by step, and random frames for them.

#include <array>
#include <cmath>
#include <cstdlib>
#include <string>

#include "naive/depth_table.h"
#include "naive/spatial_advanced.h"
#include "naive/spatial_moderate.h"
#include "support/camera_frame.h"
#include "support/random.h"

namespace test {

struct FrameFacts {
  uint32_t width = 0, height = 0;
  int32_t pixel_type = -1;
  double scale = 1.0;
  float bxf = 0.0F;
  uint8_t fraction_bits = 8;

  bool operator==(const FrameFacts&) const = default;
};

/// Facts that touch each other's borders, and some that no filter can work with.
inline FrameFacts random_facts(Random& random) {
  const auto pick = [&](auto... values) {
    const std::array choices{values...};
    return choices[random() % choices.size()];
  };
  FrameFacts facts;
  facts.width = pick(1U, 5U, 9U, 16U, 27U, 46U, 0U);
  facts.height = pick(1U, 6U, 8U, 17U, 26U, 26U, 0U);
  facts.pixel_type = pick(0, 0, 0, 2, 2, 4, 4, 1, -1);
  facts.scale = double{pick(1.0F, 0.1F, 0.05F, 0.25F, 7.0F, 900.0F, 0.0F, -1.0F, NAN, INFINITY)};
  facts.bxf = pick(20000.0F, 3000.0F, 50.0F, 0.0F, NAN, INFINITY);
  facts.fraction_bits = static_cast<uint8_t>(pick(8, 8, 4, 0, 10, 250));
  return facts;
}

/// A frame that says these things of itself. Only the product of baseline and focal length and the
/// difference of the two bit counts matter.
inline CameraFrame frame_of(const FrameFacts& facts, const Pixels& pixels) {
  CameraFrame frame{facts.width, facts.height, static_cast<gx_pixel_type>(facts.pixel_type),
                    static_cast<float>(facts.scale), static_cast<uint8_t>(facts.fraction_bits + 7)};
  frame.record.baseline = facts.bxf / 4;
  frame.record.fx = 4.0;
  frame.record.dispIntPlace = 0x707;
  frame.pixels = pixels;
  return frame;
}

/// What a frame says of itself.
inline FrameFacts facts_of(const CameraFrame& frame) {
  return {frame.width,
          frame.height,
          frame.pixel_type,
          double{frame.scale},
          static_cast<float>(double{frame.record.baseline} * frame.record.fx),
          static_cast<uint8_t>(frame.bits - frame.record.dispIntPlace)};
}

/// Surfaces with noise of `spread`, on steps of which some reach into the upper half of the range,
/// with holes in runs.
inline Pixels random_surfaces(size_t count, uint64_t spread, Random& random) {
  Pixels pixels(count);
  uint64_t surface = 1;
  for (size_t i = 0; i < count; ++i) {
    if (random() % 12 == 0)
      surface = random() % 5 == 0 ? random() % 16 : random() % 3 == 0 ? random() : random() % 3000;
    const bool hole = random() % 8 == 0 || (i > 0 && pixels[i - 1] == 0 && random() % 3 != 0);
    pixels[i] = static_cast<uint16_t>(hole ? 0 : surface + random() % spread);
  }
  return pixels;
}

/// `Params` is the record of a filter's parameters, with its defaults.
template <typename Params>
struct DepthAdaptiveModel {
  explicit DepthAdaptiveModel(std::string filter_name) : name(std::move(filter_name)) {}
  virtual ~DepthAdaptiveModel() = default;

  std::string name;
  Params anchor, current;
  FrameFacts next, anchor_facts, current_facts;
  bool changed = false;
  filter_processor::DepthDiffLut table{};

  virtual void smooth(Pixels& pixels) const = 0;

  void store(const Params& params) {
    changed = changed || params != anchor;
    anchor = params;
  }

  CameraFrame frame(Random& random) {
    if (next.pixel_type == -1 || random() % 2 == 0)
      next = random_facts(random);
    return frame_of(next,
                    random_surfaces(size_t{next.width} * next.height, 1 + random() % 300, random));
  }

  Pixels process(const CameraFrame& input, std::string& error) {
    error = take_over(facts_of(input));
    if (!error.empty())
      return {};
    Pixels pixels = input.pixels;
    smooth(pixels);
    return pixels;
  }

  void reset() {
    anchor = current = Params{};
    anchor_facts = FrameFacts{};
  }

  /// The error, "" if the frame can be worked on.
  std::string take_over(FrameFacts facts) {
    if (facts.pixel_type == 4) {
      facts.scale = current_facts.scale;
      facts.bxf = current_facts.bxf;
      facts.fraction_bits = current_facts.fraction_bits;
    }
    current_facts = facts;
    if (facts == anchor_facts && !changed)
      return "";
    anchor_facts = facts;
    current = anchor;
    std::string error = derive();
    changed = !error.empty();
    return error;
  }

  std::string derive() {
    const auto refusal = [&](const char* message, const char* args) {
      return message + (" | " + name) + "::updateConfig | " + args + " | 4";
    };
    const FrameFacts& facts = current_facts;
    if (facts.width < 1 || facts.height < 1)
      return refusal("invalid params", "frame_info.width||frame_info.height");
    if (facts.pixel_type == -1)
      return refusal("invalid params", "frame_info.pixel_type");
    if (facts.pixel_type != 2 && facts.scale <= 0)
      return refusal("invalid params", "frame_info.depth_unit");
    const double ratio = std::pow(2.0, facts.fraction_bits) / std::pow(2.0, 8);
    if (facts.pixel_type != 4 && facts.fraction_bits != 8)
      current.disp_diff = naive::cut(current.disp_diff * ratio);
    return build_table() ? "" : refusal("update depth diff lut error", "updateDepthDiffLut()");
  }

  bool build_table() {
    const FrameFacts& facts = current_facts;
    return naive::build_depth_table(
        {facts.width, facts.height, facts.scale, facts.pixel_type, facts.bxf, facts.fraction_bits},
        current.disp_diff, table);
  }
};

struct AdvancedParams {
  uint8_t magnitude = 1;
  float alpha = 0.5F;
  uint16_t disp_diff = 160, radius = 1;

  bool operator==(const AdvancedParams&) const = default;
};

struct SpatialAdvancedModel : DepthAdaptiveModel<AdvancedParams> {
  SpatialAdvancedModel() : DepthAdaptiveModel("SpatialAdvancedFilter") {}

  /// Texts within their ranges.
  void update(const std::vector<std::string>& texts) {
    store({static_cast<uint8_t>(std::atoi(texts[0].c_str())),
           static_cast<float>(std::atof(texts[1].c_str())),
           static_cast<uint16_t>(std::atoi(texts[2].c_str())),
           static_cast<uint16_t>(std::atoi(texts[3].c_str()))});
  }
  void smooth(Pixels& pixels) const override {
    naive::smooth_recursively({pixels, current_facts.width, current_facts.height},
                              {current_facts.pixel_type == 2, current.disp_diff, table.entries},
                              current.magnitude, static_cast<uint8_t>(current.radius));
  }
};

struct ModerateParams {
  uint8_t radius = 5, magnitude = 1;
  uint16_t disp_diff = 160;

  bool operator==(const ModerateParams&) const = default;
};

struct SpatialModerateModel : DepthAdaptiveModel<ModerateParams> {
  SpatialModerateModel() : DepthAdaptiveModel("SpatialModerateFilter") {}

  /// The radius has no lower bound, and only 8 bits of it are stored.
  void update(const std::vector<std::string>& texts) {
    const int radius = std::atoi(texts[2].c_str());
    changed = changed || static_cast<uint16_t>(radius) != anchor.radius;
    store({static_cast<uint8_t>(radius), static_cast<uint8_t>(std::atoi(texts[0].c_str())),
           static_cast<uint16_t>(std::atoi(texts[1].c_str()))});
  }
  void smooth(Pixels& pixels) const override {
    const naive::ModerateThresholds thresholds{current_facts.pixel_type == 2, current.disp_diff,
                                               table.entries, table.shift};
    naive::smooth_windows({pixels, current_facts.width, current_facts.height}, current.radius / 2,
                          current.magnitude, thresholds);
  }
};

} // namespace test
