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

/// A hole that no pixel below `plain_end` differs from, modulo 2^16, by less than the limit below.
/// From the pixel `plain_end` it differs by -32768, which has no absolute value.
constexpr Pixel far_hole = 0xc000;
constexpr Pixel plain_end = 0x4000;
constexpr Pixel largest_plain_limit = 0x4000;

/// The absolute values of signed numbers.
template <typename V>
[[gnu::always_inline]] inline SignedOf<V> magnitudes(V differences) {
#if defined(__AVX512BW__)
  if constexpr (sizeof(V) == 64)
    return (SignedOf<V>)_mm512_abs_epi16((__m512i)differences);
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32)
    return (SignedOf<V>)_mm256_abs_epi16((__m256i)differences);
#endif
#if defined(__SSSE3__)
  if constexpr (sizeof(V) == 16)
    return (SignedOf<V>)_mm_abs_epi16((__m128i)differences);
#endif
  return simd::max(as_signed(differences), as_signed(static_cast<V>(V{} - differences)));
}

/// The mean of two pixels that differ by less than the limit, else `pixel`, whether they are valid
/// or not. `limit` is at most largest_limit; 0 allows no difference at all.
template <typename V>
[[gnu::always_inline]] inline V averaged(V pixel, V before, V limit) {
  const V difference = before - pixel;
  const auto half_way = reinterpret_cast<V>(as_signed(difference) >> 1);
  const V close = reinterpret_cast<V>(magnitudes(difference) < as_signed(limit));
  return pixel + (half_way & close);
}

/// The same where both are valid, else `pixel`.
template <typename V>
[[gnu::always_inline]] inline V averaged(V pixel, V before, V both_valid, V limit) {
  const V difference = before - pixel;
  const auto half_way = reinterpret_cast<V>(as_signed(difference) >> 1);
  const V close = reinterpret_cast<V>(magnitudes(difference) < as_signed(limit));
  return pixel + (half_way & close & both_valid);
}

// Where the limits come from; exclusive ones.

class FixedLimit {
 public:
  explicit FixedLimit(Pixel limit) : limit_(simd::min(limit, largest_limit)) {}

  template <typename V>
  [[gnu::always_inline]] V of(V /*pixels*/) const {
    return simd::broadcast<V>(limit_);
  }

 private:
  Pixel limit_;
};

class TableLimits {
 public:
  /// The limits are the table's entries plus `increment`, modulo 2^16.
  TableLimits(const Pixel* entries, Pixel increment) : limits_(limited(entries, increment)) {}

  template <typename V>
  [[gnu::always_inline]] V of(V pixels) const {
    const auto lanes = std::make_index_sequence<simd::lane_count<V>>{};
    const V bins = DepthBins::bins_of(first_halves(pixels, lanes), 1);
    // Valid pixels are rarely as small as the inner bins.
    return limits_.look_up_outer(bins) & even_lanes<V>(lanes);
  }

