#include "filters/smoothing/spatial_advanced_kernels.h"

#include "filters/smoothing/depth_bins-inl.h"
#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;
using simd::Lanes;

constexpr size_t group_size = 8;
constexpr size_t group_bytes = group_size * sizeof(Pixel);

template <typename V>
using SignedOf = Lanes<int16_t, sizeof(V)>;

template <typename V>
[[gnu::always_inline]] inline SignedOf<V> as_signed(V lanes) {
  return reinterpret_cast<SignedOf<V>>(lanes);
}

/// All ones in the lanes whose pixel is valid.
template <typename V>
[[gnu::always_inline]] inline V valid(V pixels) {
  return reinterpret_cast<V>(as_signed(pixels) > 0);
}

/// Differences of valid pixels lie below this, so larger limits allow no more of them.
constexpr Pixel largest_limit = 32767;

/// Differences in the lanes of `d` must be below the limit: one comparison for both signs, made
/// with pixels moved by half the value range because all levels compare signed numbers only.
template <typename V>
class Limit {
 public:
  /// At most largest_limit; 0 allows no difference at all.
  [[gnu::always_inline]] explicit Limit(V limit)
      : limit_(limit), size_((limit + limit - 1 - reinterpret_cast<V>(limit == 0)) ^ half) {}

  /// All ones where `before` is close enough to `pixel` and `both_valid` is set. The work on
  /// `pixel` is apart from the recursion's chain from pixel to pixel.
  [[gnu::always_inline]] V allows(V before, V pixel, V both_valid) const {
    const V lowest = pixel - limit_ + static_cast<Pixel>(half + 1);
    const V size = both_valid != 0 ? size_ : simd::broadcast<V>(half);
    return reinterpret_cast<V>(as_signed(static_cast<V>(before - lowest)) < as_signed(size));
  }

 private:
  static constexpr Pixel half = 0x8000;
  V limit_, size_;
};

/// The mean of two valid pixels where `close` is set, else `pixel`.
template <typename V>
[[gnu::always_inline]] inline V averaged(V pixel, V before, V close) {
  const auto half_way = as_signed(static_cast<V>(before - pixel)) >> 1;
  return pixel + (reinterpret_cast<V>(half_way) & close);
}

// Where the limits come from; exclusive ones.

class FixedLimit {
 public:
  explicit FixedLimit(Pixel limit) : limit_(simd::min(limit, largest_limit)) {}

  template <typename V>
  [[gnu::always_inline]] Limit<V> of(V /*pixels*/) const {
    return Limit<V>(simd::broadcast<V>(limit_));
  }

 private:
  Pixel limit_;
};

class TableLimits {
 public:
  /// The limits are the table's entries plus `increment`, modulo 2^16.
  TableLimits(const Pixel* entries, Pixel increment) : limits_(limited(entries, increment)) {}

  template <typename V>
  [[gnu::always_inline]] Limit<V> of(V pixels) const {
    const auto lanes = std::make_index_sequence<simd::lane_count<V>>{};
    const V bins = DepthBins::bins_of(first_halves(pixels, lanes), 1);
    // Valid pixels are rarely as small as the inner bins.
    return Limit<V>(limits_.look_up_outer(bins) & even_lanes<V>(lanes));
  }

 private:
  static DepthBins limited(const Pixel* entries, Pixel increment) {
    Pixel limits[DepthBins::count];
    for (size_t i = 0; i < DepthBins::count; ++i)
      limits[i] = simd::min(static_cast<Pixel>(entries[i] + increment), largest_limit);
    return DepthBins(limits);
  }

  /// Lanes 0, 0, 1, 1, 2, 2, 3, 3 of each group of eight.
  template <typename V, size_t... I>
  [[gnu::always_inline]] static V first_halves(V lanes, std::index_sequence<I...>) {
    return __builtin_shufflevector(
        lanes, lanes, static_cast<int>(I / group_size * group_size + I % group_size / 2)...);
  }
  template <typename V, size_t... I>
  [[gnu::always_inline]] static V even_lanes(std::index_sequence<I...>) {
    return V{static_cast<Pixel>(I % 2 == 0 ? 0xffff : 0)...};
  }

  DepthBins limits_;
};

// ---- columns ----

