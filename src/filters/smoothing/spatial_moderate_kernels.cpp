#include "filters/smoothing/spatial_moderate_kernels.h"

#include "filters/smoothing/depth_bins-inl.h"
#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;
using simd::Lanes;

constexpr size_t group_size = 8;

/// The 16-bit lanes of a vector as numbers of 32 bits: those of even and those of odd index.
template <typename V>
struct Halves {
  using Wide = Lanes<uint32_t, sizeof(V)>;
  Wide even, odd;

  [[gnu::always_inline]] static Halves of(V lanes) {
    const auto pairs = reinterpret_cast<Wide>(lanes);
    return {pairs & 0xffff, pairs >> 16};
  }
  [[gnu::always_inline]] V joined() const { return reinterpret_cast<V>(even | odd << 16); }
};

/// sum / count, for whole numbers below 2^24 with a quotient of 16 bits and counts up to 49: the
/// quotient of a pair that does not divide evenly lies 1 / 49 or more below the next whole number,
/// and the rounding to float is finer than that.
template <typename Wide>
[[gnu::always_inline]] inline Wide quotient(Wide sum, Wide count) {
  using Signed = Lanes<int32_t, sizeof(Wide)>;
  using Float = Lanes<float, sizeof(Wide)>;
  const auto numerator = __builtin_convertvector(reinterpret_cast<Signed>(sum), Float);
  const auto denominator = __builtin_convertvector(reinterpret_cast<Signed>(count), Float);
  return reinterpret_cast<Wide>(__builtin_convertvector(numerator / denominator, Signed));
}

constexpr ptrdiff_t largest_float_reach = 3;

/// A divisor for all lanes, those without a result of their own included.
template <typename V>
[[gnu::always_inline]] inline V at_least_one(V counts) {
  return counts == 0 ? simd::broadcast<V>(Pixel{1}) : counts;
}

// What a window collects of the pixels that pass, given with a mask. `mean` is meaningful in lanes
// with at least one.

/// Sums of 32 bits, for any window and threshold.
template <typename V>
class WideSums {
 public:
  explicit WideSums(V /*level*/, ptrdiff_t reach) : reach_(reach) {}

  [[gnu::always_inline]] void add(V pixel, V passes) {
    const auto pairs = reinterpret_cast<Wide>(static_cast<V>(pixel & passes));
    pairs_ += pairs;
    odd_ += pairs >> 16;
    count_ -= passes;
  }
  V count() const { return count_; }

  [[gnu::always_inline]] V mean() const {
    const Wide even = pairs_ - (odd_ << 16); // exact: modulo 2^32, in which the sum fits
    const V divisor = at_least_one(count_);
    const auto counts = Halves<V>::of(divisor);
    if (reach_ <= largest_float_reach)
      return Halves<V>{quotient(even, counts.even), quotient(odd_, counts.odd)}.joined();
    return Halves<V>{even / counts.even, odd_ / counts.odd}.joined();
  }

 private:
  using Wide = typename Halves<V>::Wide;

  ptrdiff_t reach_;
  Wide pairs_{}, odd_{}; ///< sums of even + 2^16 x odd, and of odd
  V count_{};
};

/// The largest threshold with which NarrowSums do not overflow.
constexpr int narrow_threshold(int reach) {
  const int count = (2 * reach + 1) * (2 * reach + 1);
  return (0xffff - (count - 1)) / count / 2 + 1;
}

/// Half the value range. Comparisons are signed, the only ones that all levels have, so both sides
/// are moved by it.
constexpr Pixel half = 0x8000;

/// Sums of 16 bits of the distances from a level at or above all pixels that pass. The level is
/// given moved by half the value range, like a Range's top: where it is that top, sum and
/// comparison share a subtraction.
template <typename V, int Reach>
class NarrowSums {
 public:
  explicit NarrowSums(V level, ptrdiff_t /*reach*/) : level_(level) {}

  [[gnu::always_inline]] void add(V pixel, V passes) {
    sum_ += (level_ - pixel) & passes;
    count_ -= passes;
  }
  V count() const { return count_; }

  [[gnu::always_inline]] V mean() const {
    const V divisor = at_least_one(count_);
    const V rounded_up = sum_ + count_ * half + divisor - 1;
    const auto sums = Halves<V>::of(rounded_up);
    const auto counts = Halves<V>::of(divisor);
    return (level_ ^ half) -
           Halves<V>{quotient(sums.even, counts.even), quotient(sums.odd, counts.odd)}.joined();
  }