  /// Of lanes that hold far holes and pixels of the last bin, and for each of them.
  template <typename V>
  [[gnu::always_inline]] V of_outer(V pixels) const {
    return as_signed(pixels) < 0 ? simd::broadcast<V>(limits_[0])
                                 : simd::broadcast<V>(limits_[DepthBins::last]);
  }
  bool are_plain() const {
    return limits_[0] <= largest_plain_limit && limits_[DepthBins::last] <= largest_plain_limit;
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

template <typename Limits>
struct AveragePixels {
  const Limits& limits;

  template <typename V>
  [[gnu::always_inline]] V at(size_t /*x*/, V pixel, V before) const {
    return averaged(pixel, before, valid(pixel) & valid(before), limits.of(pixel));
  }
};

/// Averages the pixels of `row` from column `x` on with those of the row `before`, as many as fill
/// vectors of `Bytes` or, once too few are left, shorter ones down to `Shortest`.
template <size_t Bytes, size_t Shortest, typename Averages>
[[gnu::always_inline]] inline void average_with(const Pixel* before, Pixel* row, size_t x,
                                                size_t width, const Averages& averages) {
  using V = Lanes<Pixel, Bytes>;
  constexpr size_t step = simd::lane_count<V>;
  for (; x + step <= width; x += step) {
    const V pixel = simd::load<V>(row + x);
    const V previous = simd::load<V>(before + x);
    simd::store(row + x, averages.at(x, pixel, previous));
  }
  if constexpr (Bytes > Shortest)
    average_with<Bytes / 2, Shortest>(before, row, x, width, averages);
}

/// The work space's first whole cache line.
Pixel* aligned(Pixel* work) {
  constexpr uintptr_t bytes = SpatialAdvancedKernels::line * sizeof(Pixel);
  return work + (0 - reinterpret_cast<uintptr_t>(work)) % bytes / sizeof(Pixel);
}

/// Walks down from row `first` on: row 0 has none before it.
template <typename Limits>
void smooth_down(const PixelGrid& image, size_t first, size_t end, const Limits& limits) {
  const size_t width = image.width;
  for (size_t y = first > 0 ? first : 1; y < end; ++y) {
    Pixel* row = image.pixels + y * width;
    average_with<simd::vector_bytes, group_bytes>(row - width, row, 0, width,
                                                  AveragePixels<Limits>{limits});
  }
}

template <typename Limits>
void smooth_up(const PixelGrid& image, const Limits& limits) {
  const size_t width = image.width;
  for (size_t y = image.height; y-- > 1;) {
    Pixel* row = image.pixels + y * width;
    average_with<simd::vector_bytes, group_bytes>(row, row - width, 0, width,
                                                  AveragePixels<Limits>{limits});
  }
}

// ---- rows ----
//
// A strip holds as many rows as a vector has lanes (or a few times as many), column by column, so
// that a step along the rows is one vector operation.

/// Eight pixels from `first` on and from every `distance` pixels behind it, side by side.
template <typename V>
[[gnu::always_inline]] inline V load_groups(const Pixel* first, size_t distance) {
  if constexpr (sizeof(V) == group_bytes) {
    return simd::load<V>(first);
  } else {
    using Half = Lanes<Pixel, sizeof(V) / 2>;
    const auto second = first + simd::lane_count<Half> / group_size * distance;
    return simd::join(load_groups<Half>(first, distance), load_groups<Half>(second, distance));
  }
}

template <typename V>
[[gnu::always_inline]] inline void store_groups(Pixel* first, size_t distance, V lanes) {
  if constexpr (sizeof(V) == group_bytes) {
    simd::store(first, lanes);
  } else {
    const auto second = first + simd::lane_count<V> / 2 / group_size * distance;
    store_groups(first, distance, simd::half<0>(lanes));
    store_groups(second, distance, simd::half<1>(lanes));
  }
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
#pragma GCC unroll 3
  for (int round = 0; round < 3; ++round) {
    V mixed[group_size];
#pragma GCC unroll 4
    for (size_t i = 0; i < group_size / 2; ++i) {
      mixed[2 * i] = interleaved<0>(vectors[i], vectors[i + group_size / 2], lanes);
      mixed[2 * i + 1] = interleaved<4>(vectors[i], vectors[i + group_size / 2], lanes);
    }
#pragma GCC unroll 8
    for (size_t i = 0; i < group_size; ++i)
      vectors[i] = mixed[i];
  }
}

/// Where the rows in the lanes of a vector lie, relative to that in lane 0.
struct Lines {
  size_t stride; ///< from each of four lanes to the next
  size_t fourth; ///< to lane 4
  size_t eighth; ///< to lane 8, from there to lane 16, and so on

  [[gnu::always_inline]] size_t offset(size_t lane) const {
    return lane % group_size / 4 * fourth + lane % 4 * stride + lane / group_size * eighth;
  }

  /// Columns 0 to 7 from `first` on, a vector each.
  template <typename V>
  [[gnu::always_inline]] void gather(const Pixel* first, V (&columns)[group_size]) const {
#pragma GCC unroll 8
    for (size_t i = 0; i < group_size; ++i)
      columns[i] = load_groups<V>(first + offset(i), eighth);
    transpose(columns);
  }

  template <typename V>
  [[gnu::always_inline]] void scatter(V (&columns)[group_size], Pixel* first) const {
    transpose(columns);
#pragma GCC unroll 8
    for (size_t i = 0; i < group_size; ++i)
      store_groups(first + offset(i), eighth, columns[i]);
  }
};

/// A walk along rows that fills no holes. It begins before the first pixel.
template <typename V>
struct Walk {
  V before{}, before_valid{};

  [[gnu::always_inline]] explicit Walk(Pixel /*radius*/) {}

  [[gnu::always_inline]] V step(V pixel, V limit) {
    const V pixel_valid = valid(pixel); // and so is its mean with a valid pixel
    before = averaged(pixel, before, pixel_valid & before_valid, limit);
    before_valid = pixel_valid;
    return before;
  }
};

/// A walk along rows in which valid pixels are far from every hole.
template <typename V>
struct PlainWalk {
  V before{};

  [[gnu::always_inline]] explicit PlainWalk(Pixel /*radius*/)
      : before(simd::broadcast<V>(far_hole)) {}

  [[gnu::always_inline]] V step(V pixel, V limit) {
    before = averaged(pixel, before, limit);
    return before;
  }
};

/// A walk that fills the holes of short runs.
template <typename V>
struct FillingWalk {
  V before{}, before_valid{};
  V radius;
  V left; ///< the radius less the holes counted; a hole is filled while that leaves more than 0

  [[gnu::always_inline]] explicit FillingWalk(Pixel hole_radius)
      : radius(simd::broadcast<V>(hole_radius)), left(radius) {}

  [[gnu::always_inline]] V step(V pixel, V limit) {
    const V pixel_valid = valid(pixel);
    const V both_valid = pixel_valid & before_valid;
    const V mean = averaged(pixel, before, both_valid, limit);
    left = both_valid != 0 ? radius : left;
    const V enough_left = reinterpret_cast<V>(as_signed(left) > 1);
    const V filled = before_valid & ~pixel_valid & enough_left;
    left += filled; // a hole beyond the radius need not be counted: none is filled until a reset
    before = filled != 0 ? before : mean;
    before_valid = pixel_valid | filled;
    return before;
  }
};

/// Rows as they are, with limits that follow from the pixels of a column.
template <typename L>
struct WholeRows {
  static constexpr size_t parts = 1;
  const L& limits;
  Lines lines;

  template <typename V>
  [[gnu::always_inline]] void find_limits(const Pixel* /*first*/, Pixel* /*found*/,
                                          size_t /*distance*/) const {}
  template <typename V>
  [[gnu::always_inline]] V limit(V pixels, const Pixel* /*found*/) const {
    return limits.of(pixels);
  }
};

/// Every other row, the even columns of each before the odd ones. The limits depend on the first
/// four rows of each block, and on nothing that walks change.
struct SplitRows {
  static constexpr size_t parts = 2;
  const TableLimits& limits;
  Lines lines;
  Lines sources; ///< the rows that the limits depend on

  /// The limits of columns 0 to 7 from `first` on go to `found` and every `distance` behind it.
  template <typename V>
  [[gnu::always_inline]] void find_limits(const Pixel* first, Pixel* found, size_t distance) const {
    V columns[group_size];
    sources.gather(first, columns);
#pragma GCC unroll 8
    for (size_t i = 0; i < group_size; ++i)
      simd::store(found + i * distance, limits.of_outer(columns[i]));
  }
  template <typename V>
  [[gnu::always_inline]] V limit(V /*pixels*/, const Pixel* found) const {
    return simd::load<V>(found);
  }
};

/// Rows in the lanes of one or more vectors, and their place in a strip.
template <typename V, size_t Vectors, typename Rows>
struct Strip {
  static constexpr size_t lanes = simd::lane_count<V>;
  static constexpr size_t parts = Rows::parts;
  static constexpr size_t block = parts * group_size; ///< columns
  static constexpr size_t step = Vectors * lanes;

  const Rows& rows;
  Pixel* image; ///< from the first row on
  size_t width;
  Pixel* strip;

  template <typename Walks>
  void smooth(Pixel radius) const {
    const size_t last = (width - 1) / block * block;
    walk_forth<Walks>(last, radius);
    walk_back<Walks>(last, radius);
  }

 private:
  [[gnu::always_inline]] Pixel* column(size_t x, size_t v) const {
    return strip + x * step + v * lanes;
  }
  [[gnu::always_inline]] Pixel* limits(size_t x, size_t v) const { return column(width + x, v); }
  /// Column `x` of the row in lane 0.
  [[gnu::always_inline]] Pixel* first_row(size_t x, size_t v) const {
    const size_t odd_columns = x % parts * ((width + 1) / 2);
    return image + v * (lanes / group_size) * rows.lines.eighth + odd_columns + x / parts;
  }

  template <typename Walks>
  [[gnu::always_inline]] void walk_forth(size_t last, Pixel radius) const {
    Walks walks[2] = {Walks(radius), Walks(radius)};
    for (size_t x = 0; x < last; x += block)
#pragma GCC unroll 2
      for (size_t v = 0; v < Vectors; ++v) {
        V columns[parts][group_size];
        gather(x, v, columns);
#pragma GCC unroll 16
        for (size_t i = 0; i < block; ++i)
          simd::store(column(x + i, v), stepped(walks[v], columns[i % parts][i / parts], x + i, v));
      }
    for (size_t v = 0; v < Vectors; ++v) {
      gather_last(last, v);
      for (size_t x = last; x < width - 1; ++x)
        step_in_strip(walks[v], x, v);
    }
  }

  template <typename Walks>
  [[gnu::always_inline]] void walk_back(size_t last, Pixel radius) const {
    Walks walks[2] = {Walks(radius), Walks(radius)};
    for (size_t v = 0; v < Vectors; ++v) {
      for (size_t x = width; x-- > last;)
        step_in_strip(walks[v], x, v);
      scatter_last(last, v);
    }
    for (size_t end = last; end > 0; end -= block)
#pragma GCC unroll 2
      for (size_t v = 0; v < Vectors; ++v) {
        const size_t x = end - block;
        V columns[parts][group_size];
#pragma GCC unroll 16
        for (size_t done = 0; done < block; ++done) {
          const size_t i = block - 1 - done;
          columns[i % parts][i / parts] =
              stepped(walks[v], simd::load<V>(column(x + i, v)), x + i, v);
        }
#pragma GCC unroll 2
        for (size_t part = 0; part < parts; ++part)
          rows.lines.scatter(columns[part], first_row(x + part, v));
      }
  }

  template <typename Walks>
  [[gnu::always_inline]] V stepped(Walks& walk, V pixels, size_t x, size_t v) const {
    return walk.step(pixels, rows.limit(pixels, limits(x, v)));
  }
  template <typename Walks>
  [[gnu::always_inline]] void step_in_strip(Walks& walk, size_t x, size_t v) const {
    simd::store(column(x, v), stepped(walk, simd::load<V>(column(x, v)), x, v));
  }

  [[gnu::always_inline]] void gather(size_t x, size_t v, V (&columns)[parts][group_size]) const {
#pragma GCC unroll 2
    for (size_t part = 0; part < parts; ++part) {
      const Pixel* first = first_row(x + part, v);
      rows.template find_limits<V>(first, limits(x + part, v), parts * step);
      rows.lines.gather(first, columns[part]);
    }
  }

  /// The last columns go to the strip, be they a whole block or less.
  void gather_last(size_t last, size_t v) const {
    if (width - last == block) {
      V columns[parts][group_size];
      gather(last, v, columns);
      for (size_t i = 0; i < block; ++i)
        simd::store(column(last + i, v), columns[i % parts][i / parts]);
      return;
    }
    for (size_t x = last; x < width; ++x) {
      for (size_t i = 0; i < lanes; ++i)
        column(x, v)[i] = first_row(x, v)[rows.lines.offset(i)];
      if constexpr (parts == 2) {
        V sources;
        for (size_t i = 0; i < lanes; ++i)
          sources[i] = first_row(x, v)[rows.sources.offset(i)];
        simd::store(limits(x, v), rows.limits.of_outer(sources));
      }
    }
  }

  void scatter_last(size_t last, size_t v) const {
    for (size_t x = last; x < width; ++x)
      for (size_t i = 0; i < lanes; ++i)
        first_row(x, v)[rows.lines.offset(i)] = column(x, v)[i];
  }
};

/// Rows of an image, `pitch` pixels apart.
struct Band {
  Pixel* pixels;
  size_t width, height, pitch;
};

/// Smooths the rows from `y` on, `Vectors` vectors of `Bytes` at a time as long as so many are
/// left, then fewer.
template <template <typename> typename Walks, size_t Bytes, size_t Vectors, typename Limits>
void smooth_blocks(const Band& image, size_t y, Pixel radius, const Limits& limits, Pixel* strip) {
  using V = Lanes<Pixel, Bytes>;
  const size_t pitch = image.pitch;
  const WholeRows<Limits> whole{limits, {pitch, 4 * pitch, 8 * pitch}};
  constexpr size_t rows = Vectors * simd::lane_count<V>;
  static_assert(rows <= SpatialAdvancedKernels::strip_rows);
  for (; y + rows <= image.height; y += rows)
    Strip<V, Vectors, WholeRows<Limits>>{whole, image.pixels + y * pitch, image.width, strip}
        .template smooth<Walks<V>>(radius);
  if constexpr (Vectors > 1)
    smooth_blocks<Walks, Bytes, 1>(image, y, radius, limits, strip);
  else if constexpr (Bytes > group_bytes)
    smooth_blocks<Walks, Bytes / 2, 1>(image, y, radius, limits, strip);
}

template <typename Limits>
void smooth_rows(const Band& image, const Limits& limits, Pixel radius, Pixel* strip) {
  if (image.width <= 2)
    return;
  // The count is raised before it is compared, so that a radius of 1 fills nothing either.
  if (radius <= 1)
    smooth_blocks<Walk, simd::vector_bytes, 2>(image, 0, radius, limits, strip);
  else
    smooth_blocks<FillingWalk, simd::vector_bytes, 2>(image, 0, radius, limits, strip);
}

// ---- split images ----
//
// With a table, odd rows and columns are not averaged: where no holes are filled either, walks pass
// over every other row and column only. Each row is split for that, the even columns before the odd
// ones. Of a plain image, whose pixels are 0 or else below 16384 and of the last bin, the limits
// are the table's first, where they depend on a hole, and its last; means of pixels of the last bin
// belong there too, and holes stay, so that all limits stay what they were. Its holes become far
// ones meanwhile, so that no step needs to ask what is valid.

/// Whether every pixel is either 0 or both below `plain_end` and of the last bin.
bool is_plain(const PixelGrid& image) {
  using V = Lanes<Pixel, simd::vector_bytes>;
  constexpr size_t lanes = simd::lane_count<V>;
  constexpr Pixel enough = 2 * DepthBins::last - 1; // less 1, as 0 becomes large by that
  const size_t count = size_t{image.width} * image.height;
  V smallest = simd::broadcast<V>(Pixel{0xffff});
  V bits{};
  const auto note = [&](V pixels) __attribute__((always_inline)) {
    smallest = simd::min(smallest, static_cast<V>(pixels - 1));
    bits |= pixels;
  };
  size_t i = 0;
  for (; i + lanes <= count; i += lanes)
    note(simd::load<V>(image.pixels + i));
  for (; i < count; ++i)
    note(simd::broadcast<V>(image.pixels[i]));
  return !simd::any(reinterpret_cast<V>(smallest < enough) |
                    (bits & static_cast<Pixel>(-plain_end)));
}

template <typename V>
[[gnu::always_inline]] inline V with_far_holes(V pixels) {
  return pixels == 0 ? simd::broadcast<V>(far_hole) : pixels;
}
template <typename V>
[[gnu::always_inline]] inline V without_far_holes(V pixels) {
  return reinterpret_cast<V>(simd::max(as_signed(pixels), SignedOf<V>{}));
}

/// Averages by the limits of each pixel of a row, made beforehand.
struct AveragePlainPixels {
  const Pixel* limits;

  template <typename V>
  [[gnu::always_inline]] V at(size_t x, V pixel, V before) const {
    return averaged(pixel, before, simd::load<V>(limits + x));
  }
};

/// The even (with `Odd` 1, odd) lanes of `a` and `b`.
template <size_t Odd, typename V, size_t... I>
[[gnu::always_inline]] inline V every_other(V a, V b, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, static_cast<int>(2 * I + Odd)...);
}

/// The first four of every eight lanes of `a` and `b`.
template <typename V, size_t... I>
[[gnu::always_inline]] inline V first_halves(V a, V b, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, static_cast<int>(I / 4 * group_size + I % 4)...);
}

