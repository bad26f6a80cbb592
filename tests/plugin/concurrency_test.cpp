// Instances that are configured while they process, and many instances at once. These find most
// under the thread sanitizer.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/instance.h"
#include "support/platform.h"

namespace {

using namespace test;

class ConcurrencyTest : public ::testing::TestWithParam<FilterCase> {};

INSTANTIATE_TEST_SUITE_P(Filters, ConcurrencyTest, ::testing::ValuesIn(filter_cases()),
                         [](const auto& test) { return std::string(test.param.label); });

TEST_P(ConcurrencyTest, TakesUpdatesWhileItProcesses) {
  REQUIRE_THREADS();
  if (!GetParam().filter->locks_itself)
    GTEST_SKIP() << "the host serialises the calls on this filter";
  const NoLeftovers no_leftovers;
  Filter filter(GetParam().filter->name);
  const Values defaults = default_values(filter);
  const Values values[] = {defaults, GetParam().values.empty() ? defaults : GetParam().values};

  const Frame input = make_case_frame(GetParam());
  Pixels results[2];
  for (int i = 0; i < 2; ++i) {
    Filter fresh(GetParam().filter->name);
    EXPECT_EQ(fresh.update(values[i]), "");
    results[i] = pixels_of(fresh.process(input.get()).get());
  }

  std::atomic<bool> done{false};
  const auto update = [&] {
    const Blob record = GetParam().filter->keeps_blob ? GetParam().filter->blob : Blob{};
    ErrorSlot error_of_record;
    for (unsigned i = 0; !done; ++i) {
      EXPECT_EQ(filter.update(values[i % 2]), "");
      filter.set_config_data(record.data(), record.size(), error_of_record);
      EXPECT_FALSE(error_of_record);
    }
  };
  std::thread updates[] = {std::thread(update), std::thread(update)};
  for (int i = 0; i < 100; ++i) {
    ErrorSlot error;
    const Frame output = filter.process(input, error);
    ASSERT_NE(output, nullptr) << error.text();
    const Pixels pixels = pixels_of(output.get());
    EXPECT_TRUE(pixels == results[0] || pixels == results[1] || GetParam().filter->remembers)
        << "a mixture of both";
  }
  done = true;
  for (std::thread& thread : updates)
    thread.join();
}

TEST_P(ConcurrencyTest, InstancesShareNothing) {
  REQUIRE_THREADS();
  const NoLeftovers no_leftovers;
  const Frame input = make_case_frame(GetParam());
  const auto run = [&input] {
    Filter filter(GetParam().filter->name);
    if (!GetParam().values.empty())
      filter.update(GetParam().values);
    Pixels pixels;
    for (int i = 0; i < 20; ++i)
      pixels = pixels_of(filter.process(input.get()).get());
    return pixels;
  };
  std::vector<Pixels> results(3); // of threads that are the first to use the registry
  std::vector<std::thread> threads;
  for (auto& result : results)
    threads.emplace_back([&run, &result] { result = run(); });
  for (auto& thread : threads)
    thread.join();
  const Pixels expected = run();
  for (const auto& result : results)
    EXPECT_EQ(result, expected);
}

} // namespace