 private:
  V level_;
  V sum_{}, count_{};
};

/// The valid pixels that are closer than a threshold to the centre, as one range.
template <typename V>
class Range {
 public:
  [[gnu::always_inline]] Range(V centre, V threshold) {
    // As 65536 - centre, the distance to the first value above the range of pixels.
    const V below = simd::min(threshold, centre);
    const V above = simd::min(threshold, static_cast<V>(V{} - centre));
    const V some = reinterpret_cast<V>(below != 0);
    size_ = (below + above + some) ^ half;
    top_ = (centre + above + some) ^ half;
  }

  V top() const { return top_; }

  /// All ones in the lanes whose pixel lies in the range.
  [[gnu::always_inline]] V contains(V pixel) const {
    using Signed = Lanes<int16_t, sizeof(V)>;
    return reinterpret_cast<V>(reinterpret_cast<Signed>(static_cast<V>(top_ - pixel)) <
                               reinterpret_cast<Signed>(size_));
  }

 private:
  V top_, size_;
};

// Thresholds: `begin_row` comes before those of a row are asked for. `level` is that of NarrowSums
// for thresholds up to `largest`.

struct FixedThreshold {
  Pixel value;

  Pixel largest() const { return value; }
  void begin_row(const Pixel* /*row*/, size_t /*width*/) const {}
  Pixel at(size_t /*x*/) const { return value; }
  template <typename V>
  [[gnu::always_inline]] V of_groups(size_t /*x*/) const {
    return simd::broadcast<V>(value);
  }
  template <typename V>
  [[gnu::always_inline]] V level(V centre, int /*largest*/) const {
    return Range<V>(centre, simd::broadcast<V>(value)).top();
  }
};

struct TableThresholds {
  DepthBins bins;
  unsigned shift;
  Pixel* of_row; ///< the threshold of each pixel of the row

  Pixel largest() const {
    Pixel result = 0;
    for (size_t i = 0; i < DepthBins::count; ++i)
      result = simd::max(result, bins[i]);
    return result;
  }

  void begin_row(const Pixel* row, size_t width) const {
    using V = Lanes<Pixel>;
    constexpr size_t step = simd::lane_count<V>;
    size_t x = 0;
    for (; x + step <= width; x += step) {
      const V bins_of_depths = DepthBins::bins_of(simd::load<V>(row + x), shift);
      simd::store(of_row + x, bins.look_up(bins_of_depths));
    }
    for (; x < width; ++x)
      of_row[x] = bins[DepthBins::bins_of(row[x], shift)];
  }

  Pixel at(size_t x) const { return of_row[x]; }

  /// The threshold of pixel x for the first eight lanes, that of pixel x + 8 for the next eight...
  template <typename V>
  [[gnu::always_inline]] V of_groups(size_t x) const {
    return first_of_groups(simd::load<V>(of_row + x),
                           std::make_index_sequence<simd::lane_count<V>>{});
  }

  template <typename V>
  [[gnu::always_inline]] V level(V centre, int largest) const {
    return (centre + static_cast<Pixel>(largest - 1)) ^ half;
  }

 private:
  template <typename V, size_t... I>
  [[gnu::always_inline]] static V first_of_groups(V lanes, std::index_sequence<I...>) {
    return __builtin_shufflevector(lanes, lanes, static_cast<int>(I / group_size * group_size)...);
  }
};

/// The row being smoothed; its new pixels are kept apart until the row is done.
struct Row {
  const Pixel* centre;
  size_t width;
  ptrdiff_t reach;
  Pixel* means;

  size_t end() const { return width - static_cast<size_t>(reach); }
  const Pixel* neighbours(size_t x, ptrdiff_t dy) const {
    return centre + dy * static_cast<ptrdiff_t>(width) + static_cast<ptrdiff_t>(x);
  }
};

/// `Reach` is the row's, known to the compiler, or 0.
template <typename V, int Reach, typename Sums, typename Threshold>
[[gnu::always_inline]] inline V mean_of_groups(const Row& row, size_t x,
                                               const Threshold& threshold) {
  const ptrdiff_t reach = Reach > 0 ? Reach : row.reach;
  const V centre = simd::load<V>(row.centre + x);
  Sums sums(threshold.level(centre, narrow_threshold(Reach)), reach);
  for (ptrdiff_t dy = -reach; dy <= reach; ++dy) {
    const auto shifted = static_cast<size_t>(static_cast<ptrdiff_t>(x) + dy);
    const Range<V> range(centre, threshold.template of_groups<V>(shifted));
    const Pixel* neighbours = row.neighbours(x, dy);
    for (ptrdiff_t dx = -reach; dx <= reach; ++dx) {
      const V pixel = simd::load<V>(neighbours + dx);
      sums.add(pixel, range.contains(pixel));
    }
  }
  return sums.count() == 0 ? centre : sums.mean();
}

