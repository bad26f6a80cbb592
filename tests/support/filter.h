#pragma once

// Filter instances, and what came of a frame.

#include <random>

#include "simd/level.h"
#include "support/capture.h"
#include "support/host_objects.h"

namespace test {

/// What came of a frame.
struct Outcome {
  Frame frame;
  Pixels pixels{}; ///< of a depth frame
  std::string error, trace, printed;
  const char* level; ///< of instructions
};

/// A filter instance whose refusals are texts.
class Filter : public gexton::Filter {
 public:
  explicit Filter(const std::string& name) : gexton::Filter(create(name)) {}

  /// The error's text, "" when the values were accepted. Null values too.
  std::string update(std::vector<const char*> values) {
    ErrorSlot error;
    context().update_config(context().filter, static_cast<int32_t>(values.size()), values.data(),
                            error.receive());
    return error.text();
  }
  std::string update_to(const std::vector<std::string>& texts) {
    ErrorSlot error;
    update_config(texts, error);
    return error.text();
  }
  template <typename Number>
  std::string update_to_numbers(const std::vector<Number>& numbers) {
    std::vector<std::string> texts;
    for (const Number number : numbers)
      texts.push_back(std::to_string(number));
    return update_to(texts);
  }
  Frame process(gx_frame* frame, gx_error** error = nullptr) {
    return Frame{context().process(context().filter, frame, error)};
  }
  /// At any of the instruction levels: all are one to who compares outcomes in long sequences.
  Outcome outcome(const Frame& input) {
    static std::minstd_rand random;
    const auto levels = filter_processor::simd::supported_levels();
    const auto level = levels[random() % levels.size()];
    filter_processor::simd::use_level(level);
    ErrorSlot error;
    Capture printed(stdout);
    Frame frame = process(input, error);
    Pixels pixels = frame != nullptr ? pixels_of(frame.get()) : Pixels{};
    return {std::move(frame), std::move(pixels),
            error.text(),     error ? error.trace() : "",
            printed.text(),   filter_processor::simd::level_name(level)};
  }
  Frame process(const Frame& frame, ErrorSlot& error) {
    return process(frame.get(), error.receive());
  }
};

} // namespace test