/// The first or second halves of `a` and `b`, alternating.
template <size_t Half, typename V, size_t... I>
[[gnu::always_inline]] inline V alternating(V a, V b, std::index_sequence<I...>) {
  constexpr size_t count = sizeof...(I);
  return __builtin_shufflevector(
      a, b, static_cast<int>(I / 2 + Half * count / 2 + (I % 2 == 0 ? 0 : count))...);
}

/// Whether so many rows of an image compete for the same places in the cache that a line hardly
/// stays there until it was read or written as a whole.
bool is_crowded(size_t width) {
  constexpr size_t period = 1024 / sizeof(Pixel);
  constexpr size_t line = SpatialAdvancedKernels::line;
  return (width + line) % period < 2 * line;
}

class SplitImage {
 public:
  SplitImage(const PixelGrid& image, const TableLimits& along_rows,
             const TableLimits& along_columns, Pixel* work)
      : image_(image), along_rows_(along_rows), along_columns_(along_columns), width_(image.width),
        smoothed_columns_(width_ / group_size * group_size / 2), strip_(aligned(work)),
        column_limits_(strip_ + SpatialAdvancedKernels::strip_rows * width_) {
    if (is_crowded(width_)) {
      split_ = column_limits_ + smoothed_columns_ * image.height;
      pitch_ = SpatialAdvancedKernels::pitch(image.width);
    }
  }

