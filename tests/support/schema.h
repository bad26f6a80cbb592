#pragma once

// The parameters of a filter as its schema lists them.

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "filter_processor.h"

namespace test {

struct SchemaParameter {
  std::string name;
  bool whole;
  double min, max, step;
  std::string default_value;

  std::string text(double value) const {
    return whole ? std::to_string(static_cast<long>(value)) : std::to_string(value);
  }
};

inline std::vector<SchemaParameter> schema_of(const gx_priv_filter_context& context) {
  std::vector<SchemaParameter> parameters;
  const char* line = context.get_config_schema(context.filter);
  std::array<char, 64> name{}, type{}, value{};
  SchemaParameter parameter{};
  while (line != nullptr &&
         std::sscanf(line, "%63[^,], %63[^,], %lf, %lf, %lf, %63[^,]", name.data(), type.data(),
                     &parameter.min, &parameter.max, &parameter.step, value.data()) == 6) {
    parameter.name = name.data();
    parameter.whole = std::strcmp(type.data(), "float") != 0;
    parameter.default_value = value.data();
    parameters.push_back(parameter);
    line = std::strchr(line, '\n');
    line += line == nullptr ? 0 : 1;
  }
  return parameters;
}

} // namespace test
