#include "plugin/base/parameters.h"

#include "plugin/base/number_text.h"

namespace filter_processor {

bool Parameters::count_is(int32_t expected) {
  if (argc_ != expected)
    refuse("the number of params error", "argc");
  return accepted_;
}

const char* Parameters::text(int32_t index) const {
  return accepted_ && argv_ != nullptr && argv_[index] != nullptr ? argv_[index] : "";
}

int Parameters::integer(int32_t index) const {
  return read_integer(text(index));
}

double Parameters::real(int32_t index) const {
  return read_real(text(index));
}

int Parameters::integer(int32_t index, const char* key, int min, int max) {
  const int value = integer(index);
  in_range(key, value, min, max);
  return value;
}

float Parameters::real(int32_t index, const char* key, float min, float max) {
  const auto value = static_cast<float>(real(index));
  in_range(key, value, min, max);
  return value;
}

void Parameters::refuse(const char* message, const char* args) {
  if (!accepted_)
    return;
  accepted_ = false;
  set_filter_error(error_, filter_, {message, "update_filter_config", args});
}

} // namespace filter_processor
