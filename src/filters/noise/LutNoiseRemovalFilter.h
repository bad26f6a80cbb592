#pragma once

#include "filters/noise/SpeckleFilter.h"

namespace filter_processor {

/// Removes speckles of up to a maximum size that depends on where they begin, with one size for
/// each tile of a 4 x 4 grid: noise is larger in some parts of a frame than in others.
class LutNoiseRemovalFilter final : public SpeckleFilter {
 public:
  static constexpr const char* class_name = "LutNoiseRemovalFilter";

  LutNoiseRemovalFilter();
  const char* get_config_schema() override;
  void reset() override;

 private:
  static const Kind kind;
};

} // namespace filter_processor
