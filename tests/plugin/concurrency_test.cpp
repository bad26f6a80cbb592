// Instances that are configured while they process, and many instances at once. These find most
// under the thread sanitizer.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>
#include <sstream>
#include <thread>

#include "filters/noise/false_positive_config.h"
#include "support/filter_cases.h"

namespace {

using test::ErrorSlot;
using test::Filter;
using test::Frame;

/// The defaults of a filter's schema, in its order.
std::vector<std::string> schema_defaults(gx_priv_filter_context* context) {
  std::vector<std::string> defaults;
  std::istringstream lines(context->get_config_schema(context->filter));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string field;
    for (int i = 0; i < 6; ++i)
      std::getline(fields, field, ',');
    defaults.push_back(field);
  }
  return defaults;
}

/// The raw configuration that FalsePositiveFilter takes besides parameters; others ignore it.
std::vector<std::uint8_t> raw_record() {
  const filter_processor::FalsePositiveConfig config;
  std::vector<std::uint8_t> bytes(1 + sizeof config);
  std::memcpy(bytes.data() + 1, &config, sizeof config);
  return bytes;
}

bool locks_itself(const std::string& filter) {
  const std::set<std::string> without_lock = {"DepthResize", "HardwareD2DCorrectionFilter",
                                              "HoleFillingFilter", "TemporalFilter"};
  return without_lock.count(filter) == 0;
}

class ConcurrencyTest : public ::testing::TestWithParam<test::FilterCase> {};

INSTANTIATE_TEST_SUITE_P(Filters, ConcurrencyTest, ::testing::ValuesIn(test::filter_cases()),
                         [](const auto& test) { return std::string(test.param.label); });

TEST_P(ConcurrencyTest, TakesUpdatesWhileItProcesses) {
  if (!locks_itself(GetParam().filter))
    GTEST_SKIP() << "the host serialises the calls on this filter";
  const test::NoLeftovers no_leftovers;
  Filter filter(GetParam().filter);
  const auto defaults = schema_defaults(filter.context());
  std::vector<const char*> values[2] = {{}, GetParam().values};
  for (const std::string& text : defaults)
    values[0].push_back(text.c_str());
  if (values[1].empty())
    values[1] = values[0];

  std::atomic<bool> done{false};
  std::thread updates([&] {
    const auto record = raw_record();
    ErrorSlot error_of_record;
    for (unsigned i = 0; !done; ++i) {
      EXPECT_EQ(filter.update(values[i % 2]), "");
      filter.context()->set_config_data(filter.context()->filter, record.data(), record.size(),
                                        error_of_record.out());
      EXPECT_TRUE(error_of_record.empty());
    }
  });
  const Frame input = test::make_case_frame(GetParam());
  for (int i = 0; i < 100; ++i) {
    ErrorSlot error;
    EXPECT_NE(filter.process(input, error), nullptr) << error.text();
  }
  done = true;
  updates.join();
}

TEST_P(ConcurrencyTest, InstancesShareNothing) {
  const test::NoLeftovers no_leftovers;
  const Frame input = test::make_case_frame(GetParam());
  const auto run = [&input] {
    Filter filter(GetParam().filter);
    if (!GetParam().values.empty())
      filter.update(GetParam().values);
    test::Pixels pixels;
    for (int i = 0; i < 20; ++i)
      pixels = test::pixels_of(filter.process(input.get()).get());
    return pixels;
  };
  const test::Pixels expected = run();
  std::vector<test::Pixels> results(3);
  std::vector<std::thread> threads;
  for (auto& result : results)
    threads.emplace_back([&run, &result] { result = run(); });
  for (auto& thread : threads)
    thread.join();
  for (const auto& result : results)
    EXPECT_EQ(result, expected);
}

} // namespace