  /// What is split stays in the cache for the first walks, and the last walks' rows until they are
  /// merged.
  void smooth(int rounds) const {
    for (int round = 0; round < rounds; ++round) {
      constexpr size_t band = size_t{2} * SpatialAdvancedKernels::strip_rows;
      for (size_t y = 0; y < image_.height; y += band)
        smooth_band(y, simd::min(y + band, size_t{image_.height}), round == 0);
      for (size_t y = image_.height; y-- > 0;) {
        if (y > 0)
          average(y, y - 1);
        if (round == rounds - 1)
          merge_row(y);
      }
    }
  }

 private:
  using V = Lanes<Pixel, simd::vector_bytes>;
  static constexpr size_t count = simd::lane_count<V>;
  static constexpr auto lanes = std::make_index_sequence<count>{};

  Pixel* row(size_t y) const { return split_ + y * pitch_; }
  Pixel* column_limits(size_t y) const { return column_limits_ + y * smoothed_columns_; }

  void smooth_band(size_t begin, size_t end, bool whole) const {
    if (whole)
      for (size_t y = begin; y < end; ++y)
        split_row(y);
    if (width_ > 2)
      smooth_rows<simd::vector_bytes>(begin, end);
    for (size_t y = begin > 0 ? begin : 1; y < end; ++y)
      average(y - 1, y);
  }

