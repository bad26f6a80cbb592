// The filters' jobs as one would first write them: scalar, pixel by pixel, in the plain order.

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iterator>

#include "measure.h"
#include "naive/false_positive.h"
#include "naive/speckles.h"

namespace bench {
namespace {

using Pixel = uint16_t;

Pixels descending_depths() {
  Pixels table(65536);
  for (uint32_t code = 1; code < table.size(); ++code)
    table[code] = static_cast<Pixel>(5'000'000 / (code + 80));
  return table;
}

void lookup(Pixels& pixels, Size) {
  static const Pixels table = descending_depths();
  for (Pixel& pixel : pixels)
    pixel = table[pixel];
}

void clear_between(Pixels& pixels, Size) {
  for (Pixel& pixel : pixels)
    if (pixel >= 1000 && pixel <= 1500)
      pixel = 0;
}

/// Nearest neighbour in 16.16 fixed point.
template <uint32_t factor>
void resize(const Pixels& from, Size size, Pixels& to) {
  constexpr uint32_t step = 65536 / factor;
  for (uint32_t y = 0; y < factor * size.height; ++y) {
    for (uint32_t x = 0; x < factor * size.width; ++x) {
      const uint32_t row = y * step >> 16;
      to[size_t{y} * factor * size.width + x] = from[row * size.width + (x * step >> 16)];
    }
  }
}

void fill_top(Pixels& pixels, Size size) {
  for (size_t i = size.width; i < pixels.size(); ++i)
    if (pixels[i] == 0)
      pixels[i] = pixels[i - size.width];
}

/// From the neighbour above, below or to the left whose valid value comes first by `before`.
template <typename Before>
void fill_extreme(Pixels& pixels, Size size, Before before) {
  for (uint32_t y = 1; y + 1 < size.height; ++y) {
    for (uint32_t x = 1; x < size.width; ++x) {
      Pixel* const pixel = &pixels[size_t{y} * size.width + x];
      if (*pixel != 0)
        continue;
      for (const Pixel* neighbour : {pixel - size.width, pixel + size.width, pixel - 1})
        if (*neighbour != 0 && (*pixel == 0 || before(*neighbour, *pixel)))
          *pixel = *neighbour;
    }
  }
}

template <ptrdiff_t reach>
void median(const Pixels& from, Size size, Pixels& to) {
  constexpr ptrdiff_t side = 2 * reach + 1;
  constexpr size_t area{side * side};
  const auto width = static_cast<ptrdiff_t>(size.width);
  for (ptrdiff_t y = reach; y + reach < ptrdiff_t{size.height}; ++y) {
    for (ptrdiff_t x = reach; x + reach < width; ++x) {
      Pixel window[area];
      Pixel* end = window;
      for (ptrdiff_t dy = -reach; dy <= reach; ++dy)
        end = std::copy_n(&from[static_cast<size_t>((y + dy) * width + x - reach)], side, end);
      Pixel* const middle = window + area / 2;
      std::nth_element(window, middle, end);
      to[static_cast<size_t>(y * width + x)] = *middle;
    }
  }
}

void blend(Pixels& pixels, Pixels& previous) {
  for (size_t i = 0; i < pixels.size(); ++i) {
    const auto current = static_cast<float>(pixels[i]);
    const auto before = static_cast<float>(previous[i]);
    if (current > 0 && before > 0 && std::abs(current - before) < std::min(current, before) * 0.1F)
      pixels[i] = static_cast<Pixel>(before * (1 - 0.4F) + current * 0.4F);
    previous[i] = pixels[i];
  }
}

/// The mean of the valid pixels of a window that are close to its centre.
void window_mean_5x5(Pixels& pixels, Size size) {
  const auto width = static_cast<ptrdiff_t>(size.width);
  for (ptrdiff_t y = 2; y + 2 < ptrdiff_t{size.height}; ++y) {
    for (ptrdiff_t x = 2; x + 2 < width; ++x) {
      Pixel* const centre = &pixels[static_cast<size_t>(y * width + x)];
      if (*centre == 0)
        continue;
      uint32_t sum = 0;
      uint32_t count = 0;
      for (ptrdiff_t dy = -2; dy <= 2; ++dy) {
        for (ptrdiff_t dx = -2; dx <= 2; ++dx) {
          const Pixel other = centre[dy * width + dx];
          if (other != 0 && std::abs(other - *centre) < 160) {
            sum += other;
            ++count;
          }
        }
      }
      *centre = static_cast<Pixel>(sum / count);
    }
  }
}

void join_mean(const Pixel& before, Pixel& pixel) {
  if (before != 0 && pixel != 0 && std::abs(before - pixel) <= 160)
    pixel = static_cast<Pixel>((before + pixel) / 2);
}

/// Means of each pixel and the one before it along rows and columns, forth and back.
void recursive_mean(Pixels& pixels, Size size) {
  const size_t width = size.width;
  for (size_t row = 0; row < pixels.size(); row += width) {
    for (size_t x = 1; x < width; ++x)
      join_mean(pixels[row + x - 1], pixels[row + x]);
    for (size_t x = width - 1; x > 0; --x)
      join_mean(pixels[row + x], pixels[row + x - 1]);
  }
  for (size_t i = width; i < pixels.size(); ++i)
    join_mean(pixels[i - width], pixels[i]);
  for (size_t i = pixels.size(); i-- > width;)
    join_mean(pixels[i], pixels[i - width]);
}

/// Strips of six pixels at both ends of each row, where these lie within 70 pixels of the border.
void edge_rows(Pixels& pixels, Size size) {
  for (size_t row = 0; row < pixels.size(); row += size.width) {
    const auto clear = [&](auto first, auto end) {
      const auto valid = std::find_if(first, end, [](Pixel pixel) { return pixel != 0; });
      if (valid - first < 70)
        std::fill_n(valid, std::min<ptrdiff_t>(6, end - valid), Pixel{0});
    };
    const auto first = pixels.begin() + static_cast<ptrdiff_t>(row);
    const auto last = first + static_cast<ptrdiff_t>(size.width);
    clear(first, last);
    clear(std::make_reverse_iterator(last), std::make_reverse_iterator(first));
  }
}

void speckles(Pixels& pixels, Size size) {
  test::naive_remove_speckles(
      {.width = size.width, .height = size.height, .max_diff = 160, .max_size = 80}, pixels);
}

void false_positive_all(Pixels& pixels, Size size) {
  naive::Fired fired;
  naive::Filter filter(fired);
  for (const size_t detector : {52U, 79U, 160U})
    filter.anchor.u8(detector, 1);
  filter.process(pixels, static_cast<int>(size.width), static_cast<int>(size.height));
}

template <typename Run>
void add(const char* form, Run run) {
  for (const Size size : sizes) {
    const std::string name = std::string("naive/") + form + "/" + text(size);
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
      run(state, size);
      set_throughput(state, size);
    });
  }
}