/// Averages the pixels of `row` from column `x` on with those of the row `before`, as many as fill
/// vectors of `Bytes` or, once too few are left, shorter ones.
template <size_t Bytes, typename Limits>
[[gnu::always_inline]] inline void average_with(const Pixel* before, Pixel* row, size_t x,
                                                size_t width, const Limits& limits) {
  using V = Lanes<Pixel, Bytes>;
  constexpr size_t step = simd::lane_count<V>;
  for (; x + step <= width; x += step) {
    const V pixel = simd::load<V>(row + x);
    const V previous = simd::load<V>(before + x);
    const V both_valid = valid(pixel) & valid(previous);
    const V close = limits.of(pixel).allows(previous, pixel, both_valid);
    simd::store(row + x, averaged(pixel, previous, close));
  }
  if constexpr (step > group_size)
    average_with<Bytes / 2>(before, row, x, width, limits);
}

template <typename Limits>
void smooth_columns(const PixelGrid& image, const Limits& limits) {
  const size_t width = image.width;
  for (size_t y = 1; y < image.height; ++y) {
    Pixel* row = image.pixels + y * width;
    average_with<simd::vector_bytes>(row - width, row, 0, width, limits);
  }
  for (size_t y = image.height; y-- > 1;) {
    Pixel* row = image.pixels + y * width;
    average_with<simd::vector_bytes>(row, row - width, 0, width, limits);
  }
}

// ---- rows ----
//
// A strip holds as many rows as a vector has lanes (or a few times as many), column by column, so
// that a step along the rows is one vector operation.

/// `a` followed by `b`.
template <typename V, size_t... I>
[[gnu::always_inline]] inline Lanes<Pixel, 2 * sizeof(V)> joined(V a, V b,
                                                                 std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, static_cast<int>(I)...);
}

/// Eight columns of row 0 and of every eighth row below it, side by side.
template <typename V>
[[gnu::always_inline]] inline V load_every_eighth(const Pixel* row, size_t width) {
  if constexpr (sizeof(V) == group_bytes) {
    return simd::load<V>(row);
  } else {
    using Half = Lanes<Pixel, sizeof(V) / 2>;
    const auto below = row + simd::lane_count<Half> * width;
    return joined(load_every_eighth<Half>(row, width), load_every_eighth<Half>(below, width),
                  std::make_index_sequence<simd::lane_count<V>>{});
  }
}

template <typename V>
[[gnu::always_inline]] inline void store_every_eighth(Pixel* row, size_t width, V lanes) {
  Pixel pixels[simd::lane_count<V>];
  simd::store(pixels, lanes);
  for (size_t i = 0; i < simd::lane_count<V>; i += group_size)
    __builtin_memcpy(row + i * width, pixels + i, group_bytes);
}

/// The first (or, with `Part` 4, the last) four lanes of each group of `a` and `b`, alternating.
template <int Part, typename V, size_t... I>
[[gnu::always_inline]] inline V interleaved(V a, V b, std::index_sequence<I...>) {
  constexpr int count = static_cast<int>(sizeof...(I));
  return __builtin_shufflevector(
      a, b,
      static_cast<int>(I / group_size * group_size + I % group_size / 2) + Part +
          (I % 2 == 0 ? 0 : count)...);
}

/// Transposes the 8 x 8 pixels that the vectors have in each group of lanes: three rounds of
/// interleaving a vector of the first half with its counterpart in the second.
template <typename V>
[[gnu::always_inline]] inline void transpose(V (&vectors)[group_size]) {
  constexpr auto lanes = std::make_index_sequence<simd::lane_count<V>>{};
  for (int round = 0; round < 3; ++round) {
    V mixed[group_size];
    for (size_t i = 0; i < group_size / 2; ++i) {
      mixed[2 * i] = interleaved<0>(vectors[i], vectors[i + group_size / 2], lanes);
      mixed[2 * i + 1] = interleaved<4>(vectors[i], vectors[i + group_size / 2], lanes);
    }
    for (size_t i = 0; i < group_size; ++i)
      vectors[i] = mixed[i];
  }
}

