// What the checks of a plug-in find, item by item, and how they say it.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace conformance {

enum class Outcome {
  passed,
  failed,
  known,   ///< differs in a way that is known of this filter and meant
  skipped, ///< could not be asked
};

struct Finding {
  std::string check;
  Outcome outcome = Outcome::passed;
  std::string sentence;
  int difference = -1; ///< index in the table of known differences, of a known one
};

/// Why a check can't go on: what it relies on has failed. Caught by whoever runs the check.
class Unable : public std::runtime_error {
 public:
  using runtime_error::runtime_error;
};

/// Why a check has nothing to ask of this filter. Caught by whoever runs the check.
class Inapplicable : public std::runtime_error {
 public:
  using runtime_error::runtime_error;
};

/// Collects the findings of one filter's checks. Each item is announced before it is tried, so that
/// a crash can be told with what was being done.
class Findings {
 public:
  struct Listener {
    std::function<void(const std::string& doing)> announced;
    std::function<void(const Finding&)> found;
  };
  Findings(std::string filter, Listener listener)
      : filter_(std::move(filter)), listener_(std::move(listener)) {}

  void begin_check(const std::string& name);

  /// What is done now.
  void doing(std::string text);

  /// What had to come of it and what came: equal texts pass.
  void expect(const std::string& expected, const std::string& came);
  void expect(bool satisfied, const std::string& expected, const std::string& came) {
    expect(expected, satisfied ? expected : came);
  }

  /// There was nothing to expect but that it ends.
  void survived() { pass("survived"); }
  /// What is no comparison of two texts.
  void pass(const std::string& what);
  void fail(const std::string& what);
  void skip(const std::string& why);

 private:
  void add(Outcome outcome, const std::string& what, int difference = -1);

  std::string filter_; ///< empty: the plug-in as a whole
  Listener listener_;
  std::string check_;
  std::string doing_;
};

} // namespace conformance
