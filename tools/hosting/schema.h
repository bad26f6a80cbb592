// The schema text in which a filter describes its parameters, taken apart.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace hosting {

struct Parameter {
  std::string name;
  std::string type; // "integer", "float", "bool" or "uint32_t"
  std::string min;
  std::string max;
  std::string step;
  std::string default_value;
  std::string description; // may hold commas
  std::string line;        // the whole line, trimmed
};

/// One parameter for each line that is not blank, in order. Blanks around fields don't count;
/// fields that a short line lacks are empty.
std::vector<Parameter> parse_schema(std::string_view text);

/// The parameter of that name, or null.
const Parameter* find_parameter(const std::vector<Parameter>& schema, std::string_view name);

/// Why `value` looks wrong beside the schema (no number, outside the advertised range), or empty.
/// Filters enforce ranges of their own, so this can only be a hint.
std::string doubt_about(const Parameter& parameter, const std::string& value);

std::string_view trim(std::string_view text);

} // namespace hosting
