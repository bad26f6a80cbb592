#pragma once

#include "filters/noise/speckle/repair-inl.h"
#include "filters/noise/speckle/rows-inl.h"

// Regions grown pixel by pixel.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

/// The bits of what growth knows of a pixel, one byte for each. Without any: invalid, or taken by a
/// region.
namespace growth_bit {
inline constexpr unsigned from_left = 0; ///< this neighbour may expand to the pixel
inline constexpr unsigned from_right = 1;
inline constexpr unsigned from_above = 2;
inline constexpr unsigned from_below = 3;
inline constexpr unsigned seed = 4;    ///< may expand itself; set also for some that may not
inline constexpr unsigned free = 5;    ///< valid, and not taken
inline constexpr unsigned removed = 6; ///< alone
} // namespace growth_bit

constexpr uint8_t with(unsigned bit) {
  return static_cast<uint8_t>(1U << bit);
}

class Growth {
 public:
  Growth(const Grid& grid, const Rules& rules, const Workspace& workspace)
      : grid_(grid), rules_(rules), limits_(workspace.limits), removed_(workspace.removed),
        queue_(workspace.growth.queue), states_(workspace.growth.states) {}

  void remove_speckles(Rows& rows, const Limit& limit, const Repair& repair) {
    find_steps(rows);
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      limit.look_up(grid_, y, limits_);
      grow_from_row(y);
    }
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      limit.look_up(grid_, y, limits_);
      remove_row(y, repair);
    }
  }

 private:
  void find_steps(Rows& rows) {
    const size_t columns = grid_.columns;
    __builtin_memset(states_ - columns, 0, columns);
    for (uint32_t y = 0; y <= grid_.rows; ++y) {
      rows.advance_to(y);
      if (y > 0)
        find_steps(rows, y - 1);
    }
    __builtin_memset(states_ + grid_.samples(), 0, columns);
  }

  /// Fills the states of row `y`, the current one, and may write more beyond its end.
  void find_steps(const Rows& rows, uint32_t y) {
    using V = simd::Lanes<Pixel>;
    using Bytes = simd::Lanes<uint8_t, sizeof(V) / 2>;
    uint8_t* states = states_ + size_t{y} * grid_.columns;
    for (size_t x = 0; x < grid_.columns; x += simd::lane_count<V>)
      simd::store(states + x,
                  __builtin_convertvector(steps_at<V>(rows, static_cast<ptrdiff_t>(x)), Bytes));
    const auto drop = [&](size_t x, unsigned neighbour) {
      states[x] = static_cast<uint8_t>(states[x] & ~with(neighbour));
    };
    drop(0, growth_bit::from_left);
    drop(grid_.columns - 1, growth_bit::from_right);
    for (size_t x = 0; y == 0 && x < grid_.columns; ++x)
      drop(x, growth_bit::from_above);
    for (size_t x = 0; y + 1 == grid_.rows && x < grid_.columns; ++x)
      drop(x, growth_bit::from_below);
  }

  /// The states of the current row from column `x` on, as if all its neighbours were in the frame.
  template <typename V>
  [[gnu::always_inline]] V steps_at(const Rows& rows, ptrdiff_t x) const {
    const V depth = simd::load<V>(rows.current.depth + x);
    const V threshold = simd::load<V>(rows.current.threshold + x);
    V steps{};
    V expands{};
    const auto meet = [&](const Row& row, ptrdiff_t at, unsigned neighbour) {
      const V other = simd::load<V>(row.depth + at);
      const V other_threshold = simd::load<V>(row.threshold + at);
      const V step = difference(depth, other);
      const V valid = ~rules_.are_invalid(other);
      steps |= rules_.may_expand(step, other_threshold) & valid & Pixel{with(neighbour)};
      expands |= rules_.may_expand(step, threshold) & valid;
    };
    meet(rows.current, x - 1, growth_bit::from_left);
    meet(rows.current, x + 1, growth_bit::from_right);
    meet(rows.above, x, growth_bit::from_above);
    meet(rows.below, x, growth_bit::from_below);
    const V valid = ~rules_.are_invalid(depth);
    return (steps | (expands & Pixel{with(growth_bit::seed)}) | Pixel{with(growth_bit::free)}) &
           valid;
  }

  void grow_from_row(uint32_t y) {
    uint8_t* row = states_ + size_t{y} * grid_.columns;
    for (size_t x = 0; x < grid_.columns; x += group) {
      const uint64_t wanted = lowest_bits * with(growth_bit::seed) & in_row(x);
      for (;;) {
        uint64_t seeds = 0;
        __builtin_memcpy(&seeds, row + x, sizeof seeds);
        seeds &= wanted;
        if (seeds == 0)
          break;
        const size_t column = x + static_cast<unsigned>(__builtin_ctzll(seeds)) / 8;
        grow(static_cast<int32_t>(row + column - states_), limits_[column]);
      }
    }
  }

  /// Takes what the seed reaches, breadth first. Free pixels before it expand to none, and are
  /// regions already, though no seeds. Which neighbours join is impossible to foresee in
  /// the content that is grown, so that no branch depends on it.
  void grow(int32_t seed, int32_t limit) {
    uint8_t* const states = states_;
    const auto columns = static_cast<int32_t>(grid_.columns);
    int32_t* const members = queue_;
    int32_t* tail = members;
    *tail++ = seed;
    states[seed] = 0;
    for (const int32_t* head = members; head != tail; ++head) {
      const int32_t here = *head;
      const auto meet = [&](int32_t neighbour, unsigned from_here) {
        const uint32_t state = states[neighbour];
        const uint32_t joins = state >> from_here & (neighbour > seed ? 1U : 0U);
        *tail = neighbour;
        tail += joins;
        states[neighbour] = static_cast<uint8_t>(state & (joins - 1));
      };
      meet(here + 1, growth_bit::from_left);
      meet(here - 1, growth_bit::from_right);
      meet(here + columns, growth_bit::from_above);
      meet(here - columns, growth_bit::from_below);
    }
    if (tail - members > limit)
      return;
    for (const int32_t* member = members; member != tail; ++member)
      states[*member] = with(growth_bit::removed);
  }

  /// What is free still may expand to no other pixel, and no region that began earlier reached it:
  /// a region each.
  void remove_row(uint32_t y, const Repair& repair) {
    const uint8_t* states = states_ + size_t{y} * grid_.columns;
    uint64_t any = 0;
    for (size_t word = 0; word < grid_.words(); ++word)
      removed_[word] = 0;
    for (size_t x = 0; x < grid_.columns; x += group) {
      const uint64_t gone = removed_of(states + x, x) & in_row(x);
      any |= gone;
      // Each byte's bit, moved to the lowest byte, by its place.
      removed_[x / word_bits] |= gone * 0x0102040810204080 >> 56 << x % word_bits;
    }
    repair.remove(y, removed_, any != 0);
  }

  /// For a group of samples from column `x` on the lowest bits of their bytes.
  [[gnu::always_inline]] uint64_t removed_of(const uint8_t* states, size_t x) const {
    uint64_t group_states = 0;
    __builtin_memcpy(&group_states, states, sizeof group_states);
    uint64_t free = 0;
    for (size_t i = 0; i < group; ++i)
      free |= uint64_t{limits_[x + i] > 0} << 8 * i;
    return (group_states >> growth_bit::removed & lowest_bits) |
           (group_states >> growth_bit::free & free);
  }

  static constexpr size_t group = sizeof(uint64_t);
  static constexpr uint64_t lowest_bits = 0x0101010101010101;

  /// Those of the bytes of a group from column `x` on that stand for samples of the row.
  uint64_t in_row(size_t x) const {
    return grid_.columns - x < group ? (uint64_t{1} << 8 * (grid_.columns - x)) - 1 : ~uint64_t{0};
  }

  Grid grid_;
  Rules rules_;
  int32_t* limits_;
  uint64_t* removed_;
  int32_t* queue_;
  uint8_t* states_;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
