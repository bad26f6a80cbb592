#include "filters/smoothing/spatial_fast_kernels.h"

#include <type_traits>

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;
using simd::Lanes;

/// Without a minimum and maximum of unsigned lanes, medians are found among pixels less 32768,
/// which have the same order as signed numbers.
constexpr bool order_is_signed = !simd::has_unsigned_min;
using Ordered = std::conditional_t<order_is_signed, int16_t, uint16_t>;

/// Turns pixels into what is ordered and back.
template <typename V>
[[gnu::always_inline]] inline V order_changed(V lanes) {
  constexpr uint16_t sign_bit = order_is_signed ? 0x8000 : 0;
  return lanes ^ simd::broadcast<V>(static_cast<Ordered>(sign_bit));
}

template <typename V>
[[gnu::always_inline]] inline V load_pixels(const Pixel* from) {
  return order_changed(simd::load<V>(from));
}

template <typename V>
[[gnu::always_inline]] inline void store_pixels(Pixel* to, V lanes) {
  simd::store(to, order_changed(lanes));
}

struct Image {
  const Pixel* input;
  Pixel* output;
  size_t width, height;

  /// Row `y` of the input, or the one that is nearest to it.
  const Pixel* input_row(ptrdiff_t y) const {
    const auto last = static_cast<ptrdiff_t>(height) - 1;
    const ptrdiff_t nearest = simd::max(ptrdiff_t{0}, simd::min(y, last));
    return input + static_cast<size_t>(nearest) * width;
  }

  /// Row `y` of the output, or its last one.
  Pixel* output_row(size_t y) const { return output + simd::min(y, height - 1) * width; }
};

template <typename V>
[[gnu::always_inline]] inline void sort(V& a, V& b) {
  const V smaller = simd::min(a, b);
  b = simd::max(a, b);
  a = smaller;
}

template <typename V>
[[gnu::always_inline]] inline void sort(V (&v)[2]) {
  sort(v[0], v[1]);
}

template <typename V>
[[gnu::always_inline]] inline void sort(V (&v)[3]) {
  sort(v[0], v[1]);
  sort(v[1], v[2]);
  sort(v[0], v[1]);
}

template <typename V>
[[gnu::always_inline]] inline void sort(V (&v)[4]) {
  sort(v[0], v[1]);
  sort(v[2], v[3]);
  sort(v[0], v[2]);
  sort(v[1], v[3]);
  sort(v[1], v[2]);
}

template <typename V>
[[gnu::always_inline]] inline void sort(V (&v)[5]) {
  sort(v[0], v[1]);
  sort(v[3], v[4]);
  sort(v[2], v[4]);
  sort(v[2], v[3]);
  sort(v[0], v[3]);
  sort(v[0], v[2]);
  sort(v[1], v[4]);
  sort(v[1], v[3]);
  sort(v[1], v[2]);
}

template <typename V>
[[gnu::always_inline]] inline V median(V a, V b, V c) {
  return simd::max(simd::min(a, b), simd::min(simd::max(a, b), c));
}

template <typename V>
[[gnu::always_inline]] inline V median(const V (&v)[3]) {
  return median(v[0], v[1], v[2]);
}

template <typename V>
[[gnu::always_inline]] inline V median(const V (&v)[5]) {
  const V low = simd::max(simd::min(v[0], v[1]), simd::min(v[2], v[3]));
  const V high = simd::min(simd::max(v[0], v[1]), simd::max(v[2], v[3]));
  return median(low, v[4], high);
}

/// Element `Rank` of the sorted sequence of `sorted` and `value`.
template <size_t Rank, size_t Count, typename V>
[[gnu::always_inline]] inline V rank_with(const V (&sorted)[Count], V value) {
  if constexpr (Rank == 0)
    return simd::min(sorted[0], value);
  else if constexpr (Rank == Count)
    return simd::max(sorted[Count - 1], value);
  else
    return simd::max(sorted[Rank - 1], simd::min(sorted[Rank], value));
}

