#include "filters/noise/false_positive_joins.h"

#include "simd/lanes.h"

namespace filter_processor {
namespace {

using simd::Lanes;
using Pixel = std::uint16_t;
using State = std::uint8_t;

constexpr Pixel bit(int position) {
  return static_cast<Pixel>(1U << position);
}

/// Depths less 32768, so that signed comparisons order them: SSE2 and AVX2 have no others.
template <std::size_t Bytes>
using Ordered = Lanes<std::int16_t, Bytes>;

constexpr Pixel order_offset = 0x8000;

template <std::size_t Bytes>
struct RowLanes {
  using Depths = Lanes<Pixel, Bytes>;

  static Ordered<Bytes> ordered(Depths depths) { return (Ordered<Bytes>)(depths ^ order_offset); }
  static Ordered<Bytes> load(const Pixel* from) { return ordered(simd::load<Depths>(from)); }
};

/// What the neighbours of some pixels must be to join them.
template <std::size_t Bytes>
struct JoinRange {
  using Depths = Lanes<Pixel, Bytes>;

  Ordered<Bytes> lowest, highest;

  JoinRange(Depths depth, const JoinThresholds& thresholds) {
    const auto ordered = RowLanes<Bytes>::ordered(depth);
    Depths threshold = simd::broadcast<Depths>(thresholds.first);
    for (std::uint32_t i = 0; i < thresholds.steps; ++i) {
      const auto before = static_cast<std::int16_t>((thresholds.depth[i] - 1) ^ order_offset);
      threshold += (Depths)(ordered > before) & thresholds.rise[i];
    }
    const Depths down = depth - threshold;
    const Depths up = depth + threshold;
    lowest = RowLanes<Bytes>::ordered(
        down & (Depths)(RowLanes<Bytes>::ordered(down) <= ordered)); // 0 after an underflow
    highest = RowLanes<Bytes>::ordered(up | (Depths)(RowLanes<Bytes>::ordered(up) < ordered));
  }

  /// The bit at `position` where the neighbour joins.
  Depths bits(const Pixel* neighbours, int position) const {
    const auto depth = RowLanes<Bytes>::load(neighbours);
    return (Depths)((depth >= lowest) & (depth <= highest)) & bit(position);
  }
};

/// A row and its neighbours. Where there is no neighbour the pixel itself stands for it, and
/// `present` lacks its bit.
struct Row {
  const Pixel *depth, *below, *above;
  Pixel present;
};

/// The pixels from `x` on; `left` and `right` are the distances to their neighbours.
template <std::size_t Bytes>
void find_at(const Row& row, std::uint32_t x, std::uint32_t left, std::uint32_t right,
             Pixel present, const JoinThresholds& thresholds, State* states) {
  using Depths = Lanes<Pixel, Bytes>;
  const Pixel* depth = row.depth + x;
  const auto own = simd::load<Depths>(depth);
  const JoinRange<Bytes> range(own, thresholds);
  const auto taken = (Depths)(own == thresholds.invalid_depth) & bit(growth_bit::claimed);
  const Depths joins =
      range.bits(row.below + x, growth_bit::below) | range.bits(row.above + x, growth_bit::above) |
      range.bits(depth + right, growth_bit::right) | range.bits(depth - left, growth_bit::left);
  using Packed = Lanes<State, Bytes / 2>;
  simd::store(states + x, __builtin_convertvector((joins & present) | taken, Packed));
}

void find_in_row(const Row& row, std::uint32_t width, const JoinThresholds& thresholds,
                 State* states) {
  constexpr std::size_t wide = simd::vector_bytes;
  constexpr std::size_t one = sizeof(Pixel);
  constexpr std::uint32_t lanes = wide / sizeof(Pixel);
  const std::uint32_t last = width - 1;
  const auto without_left = static_cast<Pixel>(row.present & ~bit(growth_bit::left));
  const auto without_right = static_cast<Pixel>(~bit(growth_bit::right));
  if (last == 0) {
    find_at<one>(row, 0, 0, 0, without_left & without_right, thresholds, states);
    return;
  }
  find_at<one>(row, 0, 0, 1, without_left, thresholds, states);
  find_at<one>(row, last, 1, 0, row.present & without_right, thresholds, states);
  if (last <= lanes) {
    for (std::uint32_t x = 1; x < last; ++x)
      find_at<one>(row, x, 1, 1, row.present, thresholds, states);
    return;
  }
  for (std::uint32_t x = 1; x < last - lanes; x += lanes)
    find_at<wide>(row, x, 1, 1, row.present, thresholds, states);
  find_at<wide>(row, last - lanes, 1, 1, row.present, thresholds, states);
}

void find_joins(const Pixel* image, std::uint32_t width, std::uint32_t height,
                const JoinThresholds& thresholds, State* states) {
  for (std::uint32_t y = 0; y < height; ++y) {
    const std::size_t first = std::size_t{y} * width;
    const Pixel* depth = image + first;
    Row row{depth, depth + width, depth - width, static_cast<Pixel>(~0U)};
    if (y == 0) {
      row.above = depth;
      row.present &= static_cast<Pixel>(~bit(growth_bit::above));
    }
    if (y + 1 == height) {
      row.below = depth;
      row.present &= static_cast<Pixel>(~bit(growth_bit::below));
    }
    find_in_row(row, width, thresholds, states + first);
  }
}

} // namespace

template <>
const JoinKernels& JoinKernels::at<simd::this_level>() {
  static constexpr JoinKernels table{find_joins};
  return table;
}

} // namespace filter_processor
