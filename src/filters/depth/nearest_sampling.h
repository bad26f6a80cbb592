#pragma once

#include <cstdint>
#include <vector>

#include "filters/depth/sampling_kernels.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// 16.16 fixed-point source pixels for one destination pixel: a touch more than 1 / `scale`.
/// `scale` must be at least 0.001.
uint32_t source_step(float scale);

/// Which part of a destination frame is sampled from a source frame. Everything around it is 0.
struct Sampling {
  FrameSize source;
  FrameSize destination;
  uint32_t left = 0, right = 0; ///< destination columns left to right - 1
  uint32_t top = 0, bottom = 0; ///< destination rows top to bottom - 1
  uint32_t first_x = 0;         ///< source column of `left`, 16.16
  uint32_t first_y = 0;         ///< source row of `top`, 16.16
  uint32_t step = 0;            ///< 16.16, of columns and rows
};

/// Nearest-neighbour sampling of whole frames; keeps its scratch memory from frame to frame.
class NearestSampler {
 public:
  /// Writes every pixel of `to`; `table`, which may be null, maps the sampled pixels. Source
  /// positions beyond the source, which has a pixel at least, become its last column or row.
  void run(const Sampling& sampling, const uint16_t* from, uint16_t* to,
           const uint16_t* table = nullptr);

 private:
  std::vector<uint16_t> columns_;
};

} // namespace filter_processor