template <typename V, int Reach>
struct SumsOf {
  using Type = NarrowSums<V, Reach>;
};
template <typename V>
struct SumsOf<V, 0> {
  using Type = WideSums<V>;
};

/// Smooths from column `x` on in vectors of `Bytes` and then in shorter ones, as long as a group is
/// left. Returns the first column not smoothed.
template <int Reach, size_t Bytes, typename Threshold>
[[gnu::always_inline]] inline size_t smooth_groups(const Row& row, size_t x,
                                                   const Threshold& threshold) {
  using V = Lanes<Pixel, Bytes>;
  constexpr size_t step = simd::lane_count<V>;
  using Sums = typename SumsOf<V, Reach>::Type;
  for (; x + step <= row.end(); x += step)
    simd::store(row.means + x, mean_of_groups<V, Reach, Sums>(row, x, threshold));
  if constexpr (step > group_size)
    return smooth_groups<Reach, Bytes / 2>(row, x, threshold);
  return x;
}

Pixel mean_of_single(const Row& row, size_t x, Pixel threshold) {
  const Pixel centre = row.centre[x];
  if (centre == 0)
    return centre;
  uint32_t sum = 0;
  uint32_t count = 0;
  for (ptrdiff_t dy = -row.reach; dy <= row.reach; ++dy) {
    const Pixel* neighbours = row.neighbours(x, dy);
    for (ptrdiff_t dx = -row.reach; dx <= row.reach; ++dx) {
      const Pixel pixel = neighbours[dx];
      const int difference = pixel > centre ? pixel - centre : centre - pixel;
      const bool passes = pixel != 0 && difference <= threshold;
      sum += passes ? pixel : 0U;
      count += passes ? 1U : 0U;
    }
  }
  // The centre itself always passes. NOLINTNEXTLINE(clang-analyzer-core.DivideZero)
  return static_cast<Pixel>(sum / count);
}

template <int Reach, typename Threshold>
void smooth(const SmoothingWindow& window, const Threshold& threshold) {
  const size_t width = window.width;
  const size_t reach = window.reach;
  for (uint32_t i = 0; i < window.iterations; ++i) {
    for (size_t y = reach; y + reach < window.height; ++y) {
      Pixel* pixels = window.pixels + y * width;
      const Row row{pixels, width, static_cast<ptrdiff_t>(reach), window.row_buffers};
      threshold.begin_row(pixels, width);
      size_t x = smooth_groups<Reach, simd::vector_bytes>(row, reach, threshold);
      for (; x < row.end(); ++x)
        row.means[x] = mean_of_single(row, x, threshold.at(x));
      __builtin_memcpy(pixels + reach, row.means + reach, (width - 2 * reach) * sizeof(Pixel));
    }
  }
}

template <typename Threshold>
void smooth_window(const SmoothingWindow& window, const Threshold& threshold) {
  // A window of one pixel has that pixel as its mean.
  if (window.reach == 0 || window.width <= 2 * window.reach)
    return;
  const int largest = threshold.largest();
  if (window.reach == 1 && largest <= narrow_threshold(1))
    smooth<1>(window, threshold);
  else if (window.reach == 2 && largest <= narrow_threshold(2))
    smooth<2>(window, threshold);
  else if (window.reach == 3 && largest <= narrow_threshold(3))
    smooth<3>(window, threshold);
  else
    smooth<0>(window, threshold);
}

void smooth_fixed(const SmoothingWindow& window, Pixel threshold) {
  smooth_window(window, FixedThreshold{threshold});
}

void smooth_table(const SmoothingWindow& window, const Pixel* thresholds, unsigned shift) {
  smooth_window(window,
                TableThresholds{DepthBins(thresholds), shift, window.row_buffers + window.width});
}

} // namespace

template <>
const SpatialModerateKernels& SpatialModerateKernels::at<simd::this_level>() {
  static constexpr SpatialModerateKernels table{smooth_fixed, smooth_table};
  return table;
}

} // namespace filter_processor
