// What the table of digests is about: each filter in many settings, and the calls that each of them
// goes through. Made of whole numbers and of floats that are written down, so that every platform
// makes the same. Needs no files, threads or processes.
#pragma once

#include <string>
#include <vector>

#include "support/camera_frame.h"

namespace golden {

using Values = std::vector<std::string>;
using Record = std::vector<uint8_t>;

/// One filter in one setting.
struct Case {
  std::string filter;
  std::string setting; ///< as the table names it
  Values values;       ///< empty: the filter stays as it was made
  Record record;       ///< instead of values, where it is not empty

  std::string name() const { return filter + " " + setting; }
};

/// Filter by filter in the registry's order.
std::vector<Case> all_cases();

struct Step {
  enum class Kind { update, set_record, reset, process } kind;
  Values values{};
  Record record{};
  test::CameraFrame frame{};
  bool in_set = false; ///< the frame comes as the second member of a set, behind `color_frame`
};

/// Settings, frames of two cameras, some of them in sets, an update and a reset in between.
std::vector<Step> steps_of(const Case& of);

test::CameraFrame color_frame();

/// What came of a frame.
struct Outcome {
  std::string error{}; ///< "message | function | args | type"
  bool is_set = false;
  uint64_t set_index = 0;
  std::vector<test::CameraFrame> frames{}; ///< the set's, or the one
};

/// A new filter that takes the calls.
class Subject {
 public:
  virtual ~Subject() = default;
  virtual std::string update(const Values& values) = 0; ///< the error, "" without one
  virtual std::string set_record(const Record& record) = 0;
  virtual void reset() = 0;
  virtual Outcome process(const Step& step) = 0;
};

/// Of all errors and frames that come of the steps.
uint64_t digest_of(const std::vector<Step>& steps, Subject& subject);

} // namespace golden
