// A parameter's value as its user writes it, checked against the schema before a filter sees it.
#pragma once

#include <optional>
#include <string>

#include "gexton_host.hpp"
#include "recordings/result.h"

namespace gxfilter {

/// Whether values outside the schema's ranges are refused here or handed on: a filter may take more
/// than its schema offers.
enum class Ranges { checked, left_to_the_filter };

/// The number that the text consists of, blanks around it aside: digits and a sign, for reals also
/// a point and an exponent, whatever the locale. Null for anything else, "nan", "inf" and "0x10"
/// too.
std::optional<double> read_number(std::string_view text, bool whole);

/// The text for the filter: a name of the schema becomes its number, all else stays as it is. Text
/// that is no number, and a number outside the range, is an error of kind `request` that says what
/// is allowed. A type that is no kind of number takes any text; a missing bound bounds nothing.
recordings::Result<std::string> value_text(const gexton::Parameter& parameter,
                                           const std::string& given, Ranges ranges);

/// "0 to 2", with names "0 to 2 or top, nearest, farest"; empty where anything is.
std::string allowed_values(const gexton::Parameter& parameter);

/// Whether both texts mean the same value to the filter.
bool same_value(const gexton::Parameter& parameter, const std::string& left,
                const std::string& right);

} // namespace gxfilter
