#include "gxfilter/score.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace gxfilter {

using namespace recordings;

namespace {

Failure check_sizes(FrameSize result, FrameSize other, const char* whose) {
  if (result == other)
    return std::nullopt;
  return Error{fmt::format("{}x{} pixels, but {} {}x{}", result.width, result.height, whose,
                           other.width, other.height)};
}

} // namespace

double OutlierLimits::at(double true_depth) const {
  return std::max(millimetres, share * true_depth);
}

Failure Score::add(const DepthView& result, const DepthView& truth, const DepthView* input) {
  if (auto failure = check_sizes(result.image.size, truth.image.size, "the truth's are"))
    return failure;
  if (input != nullptr) {
    if (auto failure = check_sizes(result.image.size, input->image.size, "the input's are"))
      return failure;
  }
  if (resolution_ == 0)
    resolution_ = std::min(result.unit, truth.unit) / 10;
  for (size_t i = 0; i < result.image.pixels.size(); ++i) {
    const double measured = result.image.pixels[i] * result.unit;
    const double expected = truth.image.pixels[i] * truth.unit;
    const double limit = limits_.at(expected);
    ++pixels;
    truth_valid += expected != 0 ? 1U : 0U;
    invented += measured != 0 && expected == 0 ? 1U : 0U;
    bool could_be_lost = expected != 0;
    if (input != nullptr) {
      const double given = input->image.pixels[i] * input->unit;
      could_be_lost = could_be_lost && given != 0 && std::abs(given - expected) <= limit;
    }
    losable += could_be_lost ? 1U : 0U;
    lost += could_be_lost && measured == 0 ? 1U : 0U;
    if (measured == 0 || expected == 0)
      continue;
    const double error = std::abs(measured - expected);
    ++compared;
    outliers += error > limit ? 1U : 0U;
    too_near += error > limit && measured < expected ? 1U : 0U;
    squares_ += error * error;
    ++errors_[std::llround(error / resolution_)];
  }
  return std::nullopt;
}

double Score::root_mean_square_error() const {
  return compared == 0 ? 0 : std::sqrt(squares_ / static_cast<double>(compared));
}

double Score::median_error() const {
  std::vector<std::pair<int64_t, uint64_t>> sorted(errors_.begin(), errors_.end());
  std::ranges::sort(sorted);
  uint64_t below = 0;
  for (const auto& [error, count] : sorted) {
    below += count;
    if (2 * below >= compared)
      return static_cast<double>(error) * resolution_;
  }
  return 0;
}

} // namespace gxfilter
