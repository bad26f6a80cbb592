#pragma once

// Random sequences of updates, resets and frames that compare a filter with a model of it.

#include <functional>

#include "support/camera_frame.h"
#include "support/filter.h"
#include "support/random.h"

namespace test {

/// Drives a new filter and its model through the same calls, and counts the frames that were
/// changed. A model has
///   void configure(Filter&, Random&);     updates both to random values, if there are any
///   void reset();
///   CameraFrame frame(Random&);           the next one, perhaps like the one before
///   Pixels process(const CameraFrame&, std::string& error);
/// `check` looks at the frames that come out.
template <typename Model>
int follow(
    const std::string& filter_name, Model& model, int steps, Random& random,
    const std::function<void(gx_frame*)>& check = [](gx_frame*) {}) {
  const NoLeftovers no_leftovers;
  Filter filter(filter_name);
  int changed = 0;
  for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
    const auto action = random() % 12;
    if (action == 0) {
      filter.reset();
      model.reset();
    } else if (action < 4) {
      model.configure(filter, random);
    }
    const CameraFrame input = model.frame(random);
    std::string error;
    const Pixels expected = model.process(input, error);
    const Outcome outcome = filter.outcome(input.make());
    SCOPED_TRACE(std::to_string(step) + " " + outcome.level);
    EXPECT_EQ(outcome.error, error);
    // What the kernels report is not traced.
    const bool traced = error.find("::filter_process") == std::string::npos;
    EXPECT_EQ(outcome.printed, traced ? outcome.trace : "");
    EXPECT_EQ(outcome.pixels, expected) << input.width << "x" << input.height;
    if (outcome.frame != nullptr)
      check(outcome.frame.get());
    changed += !expected.empty() && expected != input.pixels;
  }
  return changed;
}

} // namespace test