  /// A copy of a row where it would be overwritten while it is read.
  const Pixel* apart(const Pixel* row) const {
    if (split_ != image_.pixels)
      return row;
    __builtin_memcpy(strip_, row, width_ * sizeof(Pixel));
    return strip_;
  }

  void split_row(size_t y) const {
    const Pixel* whole = apart(image_.pixels + y * width_);
    Pixel* even = row(y);
    Pixel* odd = even + (width_ + 1) / 2;
    Pixel* limits = column_limits(y);
    size_t x = 0;
    for (; x + 2 * count <= width_; x += 2 * count) {
      const V a = with_far_holes(simd::load<V>(whole + x));
      const V b = with_far_holes(simd::load<V>(whole + x + count));
      simd::store(even + x / 2, every_other<0>(a, b, lanes));
      simd::store(odd + x / 2, every_other<1>(a, b, lanes));
      simd::store(limits + x / 2, along_columns_.of_outer(first_halves(a, b, lanes)));
    }
    for (size_t i = x / 2; i < smoothed_columns_; ++i)
      limits[i] = along_columns_.of_outer(
          with_far_holes(simd::broadcast<V>(whole[i / 4 * group_size + i % 4])))[0];
    for (; x < width_; ++x)
      (x % 2 == 0 ? even : odd)[x / 2] = whole[x] == 0 ? far_hole : whole[x];
  }

