#include "filters/noise/false_positive_neighbours.h"

#include "simd/lanes.h"

namespace filter_processor {
namespace {

namespace code = neighbour_code;
using simd::Lanes;
using Pixel = std::uint16_t;

/// The pixels from one place on and their neighbours, lane by lane.
template <typename V>
struct Neighbourhood {
  V depth, below, above, right, left;
};

template <typename V>
V threshold_of(V depth, const JoinThresholds& thresholds) {
  V threshold = simd::broadcast<V>(thresholds.first);
  for (std::uint32_t i = 0; i < thresholds.steps; ++i)
    threshold += (V)(depth >= thresholds.depth[i]) & thresholds.rise[i];
  return threshold;
}

/// All-ones lanes where the statement holds.
template <typename V>
struct Relation {
  V invalid, apart;

  Relation(V depth, V neighbour, V threshold, Pixel invalid_depth)
      : invalid((V)(neighbour == invalid_depth)),
        apart((V)(simd::max(depth, neighbour) - simd::min(depth, neighbour) > threshold)) {}
  V boundary() const { return invalid | apart; }
};

/// The codes; the joins of neighbours outside the image are to be masked off with `present`.
template <typename V>
V encode_lanes(const Neighbourhood<V>& near, const JoinThresholds& thresholds, Pixel present) {
  const V threshold = threshold_of(near.depth, thresholds);
  const Pixel invalid_depth = thresholds.invalid_depth;
  const Relation<V> below(near.depth, near.below, threshold, invalid_depth);
  const Relation<V> above(near.depth, near.above, threshold, invalid_depth);
  const Relation<V> right(near.depth, near.right, threshold, invalid_depth);
  const Relation<V> left(near.depth, near.left, threshold, invalid_depth);

  const V joins = (~below.boundary() & code::joins_below) |
                  (~above.boundary() & code::joins_above) |
                  (~right.boundary() & code::joins_right) | (~left.boundary() & code::joins_left);
  // An all-ones lane is -1.
  const V boundaries = -(below.boundary() + above.boundary() + right.boundary() + left.boundary());
  const V invalids = -(below.invalid + above.invalid + right.invalid + left.invalid);

  constexpr Pixel third = 65535 / 3; // no 16-bit difference exceeds three times a larger threshold
  const V triple = threshold * Pixel{3} | (V)(threshold > third);
  const V farther = below.apart & (V)(near.below > near.depth);
  const V much_nearer = (V)(near.depth > near.below) & (V)(near.depth - near.below > triple);
  const V strong = below.invalid | farther | much_nearer;

  return (joins & present) | (boundaries << code::boundary_shift) |
         (invalids << code::invalid_shift) | (above.invalid & code::invalid_above) |
         (below.boundary() & code::step_below) | (strong & code::strong_step_below);
}

/// A row and its neighbours. Where there is no neighbour the pixel itself stands for it, which is
/// never an event.
struct Row {
  const Pixel *depth, *below, *above;
  std::uint32_t width;
  Pixel present;
};

template <typename V>
void encode_at(const Row& row, std::uint32_t x, const JoinThresholds& thresholds, Pixel* codes) {
  const Pixel* depth = row.depth + x;
  const Neighbourhood<V> near{simd::load<V>(depth), simd::load<V>(row.below + x),
                              simd::load<V>(row.above + x), simd::load<V>(depth + 1),
                              simd::load<V>(depth - 1)};
  simd::store(codes + x, encode_lanes(near, thresholds, row.present));
}

/// The first or last column.
void encode_end(const Row& row, std::uint32_t x, const JoinThresholds& thresholds, Pixel* codes) {
  using V = Lanes<Pixel, sizeof(Pixel)>;
  const bool has_right = x + 1 < row.width;
  const bool has_left = x > 0;
  const Pixel* depth = row.depth + x;
  const Neighbourhood<V> near{simd::load<V>(depth), simd::load<V>(row.below + x),
                              simd::load<V>(row.above + x), simd::load<V>(depth + has_right),
                              simd::load<V>(depth - has_left)};
  const unsigned absent = (has_right ? 0U : code::joins_right) | (has_left ? 0U : code::joins_left);
  const V codes_here = encode_lanes(near, thresholds, static_cast<Pixel>(row.present & ~absent));
  simd::store(codes + x, codes_here);
}

void encode_row(const Row& row, const JoinThresholds& thresholds, Pixel* codes) {
  using Wide = Lanes<Pixel>;
  using One = Lanes<Pixel, sizeof(Pixel)>;
  constexpr std::uint32_t lanes = simd::lane_count<Wide>;
  const std::uint32_t last = row.width - 1;
  encode_end(row, 0, thresholds, codes);
  encode_end(row, last, thresholds, codes);
  if (last <= lanes) {
    for (std::uint32_t x = 1; x < last; ++x)
      encode_at<One>(row, x, thresholds, codes);
    return;
  }
  for (std::uint32_t x = 1; x < last - lanes; x += lanes)
    encode_at<Wide>(row, x, thresholds, codes);
  encode_at<Wide>(row, last - lanes, thresholds, codes);
}

void encode_image(const Pixel* image, std::uint32_t width, std::uint32_t height,
                  const JoinThresholds& thresholds, Pixel* codes) {
  constexpr unsigned all =
      code::joins_below | code::joins_above | code::joins_right | code::joins_left;
  for (std::uint32_t y = 0; y < height; ++y) {
    const std::size_t first = std::size_t{y} * width;
    const Pixel* depth = image + first;
    const bool has_below = y + 1 < height;
    const bool has_above = y > 0;
    const unsigned absent =
        (has_below ? 0U : code::joins_below) | (has_above ? 0U : code::joins_above);
    const Row row{depth, has_below ? depth + width : depth, has_above ? depth - width : depth,
                  width, static_cast<Pixel>(all & ~absent)};
    encode_row(row, thresholds, codes + first);
  }
}

} // namespace

template <>
const NeighbourKernels& NeighbourKernels::at<simd::this_level>() {
  static constexpr NeighbourKernels table{encode_image};
  return table;
}

} // namespace filter_processor
