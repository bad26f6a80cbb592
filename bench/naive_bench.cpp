// The naive scalar forms that the tests compare the filters with, in the filters' typical
// configurations.

#include "measure.h"
#include "naive/disparity_lookup.h"
#include "naive/edge_strips.h"
#include "naive/false_positive.h"
#include "naive/hole_filling.h"
#include "naive/invalid_depth.h"
#include "naive/sampling.h"
#include "naive/spatial_advanced.h"
#include "naive/spatial_fast.h"
#include "naive/spatial_moderate.h"
#include "naive/speckles.h"
#include "naive/temporal.h"

namespace bench {
namespace {

naive::Image image(Pixels& pixels, Size size) {
  return {pixels, size.width, size.height};
}

void lookup(Pixels& pixels, Size) {
  static const Pixels table = descending_depths();
  naive::look_up(pixels, table);
}

template <uint32_t factor>
void resize(Pixels& from, Size size, Pixels& to) {
  const auto walk = [](uint32_t side) {
    return naive::Walk{0, static_cast<int>(factor * side), 0, 65536 / factor};
  };
  naive::sample(image(from, size), image(to, {factor * size.width, factor * size.height}),
                walk(size.width), walk(size.height));
}

template <void (*median)(const naive::Image&, const naive::Image&)>
void filter(Pixels& from, Size size, Pixels& to) {
  median(image(from, size), image(to, size));
}

void window_mean_5x5(Pixels& pixels, Size size) {
  naive::smooth_windows(image(pixels, size), 2, 1, {.fixed = true, .value = 160});
}

void recursive_mean(Pixels& pixels, Size size) {
  naive::smooth_recursively(image(pixels, size), {.fixed = true, .value = 160}, 1, 1);
}

/// Strips of six pixels at both ends of each row, where these lie within 70 pixels of the border.
void edge_rows(Pixels& pixels, Size size) {
  const naive::Runs runs(size.height, {6, 6});
  pixels = naive::clear_strips(pixels, size.width, size.height, {runs, false, 70, 0, 0});
}

void speckles(Pixels& pixels, Size size) {
  naive::remove_speckles(
      {.width = size.width, .height = size.height, .max_diff = 160, .max_size = 80}, pixels);
}

void false_positive_all(Pixels& pixels, Size size) {
  naive::false_positive::Fired fired;
  naive::false_positive::Filter filter(fired);
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
    Pixels from = cached(noisy_scene, size);
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
  add_form("clear_between", [](Pixels& pixels, Size) { naive::clear_between(pixels, 1000, 1500); });
  add_copying_form("resize_same", 1, resize<1>);
  add_copying_form("resize_double", 2, resize<2>);
  add_form("fill_top", [](Pixels& pixels, Size size) { naive::fill_top(image(pixels, size)); });
  add_form("fill_nearest",
           [](Pixels& pixels, Size size) { naive::fill_minimum(image(pixels, size)); });
  add_form("fill_farthest",
           [](Pixels& pixels, Size size) { naive::fill_maximum(image(pixels, size)); });
  add_copying_form("median_3x3", 1, filter<naive::median_3x3>);
  add_copying_form("median_5x5", 1, filter<naive::median_5x5>);
  add("blend", [](benchmark::State& state, Size size) {
    const Pixels& scene = cached(noisy_scene, size);
    measure_with_copy(state, scene, [previous = scene](Pixels& pixels) mutable {
      naive::blend(pixels, previous, 0.1F, 0.4F);
    });
  });
  add_form("window_mean_5x5", window_mean_5x5);
  add_form("recursive_mean", recursive_mean);
  add_form("edge_rows", edge_rows);
  add_form("speckles", speckles);
  add_form("false_positive_all", false_positive_all);
}

} // namespace bench