/// The rows from `rows` on, as many as `V` has lanes, and their place in a strip: `column(x)` is a
/// vector.
template <typename V, size_t Vectors>
struct Strip {
  static constexpr size_t lanes = simd::lane_count<V>;
  static constexpr size_t rows = Vectors * lanes;

  Pixel* image;
  size_t width;
  Pixel* columns;

  Pixel* column(size_t x, size_t vector) const { return columns + x * rows + vector * lanes; }

  void gather() const {
    for (size_t v = 0; v < Vectors; ++v) {
      Pixel* first = image + v * lanes * width;
      size_t x = 0;
      for (; x + tile_width <= width; x += tile_width) {
        Pixel tile[lanes * tile_width];
        for (size_t i = 0; i < lanes; ++i)
          __builtin_memcpy(tile + i * tile_width, first + i * width + x, tile_bytes);
        for (size_t i = 0; i < tile_width; i += group_size)
          gather_group(tile + i, tile_width, x + i, v);
      }
      for (; x + group_size <= width; x += group_size)
        gather_group(first + x, width, x, v);
      for (; x < width; ++x)
        for (size_t i = 0; i < lanes; ++i)
          column(x, v)[i] = first[i * width + x];
    }
  }

  void scatter() const {
    for (size_t v = 0; v < Vectors; ++v) {
      Pixel* first = image + v * lanes * width;
      size_t x = 0;
      for (; x + tile_width <= width; x += tile_width) {
        Pixel tile[lanes * tile_width];
        for (size_t i = 0; i < tile_width; i += group_size)
          scatter_group(tile + i, tile_width, x + i, v);
        for (size_t i = 0; i < lanes; ++i)
          __builtin_memcpy(first + i * width + x, tile + i * tile_width, tile_bytes);
      }
      for (; x + group_size <= width; x += group_size)
        scatter_group(first + x, width, x, v);
      for (; x < width; ++x)
        for (size_t i = 0; i < lanes; ++i)
          first[i * width + x] = column(x, v)[i];
    }
  }

 private:
  /// Rows are copied a cache line at a time: where rows lie a multiple of 4 KiB apart, the lines of
  /// all rows compete for a few places in the cache, and none would stay for a second visit.
  static constexpr size_t tile_bytes = 64;
  static constexpr size_t tile_width = tile_bytes / sizeof(Pixel);

  /// Columns `x` to x + 7 of the strip from rows that lie `stride` pixels apart.
  void gather_group(const Pixel* from, size_t stride, size_t x, size_t v) const {
    V block[group_size];
    for (size_t i = 0; i < group_size; ++i)
      block[i] = load_every_eighth<V>(from + i * stride, stride);
    transpose(block);
    for (size_t i = 0; i < group_size; ++i)
      simd::store(column(x + i, v), block[i]);
  }

  void scatter_group(Pixel* to, size_t stride, size_t x, size_t v) const {
    V block[group_size];
    for (size_t i = 0; i < group_size; ++i)
      block[i] = simd::load<V>(column(x + i, v));
    transpose(block);
    for (size_t i = 0; i < group_size; ++i)
      store_every_eighth(to + i * stride, stride, block[i]);
  }
};

/// A walk along rows that fills no holes.
template <typename V>
struct Walk {
  V before, before_valid;

  [[gnu::always_inline]] Walk(V first, Pixel /*radius*/)
      : before(first), before_valid(valid(first)) {}

  template <typename Limits>
  [[gnu::always_inline]] V step(V pixel, const Limits& limits) {
    const V pixel_valid = valid(pixel); // and so is its mean with a valid pixel
    const V close = limits.of(pixel).allows(before, pixel, pixel_valid & before_valid);
    before = averaged(pixel, before, close);
    before_valid = pixel_valid;
    return before;
  }
};

/// A walk that fills the holes of short runs.
template <typename V>
struct FillingWalk {
  V before, before_valid;
  V radius;
  V left; ///< the radius less the holes counted; a hole is filled while that leaves more than 0

  [[gnu::always_inline]] FillingWalk(V first, Pixel hole_radius)
      : before(first), before_valid(valid(first)), radius(simd::broadcast<V>(hole_radius)),
        left(radius) {}

