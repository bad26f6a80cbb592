#include "conformance/findings.h"

#include <fmt/format.h>

#include "conformance/our_filters.h"

namespace conformance {

void Findings::begin_check(const std::string& name) {
  check_ = name;
  doing("beginning");
}

void Findings::doing(std::string text) {
  doing_ = std::move(text);
  listener_.announced(doing_);
}

void Findings::expect(const std::string& expected, const std::string& came) {
  if (came == expected)
    add(Outcome::passed, came);
  else if (const int known = find_known_difference(filter_, check_, doing_, came); known >= 0)
    add(Outcome::known, came, known);
  else
    add(Outcome::failed, fmt::format("{}, expected {}", came, expected));
}

void Findings::pass(const std::string& what) {
  add(Outcome::passed, what);
}

void Findings::fail(const std::string& what) {
  add(Outcome::failed, what);
}

void Findings::skip(const std::string& why) {
  add(Outcome::skipped, why);
}

void Findings::add(Outcome outcome, const std::string& what, int difference) {
  listener_.found({check_, outcome, fmt::format("{}: {}", doing_, what), difference});
}

} // namespace conformance