/// Forms that work in place.
template <typename Form>
void add_form(const char* name, Form form, Scene scene = noisy_scene) {
  add(name, [=](benchmark::State& state, Size size) {
    measure_with_copy(state, cached(scene, size), [&](Pixels& pixels) { form(pixels, size); });
  });
}

/// Forms that write another frame, `factor` times as wide and high, than they read.
template <typename Form>
void add_copying_form(const char* name, uint32_t factor, Form form) {
  add(name, [=](benchmark::State& state, Size size) {
    const Pixels& from = cached(noisy_scene, size);
    Pixels to(size_t{factor} * factor * size.pixels());
    for (auto _ : state) {
      form(from, size, to);
      benchmark::ClobberMemory();
    }
  });
}

} // namespace

void register_naive_forms() {
  add_form("lookup", lookup);
  add_form("lookup_random_codes", lookup, dense_noise);
  add_form("clear_between", clear_between);
  add_copying_form("resize_same", 1, resize<1>);
  add_copying_form("resize_double", 2, resize<2>);
  add_form("fill_top", fill_top);
  add_form("fill_nearest",
           [](Pixels& pixels, Size size) { fill_extreme(pixels, size, std::less<>()); });
  add_form("fill_farthest",
           [](Pixels& pixels, Size size) { fill_extreme(pixels, size, std::greater<>()); });
  add_copying_form("median_3x3", 1, median<1>);
  add_copying_form("median_5x5", 1, median<2>);
  add("blend", [](benchmark::State& state, Size size) {
    const Pixels& scene = cached(noisy_scene, size);
    measure_with_copy(state, scene,
                      [previous = scene](Pixels& pixels) mutable { blend(pixels, previous); });
  });
  add_form("window_mean_5x5", window_mean_5x5);
  add_form("recursive_mean", recursive_mean);
  add_form("edge_rows", edge_rows);
  add_form("speckles", speckles);
  add_form("false_positive_all", false_positive_all);
}

} // namespace bench
