#include <gtest/gtest.h>

#include <cstring>

#include "filters/noise/false_positive/config.h"
#include "filters/noise/false_positive/region_tests.h"
#include "filters/noise/false_positive/stage.h"
#include "naive/false_positive.h"
#include "support/allocation_faults.h"
#include "support/false_positive_records.h"
#include "support/filter_facts.h"
#include "support/sequences.h"

namespace {

using filter_processor::FalsePositiveConfig;
using naive::place;
using naive::false_positive::default_record;
using naive::false_positive::Fired;
using naive::false_positive::Record;
using namespace test;
constexpr const char* class_name = "FalsePositiveFilter";

Values default_values() {
  return test::default_values(Filter(class_name));
}

std::string set_record(Filter& filter, const Record& record, size_t size = 290) {
  std::vector<uint8_t> blob(1, 0xA5); // the first byte means nothing
  blob.insert(blob.end(), record.bytes.begin(), record.bytes.end());
  blob.resize(std::max(size, blob.size()));
  ErrorSlot error;
  filter.set_config_data(blob.data(), size, error);
  return error.text();
}

Outcome process(Filter& filter, const Pixels& image, int width, int height) {
  return filter.outcome(
      make_frame(static_cast<uint32_t>(width), static_cast<uint32_t>(height), image));
}

// Random scenes and settings.

/// Overlapping boxes, each flat, sloped or noisy, at similar and at distant depths, with holes.
Pixels random_scene(int width, int height, Random& random) {
  Pixels image(place(0, height, width));
  const int boxes = 2 + dice(random, 14);
  for (int box = 0; box < boxes; ++box) {
    const int x0 = box == 0 ? 0 : dice(random, width);
    const int y0 = box == 0 ? 0 : dice(random, height);
    const int x1 = box == 0 ? width : x0 + 1 + dice(random, width - x0);
    const int y1 = box == 0 ? height : y0 + 1 + dice(random, height - y0);
    const int base = one_of(random, {0, 200, 900, 1000, 1010, 1100, 1490, 3000, 9900, 65000});
    const int noise = one_of(random, {1, 1, 1, 2, 20, 60, 400});
    const int slope = one_of(random, {0, 0, 1, 9});
    const int holes = one_of(random, {0, 0, 5, 30});
    for (int y = y0; y < y1; ++y) {
      for (int x = x0; x < x1; ++x) {
        image[place(x, y, width)] = static_cast<uint16_t>(
            dice(random, 100) < holes
                ? 0
                : std::min(base + dice(random, noise) + slope * (x + y), 65535));
      }
    }
  }
  return image;
}

/// A record whose bytes are partly random; its own size and bin width stay acceptable.
Record hostile_record(int width, int height, Random& random) {
  Record r = random_record(width, height, random);
  const int mutations = dice(random, 4) == 0 ? 289 : dice(random, 12);
  for (int i = 0; i < mutations; ++i)
    r.u8(4 + random() % 285, dice(random, 256));
  const float wild[] = {NAN, INFINITY, -INFINITY, -1.0F, 2.0F, 1e30F, -1e-30F, 1e9F, 0.0F};
  for (const size_t offset :
       {59U,  63U,  67U,  71U,  75U,  84U,  88U,  92U,  96U,  100U, 104U, 108U,
        112U, 128U, 144U, 167U, 171U, 175U, 179U, 183U, 187U, 234U, 238U, 242U,
        246U, 250U, 254U, 258U, 262U, 266U, 273U, 277U, 281U, 285U})
    if (dice(random, 12) == 0)
      r.f32(offset, one_of(random, wild));
  if (r.u16(8) == 0)
    r.u16(8, 1);
  return r;
}

struct Model {
  Fired fired;
  naive::false_positive::Filter filter{fired};
  int width = 30, height = 20;
  int unchanged_after_blob = 0, refused = 0;

  void configure(test::Filter& tested, Random& random) {
    if (dice(random, 2) == 0) {
      filter.anchor = dice(random, 3) != 0
                          ? random_record(std::min(width, 150), std::min(height, 150), random)
                          : hostile_record(one_of(random, {1, 5, 40, 300, 2000}),
                                           one_of(random, {1, 7, 40, 200, 1000}), random);
      EXPECT_EQ(set_record(tested, filter.anchor), "");
      unchanged_after_blob += !filter.params_changed;
      return;
    }
    const auto defaults = default_values();
    std::vector<std::string> values(defaults.begin(), defaults.end());
    for (const size_t i : {0U, 5U, 12U})
      values[i] = std::to_string(dice(random, 2));
    values[11] = std::to_string(1 + dice(random, 65535));
    values[18] = std::to_string(1 + dice(random, 3000));
    values[9] = values[16] = "1.0";
    EXPECT_EQ(tested.update_to(values), "");
    filter.update(values);
  }

