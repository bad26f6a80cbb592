#include "gxfilter/parameter_text.h"

#include <charconv>
#include <limits>

#include <fmt/format.h>

namespace gxfilter {

using namespace recordings;

namespace {

bool is_whole(const std::string& type) {
  return type == "bool" || type.starts_with("int") || type.starts_with("uint");
}

bool is_real(const std::string& type) {
  return type == "float" || type == "double";
}

/// Reals are compared as filters compare them, in single precision: text that rounds to a limit is
/// within it. Larger numbers than that has are infinite there.
double as_compared(double number, bool whole) {
  constexpr double largest = std::numeric_limits<float>::max();
  if (whole || number > largest || number < -largest)
    return number;
  return static_cast<double>(static_cast<float>(number));
}

bool in_range(const gexton::Parameter& parameter, double number) {
  const bool whole = is_whole(parameter.type);
  const double compared = as_compared(number, whole);
  const auto min = read_number(parameter.min, false);
  const auto max = read_number(parameter.max, false);
  return !(min && compared < as_compared(*min, whole)) &&
         !(max && compared > as_compared(*max, whole));
}

/// The value's number as text where the given text is one of its names, otherwise that text.
std::string without_name(const gexton::Parameter& parameter, const std::string& given) {
  for (const auto& [name, value] : named_values(parameter))
    if (name == given)
      return value;
  return given;
}

} // namespace

std::optional<double> read_number(std::string_view text, bool whole) {
  text = gexton::trim(text);
  if (text.size() > 1 && text[0] == '+' && text[1] != '-')
    text.remove_prefix(1);
  if (text.find_first_not_of(whole ? "0123456789-" : "0123456789-+.eE") != std::string_view::npos)
    return std::nullopt;
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return number;
}

Result<std::string> value_text(const gexton::Parameter& parameter, const std::string& given,
                               Ranges ranges) {
  const std::string text = without_name(parameter, given);
  const bool whole = is_whole(parameter.type);
  if (!whole && !is_real(parameter.type))
    return text;
  const auto number = read_number(text, whole);
  const bool fits =
      number && (ranges == Ranges::left_to_the_filter || in_range(parameter, *number));
  if (fits)
    return text;
  const std::string allowed = allowed_values(parameter);
  return Error{fmt::format("{}={}: {}{}", parameter.name, given,
                           number  ? "out of range"
                           : whole ? "not a whole number"
                                   : "not a number",
                           allowed.empty() ? "" : "; allowed is " + allowed),
               ErrorKind::request};
}

std::string allowed_values(const gexton::Parameter& parameter) {
  std::string allowed;
  if (!parameter.min.empty() && !parameter.max.empty())
    allowed = fmt::format("{} to {}", parameter.min, parameter.max);
  else if (!parameter.min.empty())
    allowed = fmt::format("{} and more", parameter.min);
  else if (!parameter.max.empty())
    allowed = fmt::format("up to {}", parameter.max);
  const auto names = named_values(parameter);
  for (const auto& named : names)
    allowed += (&named == names.data() ? " or " : ", ") + named.name;
  return allowed;
}

bool same_value(const gexton::Parameter& parameter, const std::string& left,
                const std::string& right) {
  const bool whole = is_whole(parameter.type);
  const auto left_number = read_number(without_name(parameter, left), whole);
  const auto right_number = read_number(without_name(parameter, right), whole);
  if (!left_number || !right_number)
    return left == right;
  return as_compared(*left_number, whole) == as_compared(*right_number, whole);
}

} // namespace gxfilter
