#include "filters/smoothing/hole_filling_kernels.h"

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;
using simd::Lanes;

void fill_from_top(Pixel* pixels, uint32_t width, uint32_t height) {
  if (height < 2)
    return;
  using V = Lanes<Pixel>;
  constexpr size_t step = simd::lane_count<V>;
  const size_t count = size_t{width} * (height - 1);
  const Pixel* above = pixels;
  Pixel* current = pixels + width;
  size_t i = 0;
  // One run over all rows, as long as no pixel of a vector stands above another of the same vector.
  if (width >= step) {
    for (; i + step <= count; i += step) {
      const V own = simd::load<V>(current + i);
      simd::store(current + i, own == 0 ? simd::load<V>(above + i) : own);
    }
  }
  for (; i < count; ++i)
    if (current[i] == 0)
      current[i] = above[i];
}

// `minimum` and `maximum` are one algorithm on keys: 0 is a hole, and the larger key wins. An order
// turns pixels into keys and keys into pixels.

struct MaximumOrder {
  template <typename V>
  [[gnu::always_inline]] static V key(V pixel) {
    return pixel;
  }
  template <typename V>
  [[gnu::always_inline]] static V pixel(V key) {
    return key;
  }
};

struct MinimumOrder {
  /// Negated: 0 stays a hole, and 65535 becomes one, which comes back as 0.
  template <typename V>
  [[gnu::always_inline]] static V key(V pixel) {
    return pixel == 65535 ? V{} : static_cast<V>(V{} - pixel);
  }
  template <typename V>
  [[gnu::always_inline]] static V pixel(V key) {
    return static_cast<V>(V{} - key);
  }
};

constexpr size_t group_size = 8;

template <typename V, size_t... I>
[[gnu::always_inline]] inline V inner_lanes(std::index_sequence<I...>) {
  return V{(I % group_size == 0 ? Pixel{0} : Pixel{0xffff})...}; // a loop is not always unrolled
}

/// Lanes whose pixel consults its upper and lower neighbours: all but the first of each group.
template <typename V>
[[gnu::always_inline]] inline V inner_lanes() {
  return inner_lanes<V>(std::make_index_sequence<simd::lane_count<V>>{});
}

/// What a run of lanes does with the key that enters it from the left: max(`key`, entering key), or
/// `key` alone in lanes where `closed` is all ones.
template <typename V>
struct Transfer {
  V key, closed;
};

/// Extends the transfer of each lane by that of the lane `Distance` below, and so on in doubled
/// steps, until lane i holds the transfer of all lanes from 0 to i.
template <size_t Distance, typename V>
[[gnu::always_inline]] inline Transfer<V> scanned(Transfer<V> lanes) {
  if constexpr (Distance < simd::lane_count<V>) {
    const V below = simd::move_up<Distance>(lanes.key);
    const V closed_below = simd::move_up<Distance>(lanes.closed);
    return scanned<2 * Distance>(
        Transfer<V>{simd::max(lanes.key, static_cast<V>(below & ~lanes.closed)),
                    static_cast<V>(lanes.closed | closed_below)});
  } else {
    return lanes;
  }
}

struct Row {
  const Pixel* above;
  Pixel* current;
  const Pixel* below;
};

/// Fills the pixels of a row from `x` on in vectors of `Bytes` and, once too few are left for one,
/// in ever shorter ones; `carried` is the key to the left of `x`. Returns the first pixel not
/// filled, which stands less than a group before `width`.
template <typename Order, size_t Bytes>
[[gnu::always_inline]] inline size_t fill_groups(const Row& row, size_t x, size_t width,
                                                 Pixel& carried) {
  using V = Lanes<Pixel, Bytes>;
  constexpr size_t step = simd::lane_count<V>;
  V entering = simd::broadcast<V>(carried);
  for (; x + step <= width; x += step) {
    const V own = Order::key(simd::load<V>(row.current + x));
    const V above = Order::key(simd::load<V>(row.above + x));
    const V below = Order::key(simd::load<V>(row.below + x));
    const auto hole = own == 0;
    const V vertical = simd::max(above, below) & inner_lanes<V>();
    const Transfer<V> run = scanned<1>(Transfer<V>{hole ? vertical : own, hole ? V{} : ~V{}});
    const V filled = simd::max(run.key, static_cast<V>(entering & ~run.closed));
    simd::store(row.current + x, Order::pixel(filled));
    entering = simd::broadcast<V>(filled[step - 1]);
  }
  carried = entering[0];
  if constexpr (step > group_size)
    return fill_groups<Order, Bytes / 2>(row, x, width, carried);
  return x;
}

template <typename Order>
void fill_row(const Row& row, size_t width) {
  Pixel carried = 0;
  const size_t rest = fill_groups<Order, simd::vector_bytes>(row, 0, width, carried);
  for (size_t x = rest; x < width; ++x) {
    Pixel key = Order::key(row.current[x]);
    if (key == 0) {
      const Pixel vertical = simd::max(Order::key(row.above[x]), Order::key(row.below[x]));
      key = x == rest ? carried : simd::max(vertical, carried);
    }
    row.current[x] = Order::pixel(key);
    carried = key;
  }
}

template <typename Order>
void fill_from_neighbours(Pixel* pixels, uint32_t width, uint32_t height) {
  if (width == 0) // of which there may be four billion rows
    return;
  for (size_t y = 1; y + 1 < height; ++y) {
    Pixel* row = pixels + y * width;
    fill_row<Order>(Row{row - width, row, row + width}, width);
  }
}

} // namespace

template <>
const HoleFillingKernels& HoleFillingKernels::at<simd::this_level>() {
  static constexpr HoleFillingKernels table{fill_from_top, fill_from_neighbours<MinimumOrder>,
                                            fill_from_neighbours<MaximumOrder>};
  return table;
}

} // namespace filter_processor