  template <typename Limits>
  [[gnu::always_inline]] V step(V pixel, const Limits& limits) {
    const V pixel_valid = valid(pixel);
    const V both_valid = pixel_valid & before_valid;
    const V close = limits.of(pixel).allows(before, pixel, both_valid);
    left = both_valid != 0 ? radius : left;
    const V enough_left = reinterpret_cast<V>(as_signed(left) > 1);
    const V filled = before_valid & ~pixel_valid & enough_left;
    left += filled; // a hole beyond the radius need not be counted: none is filled until a reset
    before = filled != 0 ? before : averaged(pixel, before, close);
    before_valid = pixel_valid | filled;
    return before;
  }
};

template <typename Walks, size_t Vectors, typename V, typename Limits>
[[gnu::always_inline]] inline void walk(const Strip<V, Vectors>& strip, size_t start, size_t steps,
                                        ptrdiff_t direction, Pixel radius, const Limits& limits) {
  static_assert(Vectors == 1 || Vectors == 2);
  Pixel* at = strip.column(start, 0);
  Walks first(simd::load<V>(at), radius);
  Walks second(simd::load<V>(at + (Vectors - 1) * strip.lanes), radius);
  for (; steps > 0; --steps) {
    at += direction * static_cast<ptrdiff_t>(strip.rows);
    simd::store(at, first.step(simd::load<V>(at), limits));
    if constexpr (Vectors == 2)
      simd::store(at + strip.lanes, second.step(simd::load<V>(at + strip.lanes), limits));
  }
}

/// Smooths the rows from `y` on, `Vectors` vectors of `Bytes` at a time as long as so many are
/// left, then fewer.
template <template <typename> typename Walks, size_t Bytes, size_t Vectors, typename Limits>
void smooth_blocks(const PixelGrid& image, size_t y, Pixel radius, const Limits& limits,
                   Pixel* columns) {
  using V = Lanes<Pixel, Bytes>;
  constexpr size_t rows = Strip<V, Vectors>::rows;
  static_assert(rows <= SpatialAdvancedKernels::strip_rows);
  const size_t width = image.width;
  for (; y + rows <= image.height; y += rows) {
    const Strip<V, Vectors> strip{image.pixels + y * width, width, columns};
    strip.gather();
    walk<Walks<V>>(strip, 0, width - 2, 1, radius, limits);
    walk<Walks<V>>(strip, width - 1, width - 1, -1, radius, limits);
    strip.scatter();
  }
  if constexpr (Vectors > 1)
    smooth_blocks<Walks, Bytes, 1>(image, y, radius, limits, columns);
  else if constexpr (Bytes > group_bytes)
    smooth_blocks<Walks, Bytes / 2, 1>(image, y, radius, limits, columns);
}

template <typename Limits>
void smooth_rows(const PixelGrid& image, const Limits& limits, Pixel radius, Pixel* strip) {
  if (image.width <= 2)
    return;
  // The count is raised before it is compared, so that a radius of 1 fills nothing either.
  if (radius <= 1)
    smooth_blocks<Walk, simd::vector_bytes, 2>(image, 0, radius, limits, strip);
  else
    smooth_blocks<FillingWalk, simd::vector_bytes, 2>(image, 0, radius, limits, strip);
}

// Along rows, a difference equal to the threshold passes: the limit is one above.

void smooth_rows_fixed(const PixelGrid& image, Pixel threshold, uint8_t radius, Pixel* strip) {
  smooth_rows(image, FixedLimit(static_cast<Pixel>(threshold + 1)), radius, strip);
}

void smooth_columns_fixed(const PixelGrid& image, Pixel threshold) {
  smooth_columns(image, FixedLimit(threshold));
}

void smooth_rows_table(const PixelGrid& image, const Pixel* thresholds, uint8_t radius,
                       Pixel* strip) {
  smooth_rows(image, TableLimits(thresholds, 1), radius, strip);
}

void smooth_columns_table(const PixelGrid& image, const Pixel* thresholds) {
  smooth_columns(image, TableLimits(thresholds, 0));
}

} // namespace

template <>
const SpatialAdvancedKernels& SpatialAdvancedKernels::at<simd::this_level>() {
  static constexpr SpatialAdvancedKernels table{smooth_rows_fixed, smooth_columns_fixed,
                                                smooth_rows_table, smooth_columns_table};
  return table;
}

} // namespace filter_processor
