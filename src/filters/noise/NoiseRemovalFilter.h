#pragma once

#include "filters/noise/SpeckleFilter.h"

namespace filter_processor {

/// Removes speckles of up to one maximum size.
class NoiseRemovalFilter final : public SpeckleFilter {
 public:
  static constexpr const char* class_name = "NoiseRemovalFilter";

  NoiseRemovalFilter();
  const char* get_config_schema() override;

 private:
  static const Kind kind;
};

} // namespace filter_processor
