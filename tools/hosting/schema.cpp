#include "hosting/schema.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include <fmt/format.h>

namespace hosting {
namespace {

/// Cuts the text up to the separator off `text`, and the separator too.
std::string_view take_until(std::string_view& text, char separator) {
  const size_t length = text.find(separator);
  const std::string_view taken = text.substr(0, length);
  text.remove_prefix(length == std::string_view::npos ? text.size() : length + 1);
  return taken;
}

std::optional<double> to_number(std::string_view text) {
  text = trim(text);
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return number;
}

} // namespace

std::string_view trim(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n\v\f";
  const size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos)
    return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<Parameter> parse_schema(std::string_view text) {
  std::vector<Parameter> schema;
  while (!text.empty()) {
    std::string_view rest = trim(take_until(text, '\n'));
    if (rest.empty())
      continue;
    Parameter parameter;
    parameter.line = rest;
    for (std::string Parameter::*field :
         {&Parameter::name, &Parameter::type, &Parameter::min, &Parameter::max, &Parameter::step,
          &Parameter::default_value})
      parameter.*field = trim(take_until(rest, ','));
    parameter.description = trim(rest);
    schema.push_back(std::move(parameter));
  }
  return schema;
}

const Parameter* find_parameter(const std::vector<Parameter>& schema, std::string_view name) {
  const auto found = std::ranges::find(schema, name, &Parameter::name);
  return found == schema.end() ? nullptr : &*found;
}

std::string doubt_about(const Parameter& parameter, const std::string& value) {
  const auto number = to_number(value);
  if (!number)
    return fmt::format("'{}' is not a number", value);
  const auto min = to_number(parameter.min);
  const auto max = to_number(parameter.max);
  if ((min && *number < *min) || (max && *number > *max))
    return fmt::format("{} is outside {} to {}", value, parameter.min, parameter.max);
  return {};
}

} // namespace hosting
