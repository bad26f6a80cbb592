// Each kernel alone, with the numbers that the filters' typical configurations give it.

#include <cstddef>
#include <memory>

#include "filters/depth/disparity_lookup_kernels.h"
#include "filters/depth/invalid_depth_kernels.h"
#include "filters/depth/sampling_kernels.h"
#include "filters/noise/edge_strips_kernels.h"
#include "filters/noise/false_positive/region_kernels.h"
#include "filters/noise/false_positive/workspace.h"
#include "filters/noise/speckle/speckle_kernels.h"
#include "filters/smoothing/hole_filling_kernels.h"
#include "filters/smoothing/spatial_advanced_kernels.h"
#include "filters/smoothing/spatial_fast_kernels.h"
#include "filters/smoothing/spatial_moderate_kernels.h"
#include "filters/smoothing/temporal_kernels.h"
#include "measure.h"

namespace bench {
namespace {

using namespace filter_processor;

constexpr uint16_t step = 160; ///< tolerated difference
/// The tolerated differences of seven depth bins.
constexpr uint16_t steps[] = {4, 8, 16, 32, 64, 128, 256};

/// `make_work(kernels, size)` returns what processes the pixels of a frame in place.
template <typename Kernels, typename MakeWork>
void add(const std::string& kernel, MakeWork make_work) {
  for (const Size size : sizes) {
    for (const simd::Level level : simd::supported_levels()) {
      const std::string name =
          "kernels/" + kernel + "/" + text(size) + "/" + simd::level_name(level);
      const auto run = [=](benchmark::State& state) {
        measure_in_place(state, cached(noisy_scene, size),
                         make_work(simd::kernels<Kernels>(level), size));
        set_throughput(state, size);
      };
      benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime();
    }
  }
}

void add_hole_filling() {
  using Kernels = HoleFillingKernels;
  const auto fill = [](const std::string& name, auto member) {
    add<Kernels>("HoleFilling." + name, [=](const Kernels& kernels, Size size) {
      return [=, fill = kernels.*member](Pixels& pixels) {
        fill(pixels.data(), size.width, size.height);
      };
    });
  };
  fill("top", &Kernels::top);
  fill("minimum", &Kernels::minimum);
  fill("maximum", &Kernels::maximum);
}

void add_medians() {
  using Kernels = SpatialFastKernels;
  const auto median = [](const std::string& name, auto member) {
    add<Kernels>("SpatialFast." + name, [=](const Kernels& kernels, Size size) {
      const Pixels& input = cached(noisy_scene, size);
      return [=, &input, filter = kernels.*member](Pixels& output) {
        filter(input.data(), output.data(), size.width, size.height);
      };
    });
  };
  median("median_3x3", &Kernels::median_3x3);
  median("median_5x5", &Kernels::median_5x5);
}

void add_temporal() {
  add<TemporalKernels>("Temporal.blend", [](const TemporalKernels& kernels, Size size) {
    return [&kernels, previous = cached(noisy_scene, size)](Pixels& pixels) mutable {
      kernels.blend(pixels.data(), previous.data(), pixels.size(), 0.1F, 0.4F);
    };
  });
}

void add_spatial_moderate() {
  using Kernels = SpatialModerateKernels;
  const auto smooth = [](const std::string& name, auto call) {
    add<Kernels>("SpatialModerate." + name, [=](const Kernels& kernels, Size size) {
      return [=, &kernels,
              rows = Pixels(size_t{Kernels::row_buffers} * size.width)](Pixels& pixels) mutable {
        call(kernels, {pixels.data(), size.width, size.height, 2, 1, rows.data()});
      };
    });
  };
  smooth("fixed_5x5", [](const Kernels& kernels, const SmoothingWindow& window) {
    kernels.fixed(window, step);
  });
  smooth("table_5x5", [](const Kernels& kernels, const SmoothingWindow& window) {
    kernels.table(window, steps, 10);
  });
}

void add_spatial_advanced() {
  using Kernels = SpatialAdvancedKernels;
  const auto smooth = [](const std::string& name, auto call) {
    add<Kernels>("SpatialAdvanced." + name, [=](const Kernels& kernels, Size size) {
      const auto width = static_cast<uint16_t>(size.width);
      const auto height = static_cast<uint16_t>(size.height);
      return
          [=, &kernels, work = Pixels(Kernels::work_size(width, height))](Pixels& pixels) mutable {
            call(kernels, PixelGrid{pixels.data(), width, height}, work.data());
          };
    });
  };
  smooth("fixed", [](const Kernels& kernels, const PixelGrid& grid, uint16_t* work) {
    kernels.fixed(grid, step, 1, work);
  });
  smooth("table", [](const Kernels& kernels, const PixelGrid& grid, uint16_t* work) {
    kernels.table(grid, steps, 1, 1, work);
  });
}

void add_disparity_lookup() {
  using Kernels = DisparityLookupKernels;
  const auto map = [](const std::string& name, auto member) {
    add<Kernels>("DisparityLookup." + name, [=](const Kernels& kernels, Size) {
      return [map = kernels.*member, table = descending_depths()](Pixels& pixels) {
        map(pixels.data(), pixels.data(), pixels.size(), table.data());
      };
    });
  };
  map("whole", &Kernels::whole);
  map("shifted", &Kernels::shifted);
}

void add_invalid_depth() {
  add<InvalidDepthKernels>("InvalidDepth.clear_between", [](const auto& kernels, Size) {
    return [&kernels](Pixels& pixels) {
      kernels.clear_between(pixels.data(), pixels.size(), 1000, 1500);
    };
  });
}

/// Sampling of whole frames that are enlarged by a whole factor.
void add_sampling() {
  const auto sample = [](const std::string& name, uint32_t factor, bool mapped) {
    add<SamplingKernels>("Sampling." + name, [=](const SamplingKernels& kernels, Size size) {
      const uint32_t width = factor * size.width;
      const uint32_t height = factor * size.height;
      Pixels columns(width);
      for (uint32_t x = 0; x < width; ++x)
        columns[x] = static_cast<uint16_t>(x / factor);
      return [=, &kernels, table = descending_depths(),
              output = Pixels(Size{width, height}.pixels())](Pixels& pixels) mutable {
        const SampledRows rows{width,
                               height,
                               0,
                               width,
                               0,
                               height,
                               columns.data(),
                               factor == 1 ? width : 1,
                               size.width,
                               {0, 65536 / factor, size.height}};
        kernels.sample(rows, pixels.data(), output.data(), mapped ? table.data() : nullptr);
      };
    });
  };
  sample("same", 1, false);
  sample("double", 2, false);
  sample("same_mapped", 1, true);
}

void add_edge_strips() {
  using Kernels = EdgeStripsKernels;
  const auto clear = [](const std::string& name, auto call) {
    add<Kernels>("EdgeStrips." + name, [=](const Kernels& kernels, Size size) {
      return [=, &kernels, table = Pixels(size_t{2} * size.height, 20),
              columns = std::vector<int32_t>(size_t{2} * size.width)](Pixels& pixels) mutable {
        call(kernels, {pixels.data(), size.width, size.height}, table.data(), columns.data());
      };
    });
  };
  using Image = EdgeStripsImage;
  clear("rows", [](const Kernels& kernels, const Image& image, const uint16_t*, EdgeStripsColumns) {
    kernels.rows(image, 6, 70);
  });
  clear("rows_and_columns",
        [](const Kernels& kernels, const Image& image, const uint16_t*, EdgeStripsColumns columns) {
          kernels.rows_and_columns(image, 6, 6, 70, 30, columns);
        });
  clear("chamfered_rows_and_columns", [](const Kernels& kernels, const Image& image,
                                         const uint16_t* table, EdgeStripsColumns columns) {
    kernels.chamfered_rows_and_columns(image, 6, 120, 120, table, columns);
  });
}

void add_speckles() {
  using Kernels = SpeckleKernels;
  const auto remove = [](const std::string& name, bool with_table) {
    add<Kernels>("Speckle." + name, [=](const Kernels& kernels, Size size) {
      const auto bytes = kernels.work_buffer_size(size.width, size.height, true);
      return [=, &kernels,
              buffer = std::vector<std::max_align_t>(bytes / sizeof(std::max_align_t) + 1)](
                 Pixels& pixels) mutable {
        const SpeckleTask task{.width = size.width,
                               .height = size.height,
                               .max_diff = step,
                               .lut = steps,
                               .lut_size = static_cast<uint8_t>(with_table ? std::size(steps) : 0),
                               .depth_shift = 10,
                               .max_size = 80};
        kernels.removeSpeckles(buffer.data(), pixels.data(), task);
      };
    });
  };
  remove("one_threshold", false);
  remove("table", true);
}

void add_regions() {
  add<RegionKernels>("Region.find", [](const RegionKernels& kernels, Size size) {
    JoinThresholds thresholds{0, 30, 6, {}, {}};
    for (uint32_t i = 0; i < thresholds.steps; ++i) {
      thresholds.depth[i] = static_cast<uint16_t>(1000 * (i + 1));
      thresholds.rise[i] = 20;
    }
    const auto width = static_cast<uint16_t>(size.width);
    const auto height = static_cast<uint16_t>(size.height);
    const std::shared_ptr workspace = make_false_positive_workspace(width, height, width, height);
    return [=, &kernels](const Pixels& pixels) {
      kernels.find(pixels.data(), thresholds, true, workspace->run_scratch(),
                   workspace->run_map(width, height));
    };
  });
}

} // namespace

void register_kernels() {
  add_disparity_lookup();
  add_invalid_depth();
  add_sampling();
  add_hole_filling();
  add_medians();
  add_temporal();
  add_spatial_moderate();
  add_spatial_advanced();
  add_edge_strips();
  add_speckles();
  add_regions();
}

} // namespace bench
