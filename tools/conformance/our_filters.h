// All that the checks know of the filters of this project. Other plug-ins, and these filters where
// nothing is said here, are checked against the common rules alone.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "recordings/image.h"

namespace conformance {

/// Where a filter departs from its schema or from the common rules on purpose: hosts rely on it, so
/// it is told without counting as a failure.
struct KnownDifference {
  const char* filter;
  const char* check;
  const char* doing; ///< wildcards
  std::string came;  ///< wildcards
  const char* why;
};

std::span<const KnownDifference> known_differences();

/// The index in the table of what explains this outcome, or -1.
int find_known_difference(const std::string& filter, const std::string& check,
                          const std::string& doing, const std::string& came);

/// What reset sets in place of the schema's default.
struct ResetValue {
  const char* filter;
  const char* parameter;
  const char* value;
};

/// Null for filters whose reset restores the schema's defaults.
const ResetValue* find_reset_value(const std::string& filter);

/// Parameters that make a filter do more than its defaults.
struct SpecialSetting {
  const char* filter;
  const char* label;
  std::vector<std::pair<const char*, std::string>> values;
  bool beside_defaults; ///< or in place of them, where those fit no frame of the size
};

std::vector<SpecialSetting> special_settings(const std::string& filter, recordings::FrameSize size);

/// Bytes of the configuration record of the one filter that takes one.
inline constexpr uint64_t record_size = 290;

} // namespace conformance
