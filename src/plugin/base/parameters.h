#pragma once

#include <cstdint>

#include "plugin/base/errors.h"

namespace filter_processor {

/// One call of a filter's update_filter_config: the parameter strings and the checks on them.
///
/// The first value that is refused decides: its error goes to the caller, `accepted()` is false
/// from then on, and no further string is touched. A filter reads all its values in schema order,
/// tests `accepted()`, and stores.
class Parameters {
 public:
  /// `filter` is the class name, a constant text. The strings stay the caller's; a null string
  /// counts as an empty one.
  Parameters(const char* filter, int32_t argc, const char** argv, gx_error** error)
      : filter_(filter), argc_(argc), argv_(argv), error_(error) {}

  /// Refuses any other number of strings.
  bool count_is(int32_t expected);

  bool accepted() const { return accepted_; }

  /// Empty after a refusal.
  const char* text(int32_t index) const;

  /// The string converted without check (number_text.h): text that is no number is 0, trailing text
  /// is ignored, a number beyond the type becomes its nearest value.
  int integer(int32_t index) const;
  double real(int32_t index) const;

  /// The string as an integer between `min` and `max`; outside it is refused, as by
  /// `refuse_value`.
  int integer(int32_t index, const char* key, int min, int max);

  /// The same for a number that is narrowed to single precision first; one too large for it becomes
  /// infinite.
  float real(int32_t index, const char* key, float min, float max);

  /// Tests a value against its range with its own width; NaN lies outside every range.
  template <typename Number>
  bool in_range(const char* key, Number value, Number min, Number max) {
    if (!(value >= min && value <= max))
      refuse_value(key);
    return accepted_;
  }

  /// Refuses the value of the parameter `key`.
  void refuse_value(const char* key) { refuse("params out of range", key); }
  void refuse(const char* message, const char* args);

 private:
  const char* filter_;
  int32_t argc_;
  const char** argv_;
  gx_error** error_;
  bool accepted_ = true;
};

} // namespace filter_processor