  void merge_row(size_t y) const {
    Pixel* whole = image_.pixels + y * width_;
    const Pixel* even = apart(row(y));
    const Pixel* odd = even + (width_ + 1) / 2;
    size_t x = 0;
    for (; x + 2 * count <= width_; x += 2 * count) {
      const V a = without_far_holes(simd::load<V>(even + x / 2));
      const V b = without_far_holes(simd::load<V>(odd + x / 2));
      simd::store(whole + x, alternating<0>(a, b, lanes));
      simd::store(whole + x + count, alternating<1>(a, b, lanes));
    }
    for (; x < width_; ++x) {
      const Pixel pixel = (x % 2 == 0 ? even : odd)[x / 2];
      whole[x] = pixel == far_hole ? Pixel{0} : pixel;
    }
  }

  void average(size_t before, size_t y) const {
    average_with<simd::vector_bytes, group_bytes / 2>(row(before), row(y), 0, smoothed_columns_,
                                                      AveragePlainPixels{column_limits(y)});
  }

  /// Whole blocks of eight rows, of which every other row is walked. The last block may have a
  /// group of lanes to itself: both halves of the group then do the same.
  template <size_t Bytes>
  void smooth_rows(size_t y, size_t end) const {
    using Group = Lanes<Pixel, Bytes>;
    constexpr size_t rows = 2 * simd::lane_count<Group>;
    for (; y + rows <= end; y += rows)
      smooth_strip<Group>(y, group_size * pitch_);
    if constexpr (Bytes > group_bytes)
      smooth_rows<Bytes / 2>(y, end);
    else if (y + group_size <= end)
      smooth_strip<Group>(y, 0);
  }

