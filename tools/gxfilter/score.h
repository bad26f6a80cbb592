// How near a filtered recording comes to the truth, in figures.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "recordings/image.h"

namespace gxfilter {

/// From which error on a depth is an outlier: beyond the larger of the two.
struct OutlierLimits {
  double millimetres = 50;
  double share = 0.05; ///< of the true depth: noise of stereo cameras grows with it

  double at(double true_depth) const;
};

/// Depth pixels with their unit.
struct DepthView {
  const recordings::Image& image;
  double unit; ///< millimetres
};

/// Sums over all frames. A pixel without data (0) is not valid; the compared pixels are those that
/// are valid in result and truth.
class Score {
 public:
  explicit Score(OutlierLimits limits) : limits_(limits) {}

  /// One frame. Images of another size than the result's are an error. `input`, the frame before
  /// filtering, may be null: it decides which pixels count as lost.
  recordings::Failure add(const DepthView& result, const DepthView& truth, const DepthView* input);

  uint64_t pixels = 0;
  uint64_t truth_valid = 0;
  uint64_t compared = 0;
  uint64_t outliers = 0; ///< compared pixels with an error beyond the limit
  uint64_t too_near = 0; ///< of these, those that lie before the truth: phantom obstacles
  uint64_t invented = 0; ///< valid in the result, not in the truth
  uint64_t lost = 0;     ///< of `losable`, those that the result does not have
  /// Pixels of the input that agree with the truth up to the limit; without an input, all pixels
  /// that are valid in the truth.
  uint64_t losable = 0;

  double root_mean_square_error() const; ///< millimetres, of the compared pixels; 0 without any
  /// The error that half of the compared pixels don't exceed, millimetres; 0 without any. To a
  /// tenth of the finest unit.
  double median_error() const;

 private:
  OutlierLimits limits_;
  double squares_ = 0;
  double resolution_ =
      0; ///< millimetres for a step of the counted errors; 0 before the first frame
  std::unordered_map<int64_t, uint64_t> errors_; ///< how often each occurred
};

} // namespace gxfilter