// How the medians share their work: the three or five pixels of a row around a column are sorted
// once for all windows that contain them. Sorting each column of those sorted rows leaves the rows
// sorted, so a window becomes a matrix in order both ways. What lies far from its antidiagonal has
// too many smaller or too many larger pixels around to be the median. Of 3 x 3 the antidiagonal is
// left; of 5 x 5 it and the diagonals beside it, of which only the largest pixel of the one before
// and the smallest of the one behind can matter, and the median of these two and the antidiagonal's
// own median is the result. The windows of two output rows share all rows but one each, and so most
// of the sorting of columns. 5 x 5 takes 82 minima and maxima, where each of the 99
// compare-exchanges of a network of 25 takes up to two.

template <size_t Radius>
constexpr size_t side = 2 * Radius + 1;

/// What is left of one window, column by column of the sorted matrix.
template <size_t Radius, typename V>
struct Diagonals {
  V before{}, behind{}; ///< of 5 x 5 only
  V middle[side<Radius>];

  /// `shared` is the column's sorted part, `own` its remaining pixel.
  template <size_t Column>
  [[gnu::always_inline]] void add(const V (&shared)[2 * Radius], V own) {
    constexpr size_t row = 2 * Radius - Column;
    middle[Column] = rank_with<row>(shared, own);
    if constexpr (Radius == 2 && row > 0) {
      const V pixel = rank_with<row - 1>(shared, own);
      before = Column == 0 ? pixel : simd::max(before, pixel);
    }
    if constexpr (Radius == 2 && Column > 0) {
      const V pixel = rank_with<row + 1>(shared, own);
      behind = Column == 1 ? pixel : simd::min(behind, pixel);
    }
  }

  [[gnu::always_inline]] V window_median() const {
    if constexpr (Radius == 2)
      return median(before, median(middle), behind);
    else
      return median(middle);
  }
};

/// `sorted(row, column)` is an element of the sorted windows of the rows, from top to bottom, that
/// the windows of two output rows cover.
template <size_t Radius, size_t Column, typename V, typename Sorted>
[[gnu::always_inline]] inline void add_columns(Sorted sorted, Diagonals<Radius, V>& upper,
                                               Diagonals<Radius, V>& lower) {
  constexpr size_t shared_rows = 2 * Radius;
  V shared[shared_rows];
  for (size_t i = 0; i < shared_rows; ++i)
    shared[i] = sorted(i + 1, Column);
  sort(shared);
  upper.template add<Column>(shared, sorted(0, Column));
  lower.template add<Column>(shared, sorted(shared_rows + 1, Column));
  if constexpr (Column < 2 * Radius)
    add_columns<Radius, Column + 1>(sorted, upper, lower);
}

/// Stores the medians of two output rows. Below the image both are its last row: the lower one
/// comes first, so that the last row's own median stays.
template <size_t Radius, typename V, typename Sorted>
[[gnu::always_inline]] inline void store_medians(Sorted sorted, Pixel* upper, Pixel* lower) {
  Diagonals<Radius, V> upper_window, lower_window;
  add_columns<Radius, 0>(sorted, upper_window, lower_window);
  store_pixels(lower, lower_window.window_median());
  store_pixels(upper, upper_window.window_median());
}

/// Loads and sorts the row windows around the pixels from `pixels` on.
template <size_t Radius, typename V>
[[gnu::always_inline]] inline void load_sorted(const Pixel* pixels, V (&window)[side<Radius>]) {
  for (size_t i = 0; i < side<Radius>; ++i)
    window[i] = load_pixels<V>(pixels + i - Radius);
  sort(window);
}

/// Calls `step(x)` for each vector of `count` columns. The last one ends with them and may overlap
/// the one before it: results are never read again.
template <typename V, typename Step>
[[gnu::always_inline]] inline void for_each_vector(size_t count, Step step) {
  const size_t last = count - simd::lane_count<V>;
  for (size_t x = 0; x < last; x += simd::lane_count<V>)
    step(x);
  step(last);
}

