#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

#include "plugin/filter_factory.h"
#include "support/host_objects.h"

namespace {

TEST(Registry, ListsTheFourteenFiltersInTheirOrder) {
  const std::vector<std::string> expected = {
      "DisparityTransform",       "HoleFillingFilter",
      "NoiseRemovalFilter",       "SpatialAdvancedFilter",
      "TemporalFilter",           "DepthResize",
      "EdgeNoiseRemovalFilter",   "HardwareD2DCorrectionFilter",
      "OpenNIDisparityTransform", "SpatialFastFilter",
      "SpatialModerateFilter",    "FalsePositiveFilter",
      "LutNoiseRemovalFilter",    "MgcNoiseRemovalFilter"};
  std::vector<std::string> names;
  for (std::uint64_t i = 0; i < gx_get_filter_count(nullptr); ++i)
    names.emplace_back(gx_get_filter_name(static_cast<std::int32_t>(i), nullptr));
  EXPECT_EQ(names, expected);
  EXPECT_STREQ(gx_get_commit_hash(), "2c544ce");
}

TEST(Registry, KnowsNothingOutsideTheList) {
  test::ErrorSlot error;
  for (const std::int32_t index : {-1, 14, INT32_MIN, INT32_MAX})
    EXPECT_STREQ(gx_get_filter_name(index, error.out()), "UnknownFilter") << index;
  // An index that would become valid if it were cut to 32 bits is none.
  for (const std::uint64_t index : {std::uint64_t{14}, std::uint64_t{1} << 32, UINT64_MAX})
    EXPECT_EQ(gx_create_filter(index, error.out()), nullptr) << index;
  EXPECT_EQ(filter_processor::getFilterFactory()->createFilter(-1), nullptr);
  EXPECT_TRUE(error.empty());
}

TEST(Registry, IsOneForAllThreads) {
  std::atomic<int> waiting{4};
  std::vector<filter_processor::FilterFactory*> seen(4);
  std::vector<std::thread> threads;
  for (auto& mine : seen) {
    threads.emplace_back([&] {
      --waiting;
      while (waiting > 0) {
      }
      mine = filter_processor::getFilterFactory().get();
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), 1u);
}

TEST(Context, IsSevenWordsThatReachTheFilter) {
  static_assert(sizeof(gx_priv_filter_context) == 7 * sizeof(void*));
  for (std::uint64_t i = 0; i < 14; ++i) {
    auto* context = gx_create_filter(i, nullptr);
    auto* other = gx_create_filter(i, nullptr);
    ASSERT_NE(context, nullptr);
    EXPECT_NE(context->filter, other->filter);
    void* words[7];
    std::memcpy(words, context, sizeof words);
    EXPECT_EQ(words[0], reinterpret_cast<void*>(&gx_priv_filter_context_destroy));
    EXPECT_EQ(words[1], context->filter);
    EXPECT_EQ(words[2], reinterpret_cast<void*>(&gx_priv_filter_reset));
    EXPECT_EQ(words[3], reinterpret_cast<void*>(&gx_priv_filter_get_config_schema));
    EXPECT_EQ(words[4], reinterpret_cast<void*>(&gx_priv_filter_update_config));
    EXPECT_EQ(words[5], reinterpret_cast<void*>(&gx_priv_filter_set_config_data));
    EXPECT_EQ(words[6], reinterpret_cast<void*>(&gx_priv_filter_process));
    // One constant text for each class, not one for each instance.
    EXPECT_EQ(context->get_config_schema(context->filter), other->get_config_schema(other->filter));
    other->destroy(other);
    context->destroy(context);
  }
}

TEST(Context, NullHandlesAreQuiet) {
  test::ErrorSlot error;
  const char* value = "0";
  gx_priv_filter_context_destroy(nullptr);
  gx_priv_filter_reset(nullptr);
  gx_priv_filter_update_config(nullptr, 1, &value, error.out());
  gx_priv_filter_set_config_data(nullptr, nullptr, 0, error.out());
  EXPECT_EQ(gx_priv_filter_get_config_schema(nullptr), nullptr);
  EXPECT_EQ(gx_priv_filter_process(nullptr, nullptr, error.out()), nullptr);
  EXPECT_TRUE(error.empty());
}

TEST(Context, ARecordWithoutItsHandleIsFreedAlone) {
  auto* context = gx_create_filter(1, nullptr);
  auto* filter = std::exchange(context->filter, nullptr);
  context->destroy(context);
  gx_priv_filter_reset(filter);
  context = new gx_priv_filter_context{};
  context->filter = filter;
  gx_priv_filter_context_destroy(context);
}

/// Throws what its first parameter says from every operation.
class ThrowingFilter final : public filter_processor::IPrivFilter {
 public:
  const char* get_config_schema() override { return ""; }
  void update_filter_config(std::int32_t, const char** argv, gx_error**) override {
    kind = argv[0];
    raise();
  }
  void set_filter_config_data(const std::uint8_t*, std::uint64_t, gx_error**) override { raise(); }
  gx_frame* filter_process(gx_frame*, gx_error**) override { return raise(); }
  void reset() override { raise(); }
  void print_filter_params() override {}

 private:
  gx_frame* raise() const {
    if (kind == "invalid")
      throw std::invalid_argument("no number");
    if (kind == "range")
      throw std::out_of_range("too far");
    if (kind == "memory")
      throw std::bad_alloc();
    throw 42;
  }
  std::string kind;
};

TEST(ExceptionBarrier, ReportsWhatAFilterThrows) {
  auto* context = gx_create_filter(1, nullptr);
  auto& filter =
      *reinterpret_cast<std::shared_ptr<filter_processor::IPrivFilter>*>(context->filter);
  filter = std::make_shared<ThrowingFilter>();
  const struct {
    const char* kind;
    std::string message, type;
  } cases[] = {{"invalid", "no number", "4"},
               {"range", "too far", "4"},
               {"memory", std::bad_alloc().what(), "0"},
               {"number", "unknown exception", "0"}};
  test::ErrorSlot error;
  for (const auto& each : cases) {
    const char* value = each.kind;
    const auto expected = [&](const char* where) {
      return each.message + " | " + where + " | " + each.type;
    };
    context->update_config(context->filter, 1, &value, error.out());
    EXPECT_EQ(error.text(), expected("gx_priv_filter_update_config | argv"));
    context->set_config_data(context->filter, nullptr, 0, error.out());
    EXPECT_EQ(error.text(), expected("gx_priv_filter_set_config_data | data"));
    EXPECT_EQ(context->process(context->filter, nullptr, error.out()), nullptr);
    EXPECT_EQ(error.text(), expected("gx_priv_filter_process | frame"));
    context->process(context->filter, nullptr, nullptr); // nowhere to report to
    context->reset(context->filter);
  }
  context->destroy(context);
}

TEST(Updates, TouchNoStringBehindARefusedOne) {
  for (const char* name :
       {"NoiseRemovalFilter", "LutNoiseRemovalFilter", "EdgeNoiseRemovalFilter",
        "MgcNoiseRemovalFilter", "SpatialModerateFilter", "SpatialAdvancedFilter",
        "FalsePositiveFilter", "DepthResize", "TemporalFilter"}) {
    test::Filter filter(name);
    std::string schema = filter.context()->get_config_schema(filter.context()->filter);
    schema.erase(schema.find_last_not_of('\n') + 1);
    const auto lines = static_cast<std::size_t>(std::count(schema.begin(), schema.end(), '\n')) + 1;
    std::vector<const char*> values(lines, reinterpret_cast<const char*>(8)); // unreadable
    values[0] = "-99999999";
    const std::string refusal = std::string("params out of range | ") + name + "::update_filter";
    EXPECT_EQ(filter.update(values).find(refusal), 0u);
  }
}

} // namespace
