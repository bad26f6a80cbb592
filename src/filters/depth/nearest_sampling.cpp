#include "filters/depth/nearest_sampling.h"

#include <algorithm>

namespace filter_processor {
namespace {

/// Columns from the first on that stand side by side in the source as well.
uint32_t leading_run(const std::vector<uint16_t>& columns) {
  uint32_t run = 0;
  while (run < columns.size() && columns[run] == columns[0] + run)
    ++run;
  return run;
}

} // namespace

uint32_t source_step(float scale) {
  return static_cast<uint32_t>(65536.0F / scale + 1.0F);
}

void NearestSampler::run(const Sampling& sampling, const uint16_t* from, uint16_t* to,
                         const uint16_t* table) {
  SampledRows rows{};
  rows.width = sampling.destination.width;
  rows.height = sampling.destination.height;
  if (sampling.left < sampling.right && sampling.top < sampling.bottom) {
    const SourceWalk columns{sampling.first_x, sampling.step, sampling.source.width};
    columns_.resize(sampling.right - sampling.left);
    for (uint32_t i = 0; i < columns_.size(); ++i)
      columns_[i] = static_cast<uint16_t>(columns.at(i));
    rows.left = sampling.left;
    rows.right = sampling.right;
    rows.top = sampling.top;
    rows.bottom = sampling.bottom;
    rows.columns = columns_.data();
    rows.run = leading_run(columns_);
    rows.source_width = sampling.source.width;
    rows.source_rows = {sampling.first_y, sampling.step, sampling.source.height};
  }
  simd::kernels<SamplingKernels>().sample(rows, from, to, table);
}

} // namespace filter_processor