/// Row windows of three are cheap to sort: within four output rows they stay in registers, and what
/// the next four need again is sorted again.
template <typename V>
void filter_columns_3x3(const Image& image, size_t first, size_t count) {
  for (size_t y = 0; y < image.height; y += 4) {
    const Pixel* input[6];
    for (size_t i = 0; i < 6; ++i)
      input[i] = image.input_row(static_cast<ptrdiff_t>(y + i) - 1) + first;
    Pixel* output[4];
    for (size_t i = 0; i < 4; ++i)
      output[i] = image.output_row(y + i) + first;
    for_each_vector<V>(
        count, [&](size_t x) __attribute__((always_inline)) {
          V window[6][3];
          load_sorted<1>(input[2] + x, window[2]);
          load_sorted<1>(input[3] + x, window[3]);
          load_sorted<1>(input[4] + x, window[4]);
          load_sorted<1>(input[5] + x, window[5]);
          store_medians<1, V>([&](size_t row, size_t column) { return window[row + 2][column]; },
                              output[2] + x, output[3] + x);
          load_sorted<1>(input[0] + x, window[0]);
          load_sorted<1>(input[1] + x, window[1]);
          store_medians<1, V>([&](size_t row, size_t column) { return window[row][column]; },
                              output[0] + x, output[1] + x);
        });
  }
}

/// Pixels of a row that are worked on at once: few enough for the first-level cache to hold their
/// sorted windows.
constexpr size_t strip_width = 256;

/// The sorted row windows of five around each pixel of a strip: all smallest pixels, then all
/// second, and so on.
struct SortedRow {
  alignas(64) Ordered ranks[5][strip_width];
};

template <typename V>
void sort_row(const Pixel* pixels, size_t count, SortedRow& sorted) {
  for_each_vector<V>(
      count, [&](size_t x) __attribute__((always_inline)) {
        V window[5];
        load_sorted<2>(pixels + x, window);
        for (size_t i = 0; i < 5; ++i)
          simd::store(sorted.ranks[i] + x, window[i]);
      });
}

/// Filters `count` columns from `first` on, at most a strip and at least a vector of them. Each
/// row's windows are sorted once and kept for the six rows that two output rows need.
template <typename V>
void filter_strip_5x5(const Image& image, size_t first, size_t count) {
  SortedRow ring[6];
  // Rows are numbered from the topmost one of the first window.
  const auto sort_into_ring = [&](size_t row) {
    const auto y = static_cast<ptrdiff_t>(row) - 2;
    sort_row<V>(image.input_row(y) + first, count, ring[row % 6]);
  };
  for (size_t row = 0; row < 4; ++row)
    sort_into_ring(row);
  for (size_t y = 0; y < image.height; y += 2) {
    sort_into_ring(y + 4);
    sort_into_ring(y + 5);
    const SortedRow* rows[6];
    for (size_t i = 0; i < 6; ++i)
      rows[i] = &ring[(y + i) % 6];
    Pixel* upper = image.output_row(y) + first;
    Pixel* lower = image.output_row(y + 1) + first;
    for_each_vector<V>(
        count, [&](size_t x) __attribute__((always_inline)) {
          store_medians<2, V>(
              [&](size_t row, size_t column) {
                return simd::load<V>(rows[row]->ranks[column] + x);
              },
              upper + x, lower + x);
        });
  }
}

template <typename V>
void filter_columns_5x5(const Image& image, size_t first, size_t count) {
  for (size_t x = 0; x < count; x += strip_width) {
    const size_t start = simd::min(x, count - simd::lane_count<V>);
    filter_strip_5x5<V>(image, first + start, simd::min(strip_width, count - start));
  }
}

/// Filters `count` columns from `first` on with vectors of `Bytes` or, where they are too few for
/// one, with shorter ones.
template <size_t Radius, size_t Bytes>
void filter_columns(const Image& image, size_t first, size_t count) {
  using V = Lanes<Ordered, Bytes>;
  constexpr size_t shortest = 4 * sizeof(Ordered); // no kernel filters fewer columns than four
  if (count >= simd::lane_count<V>)
    if constexpr (Radius == 1)
      filter_columns_3x3<V>(image, first, count);
    else
      filter_columns_5x5<V>(image, first, count);
  else if constexpr (Bytes > shortest)
    filter_columns<Radius, (Bytes > 16 ? 16 : shortest)>(image, first, count);
}

