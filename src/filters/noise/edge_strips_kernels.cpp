#include "filters/noise/edge_strips_kernels.h"

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;

enum Status : int32_t { done = 0, no_image = -1, margin_above_limit = -2, no_table = -3 };

constexpr size_t group_size = 8;

bool is_empty_group(const Pixel* group) {
  uint64_t words[group_size * sizeof(Pixel) / sizeof(uint64_t)];
  __builtin_memcpy(words, group, sizeof words);
  return (words[0] | words[1]) == 0;
}

/// The first valid column before `end`, or `end`.
size_t first_valid(const Pixel* row, size_t end) {
  size_t x = 0;
  while (x + group_size <= end && is_empty_group(row + x))
    x += group_size;
  while (x < end && row[x] == 0)
    ++x;
  return x;
}

/// One past the last valid column in `begin` .. `end` - 1, or `begin`.
size_t last_valid_end(const Pixel* row, size_t begin, size_t end) {
  while (begin + group_size <= end && is_empty_group(row + end - group_size))
    end -= group_size;
  while (begin < end && row[end - 1] == 0)
    --end;
  return end;
}

void clear(Pixel* pixels, size_t count) {
  __builtin_memset(pixels, 0, count * sizeof(Pixel));
}

/// Clears the left and right strips. `left(y, room)` and `right(y, room)` give their lengths,
/// `room` being the pixels from the strip's first one up to the limit.
///
/// The right limit lies one column nearer to the border than the left one: a strip begins at a
/// column below `limit`, or above width - `limit`.
template <typename Length>
[[gnu::always_inline]] inline void clear_row_strips(const EdgeStripsImage& image, size_t limit,
                                                    Length left, Length right) {
  const size_t width = image.width;
  // What lies beyond the limits decides nothing, so no row is searched further.
  const size_t left_end = simd::min(limit, width);
  const size_t right_begin = limit > width ? 0 : width - limit + 1;
  for (size_t y = 0; y < image.height; ++y) {
    Pixel* row = image.pixels + y * width;
    const size_t first = first_valid(row, left_end);
    const size_t end = last_valid_end(row, right_begin, width);
    if (first < left_end)
      clear(row + first, simd::min(left(y, limit - first), width - first));
    if (end > right_begin) {
      const size_t count = simd::min(right(y, end - 1 + limit - width), end);
      clear(row + end - count, count);
    }
  }
}

/// The strips of all columns at the top or at the bottom. Rows are counted from the border inward.
struct Side {
  Pixel* border;  ///< the outermost row
  ptrdiff_t step; ///< from a row to the next one inward
  size_t width;
  int32_t rows;   ///< within the limit
  int32_t margin; ///< at most `rows`
  int32_t* empty; ///< for each column, how many rows come before its first valid one

  Pixel* row(int32_t index) const { return border + step * index; }
};

Side make_side(Pixel* border, ptrdiff_t step, uint32_t rows, uint32_t margin, int32_t* empty) {
  const uint32_t counted = simd::min(rows, uint32_t{__INT32_MAX__});
  return {border,
          step,
          static_cast<size_t>(step < 0 ? -step : step),
          static_cast<int32_t>(counted),
          static_cast<int32_t>(simd::min(margin, counted)),
          empty};
}

/// Counts the rows of each column before its first valid one; a column without any has them all.
/// Returns how many rows it had to look at.
int32_t count_empty_rows(const Side& side) {
  int32_t* empty = side.empty;
  __builtin_memset(empty, 0, side.width * sizeof *empty);
  for (int32_t index = 0; index < side.rows; ++index) {
    const Pixel* row = side.row(index);
    int32_t open = 0;
    for (size_t x = 0; x < side.width; ++x) {
      const int32_t still = row[x] == 0 && empty[x] == index ? 1 : 0;
      empty[x] += still;
      open |= still;
    }
    if (open == 0)
      return index + 1;
  }
  return side.rows;
}

