#include "filters/noise/false_positive/join_kernels.h"

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using simd::Lanes;
using Pixel = uint16_t;
using State = uint8_t;

constexpr Pixel bit(int position) {
  return static_cast<Pixel>(1U << position);
}

/// Depths less 32768, so that signed comparisons order them: SSE2 and AVX2 have no others.
template <size_t Bytes>
using Ordered = Lanes<int16_t, Bytes>;

constexpr Pixel order_offset = 0x8000;

template <size_t Bytes>
Ordered<Bytes> order(Lanes<Pixel, Bytes> depths) {
  return (Ordered<Bytes>)(depths ^ order_offset);
}

/// The thresholds with all their numbers in every lane.
template <size_t Bytes>
class ThresholdLanes {
 public:
  using Depths = Lanes<Pixel, Bytes>;

  explicit ThresholdLanes(const JoinThresholds& thresholds)
      : first_(simd::broadcast<Depths>(thresholds.first)), steps_(thresholds.steps),
        invalid_depth_(simd::broadcast<Depths>(thresholds.invalid_depth)) {
    for (uint32_t i = 0; i < steps_; ++i) {
      const auto before = static_cast<Pixel>(thresholds.depth[i] - 1);
      before_[i] = order<Bytes>(simd::broadcast<Depths>(before));
      rise_[i] = simd::broadcast<Depths>(thresholds.rise[i]);
    }
  }

  Depths of(Depths depth) const {
    const Ordered<Bytes> ordered = order<Bytes>(depth);
    Depths threshold = first_;
    for (uint32_t i = 0; i < steps_; ++i)
      threshold += (Depths)(ordered > before_[i]) & rise_[i];
    return threshold;
  }

  Depths is_invalid(Depths depth) const { return (Depths)(depth == invalid_depth_); }

 private:
  Depths first_;
  uint32_t steps_;
  Depths invalid_depth_;
  Ordered<Bytes> before_[JoinThresholds::max_steps];
  Depths rise_[JoinThresholds::max_steps];
};

/// What the neighbours of some pixels must be to join them.
template <size_t Bytes>
struct JoinRange {
  using Depths = Lanes<Pixel, Bytes>;

  Ordered<Bytes> lowest, highest;

  JoinRange(Depths depth, Depths threshold) {
    const Ordered<Bytes> ordered = order<Bytes>(depth);
    const Depths down = depth - threshold;
    const Depths up = depth + threshold;
    const auto underflow = (Depths)(order<Bytes>(down) > ordered);
    const auto overflow = (Depths)(order<Bytes>(up) < ordered);
    lowest = order<Bytes>(down & ~underflow);
    highest = order<Bytes>(up | overflow);
  }

  /// The bit at `position` where the neighbour joins.
  Depths bits(const Pixel* neighbours, int position) const {
    const Ordered<Bytes> depth = order<Bytes>(simd::load<Depths>(neighbours));
    return ~(Depths)((depth < lowest) | (depth > highest)) & bit(position);
  }
};

/// A row and its neighbours. Where there is no neighbour the pixel itself stands for it, and
/// `present` lacks its bit.
struct Row {
  const Pixel *depth, *below, *above;
  Pixel present;
};

/// The pixels from `x` on; `left` and `right` are the distances to their neighbours.
template <size_t Bytes>
void find_at(const Row& row, uint32_t x, uint32_t left, uint32_t right, Pixel present,
             const ThresholdLanes<Bytes>& thresholds, State* states) {
  using Depths = Lanes<Pixel, Bytes>;
  using Packed = Lanes<State, Bytes / 2>;
  const Pixel* depth = row.depth + x;
  const auto own = simd::load<Depths>(depth);
  const JoinRange<Bytes> range(own, thresholds.of(own));
  const Depths joins =
      range.bits(row.below + x, state_bit::below) | range.bits(row.above + x, state_bit::above) |
      range.bits(depth + right, state_bit::right) | range.bits(depth - left, state_bit::left);
  const Depths taken = thresholds.is_invalid(own) & bit(state_bit::claimed);
  simd::store(states + x, __builtin_convertvector((joins & present) | taken, Packed));
}

class StateFinder {
 public:
  explicit StateFinder(const JoinThresholds& thresholds) : wide_(thresholds), single_(thresholds) {}

  void find_row(const Row& row, uint32_t width, State* states) const {
    constexpr uint32_t lanes = wide_bytes / sizeof(Pixel);
    const uint32_t last = width - 1;
    find_end(row, 0, width, states);
    find_end(row, last, width, states);
    if (last <= lanes) {
      for (uint32_t x = 1; x < last; ++x)
        find_at(row, x, 1, 1, row.present, single_, states);
      return;
    }
    for (uint32_t x = 1; x < last - lanes; x += lanes)
      find_at(row, x, 1, 1, row.present, wide_, states);
    find_at(row, last - lanes, 1, 1, row.present, wide_, states);
  }

 private:
  static constexpr size_t wide_bytes = simd::vector_bytes;
  static constexpr size_t single_bytes = sizeof(Pixel);

  /// The first or last column.
  void find_end(const Row& row, uint32_t x, uint32_t width, State* states) const {
    const uint32_t left = x > 0 ? 1 : 0;
    const uint32_t right = x + 1 < width ? 1 : 0;
    const unsigned absent =
        (left == 0 ? bit(state_bit::left) : 0U) | (right == 0 ? bit(state_bit::right) : 0U);
    find_at(row, x, left, right, static_cast<Pixel>(row.present & ~absent), single_, states);
  }

  ThresholdLanes<wide_bytes> wide_;
  ThresholdLanes<single_bytes> single_;
};

void find_states(const Pixel* image, uint32_t width, uint32_t height,
                 const JoinThresholds& thresholds, State* states) {
  const StateFinder finder(thresholds);
  for (uint32_t y = 0; y < height; ++y) {
    const size_t first = size_t{y} * width;
    const Pixel* depth = image + first;
    const bool has_above = y > 0;
    const bool has_below = y + 1 < height;
    const unsigned absent =
        (has_above ? 0U : bit(state_bit::above)) | (has_below ? 0U : bit(state_bit::below));
    const Row row{depth, has_below ? depth + width : depth, has_above ? depth - width : depth,
                  static_cast<Pixel>(~absent)};
    finder.find_row(row, width, states + first);
  }
}

} // namespace

template <>
const JoinKernels& JoinKernels::at<simd::this_level>() {
  static constexpr JoinKernels table{find_states};
  return table;
}

} // namespace filter_processor
