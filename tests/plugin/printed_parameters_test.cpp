// What filters print of their parameters, against the texts in printed_parameters.txt.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "plugin/base/i_priv_filter.h"
#include "support/capture.h"
#include "support/filter_facts.h"

namespace {

using namespace test;

using Step = std::function<void(Filter&)>;

/// An update may be refused, and what is stored before that shows.
Step update(std::vector<const char*> values) {
  return [values](Filter& filter) { filter.update(values); };
}

Step frame(const CameraFrame& frame) {
  return [frame](Filter& filter) { filter.process(frame.make().get()); };
}

Step blob(std::vector<uint8_t> bytes) {
  return [bytes](Filter& filter) {
    ErrorSlot none;
    filter.set_config_data(bytes.data(), bytes.size(), none);
  };
}

void reset(Filter& filter) {
  filter.reset();
}

void print(Filter& filter) {
  using Handle = std::shared_ptr<filter_processor::IPrivFilter>;
  (*reinterpret_cast<Handle*>(filter.context().filter))->print_filter_params();
}

/// A record whose bytes stand for letters; they are printed as such.
CameraFrame of_lettered_camera() {
  CameraFrame frame{.width = 1, .height = 1, .pixel_type = GX_PIXEL_DISPARITY, .bits = 'A'};
  frame.record.bitSize = frame.record.isDualCamera = 'A';
  frame.record.packMode = '2';
  frame.record.zpps = 0.5;
  return frame;
}

const std::map<std::string, std::vector<Step>> steps_of_filters = {
    {"DisparityTransform", {frame(of_lettered_camera()), print}},
    {"OpenNIDisparityTransform", {frame(of_lettered_camera()), print}},
    {"DepthResize",
     {reset, update({"7.9", "65535.5", "1", "9", "9", "9", "9"}), print,
      update({"8", "9", "0.09", "9", "9", "9", "9"}), print,
      update({"8", "9", "0.1", "-3.7", "4e12", "nan", "x"}), print}},
    {"HardwareD2DCorrectionFilter", {print, frame({.width = 2, .height = 2, .offset = 7}), print}},
    {"HoleFillingFilter", {update({"0"}), print, update({"1"}), print, update({"2"}), print}},
    {"TemporalFilter", {print, update({"0.5", "0.05"}), print, reset, print}},
    {"SpatialFastFilter",
     {print, update({"5"}), frame({21, 0}), print, update({"3"}), update({"4"}), print,
      frame({9, 4}), print, update({"5"}), frame({9, 4}), reset, print}},
    {"SpatialModerateFilter",
     {update({"2", "300", "3"}), frame({9, 6, GX_PIXEL_DEPTH, 0.25F, 17}), update({"3", "10", "7"}),
      print, blob({7, 0, 0x40, 0x9C}), blob({7, 0, 0x40, 0x9C, 9, 0}), blob({})}},
    {"SpatialAdvancedFilter",
     {update({"2", "0.25", "300", "3"}), frame({9, 6, GX_PIXEL_TOF_DEPTH, 7}), print}},
    {"EdgeNoiseRemovalFilter", {update({"1", "2", "30", "40", "0", "640", "400"}), print}},
    {"MgcNoiseRemovalFilter", {update({"1", "2", "3", "4", "5", "6", "7", "640", "400"}), print}},
    {"NoiseRemovalFilter", {frame({424, 240, GX_PIXEL_DEPTH, 0.5F}), print, reset, print}},
    {"LutNoiseRemovalFilter", {frame({640, 400, GX_PIXEL_TOF_DEPTH, 0.25F}), print}},
    {"FalsePositiveFilter",
     {update({"0", "0", "1", "0", "0.6", "1", "0", "1", "0", "0.6", "6000", "1000", "0", "0", "1",
              "0", "0.6", "4000", "3000"}),
      frame({424, 240}), print}},
};

/// The text with its control characters as numbers.
std::string legible(const std::string& text) {
  std::string result;
  for (const char c : text)
    result += c == '\n' || c >= ' ' ? std::string(1, c) : "\\" + std::to_string(c);
  return result;
}

TEST(PrintedParameters, AreThoseOfTheTable) {
  std::ostringstream expected;
  expected << std::ifstream(TEST_FILES "/plugin/printed_parameters.txt").rdbuf();
  std::string printed;
  for (const FilterFacts& facts : all_filters()) {
    const auto steps = steps_of_filters.find(facts.name);
    ASSERT_NE(steps, steps_of_filters.end()) << facts.name << " has no steps";
    Filter filter(facts.name);
    Capture output(stdout);
    for (const Step& step : steps->second)
      step(filter);
    printed += "---- " + facts.name + "\n" + legible(output.text());
  }
  EXPECT_EQ(printed, expected.str());
}

} // namespace
