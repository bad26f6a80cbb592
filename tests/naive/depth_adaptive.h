#pragma once

// What the smoothing filters with a depth-difference table make of parameters and frames, written
// down step by step, and the random sequences of calls that compare a filter with it.

#include <array>
#include <cmath>
#include <random>

#include "naive/depth_table.h"
#include "support/camera_frame.h"
#include "support/filter.h"

namespace test {

struct FrameFacts {
  uint32_t width = 0, height = 0;
  int32_t pixel_type = -1;
  double scale = 1.0;
  float bxf = 0.0F;
  uint8_t fraction_bits = 8;

  bool operator==(const FrameFacts&) const = default;
};

/// `Params` is the record of a filter's parameters, with its defaults.
template <typename Params>
struct DepthAdaptiveModel {
  Params anchor, current;
  FrameFacts anchor_facts, current_facts;
  bool changed = false;
  filter_processor::DepthDiffLut table{};

  void reset() {
    anchor = current = Params{};
    anchor_facts = FrameFacts{};
  }

  /// The error's message and argument, "" if the frame can be worked on.
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
    const FrameFacts& facts = current_facts;
    if (facts.width < 1 || facts.height < 1)
      return "invalid params | frame_info.width||frame_info.height";
    if (facts.pixel_type == -1)
      return "invalid params | frame_info.pixel_type";
    if (facts.pixel_type != 2 && facts.scale <= 0)
      return "invalid params | frame_info.depth_unit";
    const double ratio = std::pow(2.0, facts.fraction_bits) / std::pow(2.0, 8);
    if (facts.pixel_type != 4 && facts.fraction_bits != 8)
      current.disp_diff = naive::cut(current.disp_diff * ratio);
    return build_table() ? "" : "update depth diff lut error | updateDepthDiffLut()";
  }

  bool build_table() {
    const FrameFacts& facts = current_facts;
    return naive::build_depth_table(
        {facts.width, facts.height, facts.scale, facts.pixel_type, facts.bxf, facts.fraction_bits},
        current.disp_diff, table);
  }
};

/// Facts that touch each other's borders, and some that no filter can work with.
inline FrameFacts random_facts(std::mt19937& random) {
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
inline Frame make_frame_of(const FrameFacts& facts, const Pixels& pixels) {
  CameraFrame frame{facts.width, facts.height, static_cast<gx_pixel_type>(facts.pixel_type),
                    static_cast<float>(facts.scale), static_cast<uint8_t>(facts.fraction_bits + 7)};
  frame.record.baseline = facts.bxf / 4;
  frame.record.fx = 4.0;
  frame.record.dispIntPlace = 0x707;
  frame.pixels = pixels;
  return frame.make();
}

/// Surfaces with noise of `spread`, on steps of which some reach into the upper half of the range,
/// with holes in runs.
inline Pixels random_surfaces(size_t count, uint64_t spread, std::mt19937& random) {
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

/// Runs frames with changing facts through `filter`, with random updates and resets in between, and
/// through `model`, which has `random_update`, `smooth` and what DepthAdaptiveModel has.
template <typename Model>
void compare_sequences(const char* filter_name, Model model, unsigned seed) {
  std::mt19937 random(seed);
  Filter filter(filter_name);
  FrameFacts facts;
  int compared = 0;
  for (int i = 0; i < 3000; ++i) {
    const auto dice = random() % 10;
    if (dice < 2)
      EXPECT_EQ(filter.update_to(model.random_update(random)), "");
    if (dice == 3) {
      filter.reset();
      model.reset();
    }
    if (dice > 4 || i == 0)
      facts = random_facts(random);
    const Pixels pixels =
        random_surfaces(size_t{facts.width} * facts.height, 1 + random() % 300, random);
    const Frame input = make_frame_of(facts, pixels);
    const Outcome outcome = filter.outcome(input);
    const std::string refused = model.take_over(facts);
    if (!refused.empty()) {
      const std::string function = std::string(" | ") + filter_name + "::updateConfig";
      std::string expected = refused;
      expected.insert(expected.find(" | "), function);
      ASSERT_EQ(outcome.error, expected + " | 4") << i;
      ASSERT_EQ(outcome.printed, outcome.trace) << i;
      continue;
    }
    ASSERT_EQ(outcome.error, "") << i;
    Pixels expected = pixels;
    model.smooth(expected);
    ASSERT_EQ(outcome.pixels, expected) << i;
    compared += expected != pixels;
  }
  EXPECT_GT(compared, 400) << "too few frames were changed at all";
}

} // namespace test