  template <typename Group>
  void smooth_strip(size_t y, size_t next_block) const {
    const SplitRows rows{along_rows_,
                         {2 * pitch_, next_block, 2 * group_size * pitch_},
                         {pitch_, next_block, 2 * group_size * pitch_}};
    Strip<Group, 1, SplitRows>{rows, row(y), width_, strip_}.template smooth<PlainWalk<Group>>(0);
  }

  const PixelGrid& image_;
  const TableLimits& along_rows_;
  const TableLimits& along_columns_;
  size_t width_, smoothed_columns_;
  Pixel* strip_;
  Pixel* column_limits_;
  /// Where the rows are split: in place, or else in a copy whose rows do not crowd.
  Pixel* split_ = image_.pixels;
  size_t pitch_ = width_;
};

// ---- both ----

void copy_rows(const Band& from, const Band& to) {
  for (size_t y = 0; y < from.height; ++y)
    __builtin_memcpy(to.pixels + y * to.pitch, from.pixels + y * from.pitch,
                     from.width * sizeof(Pixel));
}

template <typename RowLimits, typename ColumnLimits>
void smooth_once(const PixelGrid& image, const RowLimits& along_rows,
                 const ColumnLimits& along_columns, Pixel radius, Pixel* work) {
  if (image.width == 0)
    return;
  constexpr size_t band_rows = SpatialAdvancedKernels::strip_rows;
  const size_t width = image.width;
  Pixel* strip = aligned(work);
  Pixel* apart = strip + band_rows * width;
  for (size_t y = 0; y < image.height; y += band_rows) {
    const size_t end = simd::min(y + band_rows, size_t{image.height});
    const Band band{image.pixels + y * width, width, end - y, width};
    if (is_crowded(width)) {
      const Band copy{apart, width, end - y, SpatialAdvancedKernels::pitch(image.width)};
      copy_rows(band, copy);
      smooth_rows(copy, along_rows, radius, strip);
      copy_rows(copy, band);
    } else {
      smooth_rows(band, along_rows, radius, strip);
    }
    smooth_down(image, y, end, along_columns);
  }
  smooth_up(image, along_columns);
}

// Along rows, a difference equal to the threshold passes: the limit is one above.

void smooth_fixed(const PixelGrid& image, Pixel threshold, uint8_t radius, Pixel* work) {
  smooth_once(image, FixedLimit(static_cast<Pixel>(threshold + 1)), FixedLimit(threshold), radius,
              work);
}

void smooth_table(const PixelGrid& image, const Pixel* thresholds, uint8_t radius, int rounds,
                  Pixel* work) {
  const TableLimits along_rows(thresholds, 1);
  const TableLimits along_columns(thresholds, 0);
  if (radius > 1 || !along_rows.are_plain() || !along_columns.are_plain() || !is_plain(image)) {
    for (; rounds > 0; --rounds)
      smooth_once(image, along_rows, along_columns, radius, work);
    return;
  }
  SplitImage(image, along_rows, along_columns, work).smooth(rounds);
}

} // namespace

template <>
const SpatialAdvancedKernels& SpatialAdvancedKernels::at<simd::this_level>() {
  static constexpr SpatialAdvancedKernels table{smooth_fixed, smooth_table};
  return table;
}

} // namespace filter_processor