/// The median of an odd number of values, without their order: of any half of them and two more,
/// neither the smallest nor the largest is the median, so these two give way to the next value.
template <typename V, size_t Count>
[[gnu::always_inline]] inline V median_by_elimination(V (&values)[Count]) {
  constexpr size_t last = Count / 2 + 1;
  for (size_t first = 0;; ++first) {
    for (size_t i = first; i < last; ++i)
      sort(values[i], values[i + 1]);
    for (size_t i = last - 1; i > first; --i)
      sort(values[i - 1], values[i]);
    if (first + 2 == last)
      return values[first + 1];
    values[last] = values[last + 1 + first];
  }
}

/// Rows whose border pixels are worked on at once, as lanes of vectors.
constexpr size_t border_rows = 64;

/// Three columns of the image, turned into rows: pixel i is that of row i - 2 of the tile.
using BorderColumns = Ordered[3][border_rows + 4];

/// Medians of nine: `column` without exception and `next` without its lowest row.
template <typename V>
[[gnu::always_inline]] inline V median_of_9(const Ordered* column, const Ordered* next) {
  V values[9];
  for (size_t i = 0; i < 9; ++i)
    values[i] = simd::load<V>(i < 5 ? column + i : next + (i - 5));
  return median_by_elimination(values);
}

template <typename V>
[[gnu::always_inline]] inline V median_of_15(const BorderColumns& columns, size_t row) {
  V values[15];
  for (size_t i = 0; i < 15; ++i)
    values[i] = simd::load<V>(columns[i / 5] + row + i % 5);
  return median_by_elimination(values);
}

/// Filters the columns `x` and `x` + 1 at one side of the image: the first with medians of nine,
/// the second with medians of the three columns from `window` on, which hold both.
void filter_border(const Image& image, size_t x, size_t window) {
  using V = Lanes<Ordered>;
  for (size_t y = 0; y < image.height; y += border_rows) {
    BorderColumns columns;
    for (size_t i = 0; i < border_rows + 4; ++i) {
      const Pixel* row = image.input_row(static_cast<ptrdiff_t>(y + i) - 2) + window;
      for (size_t column = 0; column < 3; ++column)
        columns[column][i] = load_pixels<Lanes<Ordered, sizeof(Ordered)>>(row + column)[0];
    }
    Pixel medians[2][border_rows];
    for (size_t i = 0; i < border_rows; i += simd::lane_count<V>) {
      const Ordered* column = columns[x - window] + i;
      store_pixels(medians[0] + i, median_of_9<V>(column, columns[x - window + 1] + i));
      store_pixels(medians[1] + i, median_of_15<V>(columns, i));
    }
    const size_t rows = simd::min(border_rows, image.height - y);
    for (size_t i = 0; i < rows; ++i) {
      image.output[(y + i) * image.width + x] = medians[0][i];
      image.output[(y + i) * image.width + x + 1] = medians[1][i];
    }
  }
}

constexpr size_t group_size = 8;

void filter_3x3(const Pixel* input, Pixel* output, uint32_t width, uint32_t height) {
  const size_t groups = width / group_size;
  if (height > 0 && groups > 1)
    filter_columns<1, simd::vector_bytes>({input, output, width, height}, 4,
                                          (groups - 1) * group_size);
}

void filter_5x5(const Pixel* input, Pixel* output, uint32_t width, uint32_t height) {
  if (height == 0 || width < 3)
    return;
  const Image image{input, output, width, height};
  filter_border(image, 0, 0);
  const size_t grouped = width / group_size * group_size;
  if (grouped > 0) // the last group may reach into the border
    filter_columns<2, simd::vector_bytes>(image, 2, simd::min(grouped, image.width - 4));
  filter_border(image, image.width - 2, image.width - 3);
}

} // namespace

template <>
const SpatialFastKernels& SpatialFastKernels::at<simd::this_level>() {
  static constexpr SpatialFastKernels table{filter_3x3, filter_5x5};
  return table;
}

} // namespace filter_processor