  void reset() { filter.reset(); }

  CameraFrame frame(Random& random) {
    if (dice(random, 6) == 0) {
      width = 1 + dice(random, dice(random, 4) == 0 ? 150 : 40);
      height = 1 + dice(random, dice(random, 4) == 0 ? 150 : 40);
      if (dice(random, 50) == 0) // longer than a record can say
        std::tie(width, height) = dice(random, 2) == 0 ? std::pair(65536, 1) : std::pair(1, 65537);
    }
    return {.width = static_cast<uint32_t>(width),
            .height = static_cast<uint32_t>(height),
            .pixels = random_scene(width, height, random)};
  }

  Pixels process(const CameraFrame& input, std::string& error) {
    Pixels pixels = input.pixels;
    error = filter.process(pixels, width, height);
    if (error.empty())
      return pixels;
    ++refused;
    error += error == "invalid params" ? " | FalsePositiveFilter::update_all_config_and_initial"
                                         " | width||height | 4"
                                       : " | FalsePositiveFilter::filter_process"
                                         " | FalsePositiveFilter | 0";
    return pixels;
  }
};

TEST(FalsePositiveFilter, FollowsUpdatesBlobsResetsAndFrameSizesLikeTheNaiveModel) {
  Random random(13);
  Model model;
  EXPECT_GT(follow(class_name, model, 8000, random), 2000);
  const Fired& fired = model.fired;
  for (const int count :
       {fired.bleeding_run, fired.partial_run, fired.small, fired.texture, fired.flat, fired.ground,
        fired.band, fired.candidate, fired.supported, fired.unsupported, fired.foreign_neighbour})
    EXPECT_GT(count, 100) << "the scenes do not exercise every rule";
  EXPECT_GT(model.unchanged_after_blob, 10);
  EXPECT_GT(model.refused, 100);
}

// Built scenes of 100 x 60 pixels with a record of that size; 81 pixels are a region.

constexpr int scene_width = 100;
constexpr int scene_height = 60;

Pixels empty_scene() {
  return Pixels(place(0, scene_height, scene_width));
}

void draw(Pixels& scene, int left, int top, int width, int height, uint16_t depth) {
  for (int y = top; y < top + height; ++y)
    std::fill_n(&scene[place(left, y, scene_width)], width, depth);
}

TEST(FalsePositiveFilter, ComparesSmoothnessInDoublePrecision) {
  filter_processor::RegionExtent region;
  region.pixels = 100;
  const filter_processor::RegionDepths depths{.mean = 1017, .lowest = 1000, .highest = 1045};
  const uint64_t differences = 113; // a smoothness of 2000.000016: 2000 in single precision
  filter_processor::PatternAmbiguitySettings settings;
  settings.enabled = 1;
  settings.min_smoothness[0] = 2000;
  EXPECT_TRUE(
      filter_processor::is_pattern_candidate(region, depths, differences, settings, {100, 60}));
  settings.min_smoothness[0] = 2001;
  EXPECT_FALSE(
      filter_processor::is_pattern_candidate(region, depths, differences, settings, {100, 60}));
}

TEST(FalsePositiveConfig, HasItsDefaultsInPlace) {
  const FalsePositiveConfig config;
  EXPECT_EQ(std::memcmp(&config, default_record().bytes.data(), sizeof config), 0);
}

std::string refusal_of(size_t index, const char* value) {
  Filter filter(class_name);
  auto values = default_values();
  values[index] = value;
  return filter.update(values);
}

TEST(FalsePositiveFilter, RefusesParametersOneByOne) {
  const std::string function = " | FalsePositiveFilter::update_filter_config | ";
  const std::string range = "params out of range" + function;
  EXPECT_EQ(refusal_of(10, "65535.9"), "");
  EXPECT_EQ(refusal_of(1, "0.5 and more"), "");

  const std::string thrown = " | gx_priv_filter_update_config | argv | 4";
  EXPECT_EQ(refusal_of(0, "yes"), "invalid stoi argument" + thrown);
  EXPECT_EQ(refusal_of(11, "99999999999"), "stoi argument out of range" + thrown);
  EXPECT_EQ(refusal_of(1, ""), "invalid stof argument" + thrown);
  EXPECT_EQ(refusal_of(1, "1e99"), "stof argument out of range" + thrown);

  // The first that fails decides, be it by its text or by its value.
  auto values = default_values();
  values[3] = "7";
  values[4] = "?";
  EXPECT_EQ(Filter(class_name).update(values), range + "fpebfROIMinYRatio | 4");
  std::swap(values[3], values[4]);
  EXPECT_EQ(Filter(class_name).update(values), "invalid stof argument" + thrown);
}

TEST(FalsePositiveFilter, RefusesBlobsWithoutTakingAnythingFromThem) {
  const std::string function = " | FalsePositiveFilter::set_filter_config_data | data | 4";
  const std::string validation = " | FalsePositiveFilter::validate_filter_parameters | data | 4";
  Filter filter(class_name);
  Record record = default_record(32, 32);
  record.u8(160, 1);
  record.u16(163, 1234);
  for (const size_t size : {0U, 289U, 291U}) {
    EXPECT_EQ(set_record(filter, record, size),
              "Insufficient data size for filter configuration" + function);
  }
  ErrorSlot error;
  filter.set_config_data(nullptr, 290, error);
  EXPECT_EQ(error.text(), "Filter config data pointer is null" + function);
  for (const size_t offset : {0U, 2U}) {
    Record flat = record;
    flat.u16(offset, 0);
    EXPECT_EQ(set_record(filter, flat), "Invalid image dimensions" + validation);
  }
  record.u16(8, 0);
  EXPECT_EQ(set_record(filter, record), "Invalid depth bin width" + validation);
  record.u16(8, 500);

  EXPECT_EQ(set_record(filter, record), "");
}

TEST(FalsePositiveFilter, TakesRecordsOfSizesThatNoFrameHasWhereTheyWouldFitIntoMemory) {
  REQUIRE_ALLOCATION_FAULTS();
  for (uint64_t n = 1; n <= 6; ++n) { // of the five buffers each may find no memory
    testing::internal::CaptureStderr();
    fail_nth_allocation(n);
    EXPECT_EQ(filter_processor::could_allocate_workspace(8, 8), n == 6) << n;
    fail_nth_allocation(0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              n == 6 ? "" : "Memory allocation failed: std::bad_alloc\n");
  }
  Filter filter(class_name);
  Pixels image = empty_scene();
  draw(image, 10, 10, 9, 9, 1000);
  draw(image, 50, 30, 1, 1, 1000);
  const Pixels expected = process(filter, image, scene_width, scene_height).pixels;
  grant_vast_allocations(true);
  EXPECT_EQ(set_record(filter, default_record(65535, 65535)), "");
  grant_vast_allocations(false);
  EXPECT_EQ(process(filter, image, scene_width, scene_height).pixels, expected)
      << "the record in use stays until the next take-over";
}

TEST(FalsePositiveStage, RefusesAnotherSizeThanTheRecords) {
  const auto workspace = filter_processor::make_false_positive_workspace(848, 480, 1, 1);
  Pixels image(120);
  testing::internal::CaptureStdout();
  EXPECT_EQ(filter_processor::remove_false_positives(image.data(), 12, 10, {}, workspace.get()),
            -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Error: Input size (12,10) does not match config width (848,480). Exiting function.\n");
}

TEST(FalsePositiveStage, AllocatesNothingInSteadyState) {
  REQUIRE_ALLOCATION_FAULTS();
  Record record = default_record(scene_width, scene_height);
  record.u8(160, 1);
  const auto config = filter_processor::read_config(record.bytes.data());
  const auto workspace =
      filter_processor::make_false_positive_workspace(scene_width, scene_height, 1, 1);
  for (const bool steady : {false, true}) {
    Pixels scene = empty_scene();
    for (int n = 0; n < 20; ++n) // islands: candidates all
      draw(scene, 10 * (n % 10), 12 * (n / 10), 9, 10, 2000);
    fail_nth_allocation(steady ? 1 : 0);
    EXPECT_EQ(filter_processor::remove_false_positives(scene.data(), scene_width, scene_height,
                                                       config, workspace.get()),
              0);
    EXPECT_EQ(allocation_fault_pending(), steady);
    fail_nth_allocation(0);
    EXPECT_EQ(scene, empty_scene());
  }
}

} // namespace
