#pragma once

// The parameters of a filter as its schema lists them, with bounds to calculate with.

#include <string>
#include <vector>

#include "gexton_host.hpp"

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

inline std::vector<SchemaParameter> schema_of(const gexton::Filter& filter) {
  std::vector<SchemaParameter> parameters;
  for (const gexton::Parameter& line : filter.schema())
    parameters.push_back({line.name, line.type != "float", std::stod(line.min), std::stod(line.max),
                          std::stod(line.step), line.default_value});
  return parameters;
}

} // namespace test
