#include "filters/noise/false_positive/turn_kernels.h"

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;
using Pixels = simd::Lanes<Pixel>;

/// Squares of 8 x 8 pixels are turned, as many side by side as fit into a vector.
constexpr uint32_t side = 8;
constexpr auto block_rows = static_cast<uint32_t>(simd::lane_count<Pixels>);

/// Of which of 2 x `block_rows` lanes lane `i` is made when, in each eight of them, groups of
/// `group` lanes of two vectors take turns: their lower or upper halves.
constexpr int interleaved(size_t i, size_t group, bool upper) {
  const size_t in_eight = i % side;
  const size_t vector = in_eight / group % 2;
  const size_t lane = in_eight / (2 * group) * group + in_eight % group + (upper ? side / 2 : 0);
  return static_cast<int>(vector * block_rows + i - in_eight + lane);
}

template <size_t Group, bool Upper, size_t... I>
[[gnu::always_inline]] inline Pixels interleave(Pixels a, Pixels b, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, interleaved(I, Group, Upper)...);
}

/// Two vectors with groups of `Group` lanes of `a` and `b` in turns.
template <size_t Group>
[[gnu::always_inline]] inline void interleave(Pixels a, Pixels b, Pixels& lower, Pixels& upper) {
  constexpr std::make_index_sequence<block_rows> lanes;
  lower = interleave<Group, false>(a, b, lanes);
  upper = interleave<Group, true>(a, b, lanes);
}

/// Swaps rows and columns of each square of which the vectors hold a row.
[[gnu::always_inline]] inline void transpose(Pixels (&rows)[side]) {
  Pixels pairs[side];
  for (uint32_t i = 0; i < side; i += 2)
    interleave<1>(rows[i], rows[i + 1], pairs[i], pairs[i + 1]);
  Pixels fours[side];
  for (uint32_t i = 0; i < side; i += 4) {
    interleave<2>(pairs[i], pairs[i + 2], fours[i], fours[i + 1]);
    interleave<2>(pairs[i + 1], pairs[i + 3], fours[i + 2], fours[i + 3]);
  }
  for (uint32_t i = 0; i < side / 2; ++i)
    interleave<4>(fours[i], fours[i + side / 2], rows[size_t{2} * i], rows[size_t{2} * i + 1]);
}

/// The rows of `Count` / `side` squares that lie `distance` apart.
template <uint32_t Count>
[[gnu::always_inline]] inline auto load_squares(const Pixel* row, ptrdiff_t distance) {
  if constexpr (Count == side) {
    return simd::load<simd::Lanes<Pixel, side * sizeof(Pixel)>>(row);
  } else {
    constexpr uint32_t half = Count / 2;
    return simd::join(load_squares<half>(row, distance),
                      load_squares<half>(row + half / side * distance, distance));
  }
}

class QuarterTurn {
 public:
  QuarterTurn(const Pixel* from, uint32_t width, uint32_t height, bool clockwise, Pixel* to)
      : from_(from), width_(width), height_(height), clockwise_(clockwise), to_(to) {}

  void run() const {
    if (width_ < side || height_ < block_rows) {
      for (uint32_t y = 0; y < height_; ++y)
        for (uint32_t x = 0; x < width_; ++x)
          *place(x, y) = from_[size_t{y} * width_ + x];
      return;
    }
    // So many rows that what they become fills lines of the cache.
    constexpr uint32_t strip = 32;
    for (uint32_t top = 0; top < height_; top += strip) {
      const uint32_t bottom = simd::min(top + strip, height_);
      for (uint32_t x = 0; x < width_; x += side)
        for (uint32_t y = top; y < bottom; y += block_rows)
          turn_block(simd::min(x, width_ - side), simd::min(y, height_ - block_rows));
    }
  }

 private:
  Pixel* place(uint32_t x, uint32_t y) const {
    return clockwise_ ? to_ + size_t{x} * height_ + (height_ - 1 - y)
                      : to_ + size_t{width_ - 1 - x} * height_ + y;
  }

  /// Turns `side` columns and `block_rows` rows from there on. What two blocks share is the same
  /// from both.
  [[gnu::always_inline]] void turn_block(uint32_t left, uint32_t top) const {
    const uint32_t last = top + block_rows - 1;
    const Pixel* first_row = from_ + size_t{clockwise_ ? last : top} * width_ + left;
    const auto width = static_cast<ptrdiff_t>(width_);
    const ptrdiff_t next_row = clockwise_ ? -width : width;
    Pixels rows[side];
    for (ptrdiff_t i = 0; i < ptrdiff_t{side}; ++i)
      rows[i] = load_squares<block_rows>(first_row + i * next_row,
                                         static_cast<ptrdiff_t>(side) * next_row);
    transpose(rows);
    for (uint32_t i = 0; i < side; ++i)
      simd::store(place(left + i, clockwise_ ? last : top), rows[i]);
  }

  const Pixel* from_;
  uint32_t width_, height_;
  bool clockwise_;
  Pixel* to_;
};

template <size_t... I>
[[gnu::always_inline]] inline Pixels reversed(Pixels pixels, std::index_sequence<I...>) {
  return __builtin_shufflevector(pixels, pixels, static_cast<int>(block_rows - 1 - I)...);
}

void turn_half(const Pixel* from, size_t count, Pixel* to) {
  size_t i = 0;
  for (; i + block_rows <= count; i += block_rows)
    simd::store(to + count - block_rows - i,
                reversed(simd::load<Pixels>(from + i), std::make_index_sequence<block_rows>{}));
  for (; i < count; ++i)
    to[count - 1 - i] = from[i];
}

void turn_image(const Pixel* from, uint32_t width, uint32_t height, unsigned quarter_turns,
                Pixel* to) {
  if (quarter_turns == 2)
    turn_half(from, size_t{width} * height, to);
  else
    QuarterTurn(from, width, height, quarter_turns == 1, to).run();
}

} // namespace

template <>
const TurnKernels& TurnKernels::at<simd::this_level>() {
  static constexpr TurnKernels table{turn_image};
  return table;
}

} // namespace filter_processor