/// Clears the margin of each column from its first valid row on, which is one of the first
/// `searched` rows.
void clear_after_empty_rows(const Side& side, int32_t searched) {
  const int32_t* empty = side.empty;
  const int32_t end = side.margin + simd::min(searched - 1, side.rows - side.margin);
  for (int32_t index = 0; index < end; ++index) {
    Pixel* row = side.row(index);
    const int32_t ended = index - side.margin;
    for (size_t x = 0; x < side.width; ++x)
      row[x] = empty[x] <= index && empty[x] > ended ? Pixel{0} : row[x];
  }
}

/// Clears the top and bottom strips as well as what `clear_rows` clears. All strips follow from the
/// image as it was: the columns' ends are looked for before anything is cleared.
///
/// The bottom limit lies one row nearer to the border than the top one: rows below `limit`, or
/// above height - `limit`.
template <typename ClearRows>
[[gnu::always_inline]] inline void
clear_with_column_strips(const EdgeStripsImage& image, uint32_t margin, uint32_t limit,
                         EdgeStripsColumns columns, ClearRows clear_rows) {
  if (margin == 0 || image.height == 0) {
    clear_rows();
    return;
  }
  const auto step = static_cast<ptrdiff_t>(image.width);
  Pixel* last_row = image.pixels + (image.height - size_t{1}) * image.width;
  const Side top = make_side(image.pixels, step, simd::min(limit, image.height), margin, columns);
  const Side bottom =
      make_side(last_row, -step, simd::min(limit - 1, image.height), margin, columns + image.width);
  const int32_t top_searched = count_empty_rows(top);
  const int32_t bottom_searched = count_empty_rows(bottom);
  clear_rows();
  clear_after_empty_rows(top, top_searched);
  clear_after_empty_rows(bottom, bottom_searched);
}

void clear_rows(const EdgeStripsImage& image, uint32_t margin, uint32_t limit) {
  const auto whole = [margin](size_t, size_t) { return size_t{margin}; };
  clear_row_strips(image, limit, whole, whole);
}

int32_t strip_rows(const EdgeStripsImage& image, uint32_t margin_x, uint32_t limit_x) {
  if (image.pixels == nullptr)
    return no_image;
  if (margin_x > limit_x)
    return margin_above_limit;
  clear_rows(image, margin_x, limit_x);
  return done;
}

int32_t strip_rows_and_columns(const EdgeStripsImage& image, uint32_t margin_x, uint32_t margin_y,
                               uint32_t limit_x, uint32_t limit_y, EdgeStripsColumns columns) {
  if (image.pixels == nullptr)
    return no_image;
  if (margin_x > limit_x || margin_y > limit_y)
    return margin_above_limit;
  clear_with_column_strips(image, margin_y, limit_y, columns,
                           [&] { clear_rows(image, margin_x, limit_x); });
  return done;
}

/// The lengths of one side's strips, from every second entry of the table.
struct ChamferedLength {
  const uint16_t* entries;

  size_t operator()(size_t y, size_t room) const { return simd::min(size_t{entries[2 * y]}, room); }
};

int32_t strip_chamfered(const EdgeStripsImage& image, uint32_t margin_y, uint32_t limit_x,
                        uint32_t limit_y, const uint16_t* table, EdgeStripsColumns columns) {
  if (image.pixels == nullptr)
    return no_image;
  if (margin_y > limit_y)
    return margin_above_limit;
  if (table == nullptr)
    return no_table;
  clear_with_column_strips(image, margin_y, limit_y, columns, [&] {
    clear_row_strips(image, limit_x, ChamferedLength{table}, ChamferedLength{table + 1});
  });
  return done;
}

} // namespace

template <>
const EdgeStripsKernels& EdgeStripsKernels::at<simd::this_level>() {
  static constexpr EdgeStripsKernels table{strip_rows, strip_rows_and_columns, strip_chamfered};
  return table;
}

} // namespace filter_processor
