#include "plugin/base/number_text.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <system_error>

#if !defined(__cpp_lib_to_chars)
#include <cerrno>
#include <cstdlib>
#include <locale.h>
#endif

namespace filter_processor {
namespace {

constexpr bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The text behind white space and a sign.
struct Unsigned {
  std::string_view text;
  bool negative = false;
};

Unsigned without_sign(const char* text) {
  while (is_space(*text))
    ++text;
  const bool negative = *text == '-';
  if (*text == '+' || negative)
    ++text;
  // A second sign is no number, which readers of signed numbers must not see.
  return {*text == '+' || *text == '-' ? "" : text, negative};
}

/// Each reader leaves the nearest value, or 0 for text that is no number, and tells which it is.
std::errc read(const char* text, int& value) {
  const auto [digits, negative] = without_sign(text);
  unsigned magnitude = 0;
  const unsigned limit = static_cast<unsigned>(std::numeric_limits<int>::max()) + negative;
  std::errc status = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude).ec;
  if (status == std::errc{} && magnitude > limit)
    status = std::errc::result_out_of_range;
  if (status == std::errc::result_out_of_range)
    magnitude = limit;
  value = static_cast<int>(negative ? 0 - magnitude : magnitude);
  return status;
}

#if defined(__cpp_lib_to_chars)

constexpr bool is_hex_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// Whether the number is 1 or more, told by the place of its leading digit.
bool is_large(std::string_view number, bool hexadecimal) {
  int place = 0; // digits before the point, or less the zeros behind it
  bool before_point = true;
  bool leading_zeros = true;
  for (; !number.empty() && (number[0] == '.' || is_hex_digit(number[0]));
       number.remove_prefix(1)) {
    if (!hexadecimal && (number[0] | 0x20) == 'e')
      break;
    if (number[0] == '.') {
      before_point = false;
      continue;
    }
    leading_zeros = leading_zeros && number[0] == '0';
    if (before_point != leading_zeros)
      place += before_point ? 1 : -1;
  }
  int exponent = 0;
  if (number.size() > 1 && (number[0] | 0x20) == (hexadecimal ? 'p' : 'e') && !is_space(number[1]))
    read(number.data() + 1, exponent);
  return static_cast<double>(exponent) + (hexadecimal ? 4.0 : 1.0) * place > 0;
}

template <typename Real>
std::errc read(const char* text, Real& value) {
  const Unsigned parts = without_sign(text);
  std::string_view number = parts.text;
  const auto at = [&](size_t i) { return i < number.size() ? number[i] : '\0'; };
  const bool hexadecimal = at(0) == '0' && (at(1) | 0x20) == 'x' &&
                           (is_hex_digit(at(2)) || (at(2) == '.' && is_hex_digit(at(3))));
  if (hexadecimal)
    number.remove_prefix(2);
  value = 0;
  const std::errc status =
      std::from_chars(number.data(), number.data() + number.size(), value,
                      hexadecimal ? std::chars_format::hex : std::chars_format::general)
          .ec;
  if (status == std::errc::result_out_of_range)
    value = is_large(number, hexadecimal) ? std::numeric_limits<Real>::infinity() : Real{0};
  if (parts.negative && status != std::errc::invalid_argument)
    value = -value;
  return status;
}

#else // libraries without it have the C library's readers for a locale of choice

double convert(const char* text, char** end, locale_t locale, double) {
  return strtod_l(text, end, locale);
}
float convert(const char* text, char** end, locale_t locale, float) {
  return strtof_l(text, end, locale);
}

template <typename Real>
std::errc read(const char* text, Real& value) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  char* end = nullptr;
  errno = 0;
  value = convert(text, &end, c_locale, Real{});
  if (end == text)
    return std::errc::invalid_argument;
  return errno == ERANGE ? std::errc::result_out_of_range : std::errc{};
}

#endif

} // namespace

int read_integer(const char* text) {
  int value = 0;
  read(text, value);
  return value;
}

double read_real(const char* text) {
  double value = 0;
  read(text, value);
  return value;
}

int read_integer_or_throw(const char* text) {
  int value = 0;
  const std::errc status = read(text, value);
  if (status == std::errc::invalid_argument)
    throw std::invalid_argument("invalid stoi argument");
  if (status == std::errc::result_out_of_range)
    throw std::out_of_range("stoi argument out of range");
  return value;
}

float read_real_or_throw(const char* text) {
  float value = 0;
  const std::errc status = read(text, value);
  if (status == std::errc::invalid_argument)
    throw std::invalid_argument("invalid stof argument");
  const bool too_small = value != 0 && std::abs(value) < std::numeric_limits<float>::min();
  if (status == std::errc::result_out_of_range || too_small)
    throw std::out_of_range("stof argument out of range");
  return value;
}

} // namespace filter_processor
