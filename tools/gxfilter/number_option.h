// A check of options that are real numbers.
#pragma once

#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace gxfilter {

/// As CLI::Range, which lets NaN pass.
inline CLI::Validator real_range(double min, double max) {
  const auto check = [min, max](const std::string& text) -> std::string {
    double number = 0;
    if (CLI::detail::lexical_cast(text, number) && number >= min && number <= max)
      return {};
    return fmt::format("Value {} not in range {:g} to {:g}", text, min, max);
  };
  return {check, fmt::format("FLOAT in [{:g} - {:g}]", min, max)};
}

} // namespace gxfilter
