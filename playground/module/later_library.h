// What the sources that are shared with gxfilter use of C++20 and Emscripten 3.1.6 does not have in
// its standard library; included in front of every source of this module, and of no other. With a
// library that has it, nothing here is compiled.
#pragma once

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <version>

#ifndef __cpp_lib_bit_cast
namespace std {
template <class To, class From>
To bit_cast(const From& from) {
  static_assert(sizeof(To) == sizeof(From));
  return __builtin_bit_cast(To, from);
}
} // namespace std
#endif

#ifndef __cpp_lib_ranges
namespace std::ranges {

template <class Range, class Test>
bool all_of(const Range& range, Test test) {
  return std::all_of(std::begin(range), std::end(range), test);
}

template <class Range, class Test>
bool any_of(const Range& range, Test test) {
  return std::any_of(std::begin(range), std::end(range), test);
}

template <class Range, class Test>
auto find_if_not(const Range& range, Test test) {
  return std::find_if_not(std::begin(range), std::end(range), test);
}

template <class Range, class Value>
auto find(const Range& range, const Value& value) {
  return std::find(std::begin(range), std::end(range), value);
}

template <class Range>
auto max_element(const Range& range) {
  return std::max_element(std::begin(range), std::end(range));
}

template <class Range>
bool is_permutation(const Range& left, const Range& right) {
  return std::is_permutation(std::begin(left), std::end(left), std::begin(right), std::end(right));
}

template <class Range, class Test, class Value>
void replace_if(Range& range, Test test, const Value& value) {
  std::replace_if(std::begin(range), std::end(range), test, value);
}

} // namespace std::ranges
#endif

#ifndef __cpp_lib_to_chars
namespace std {
/// Of text without blanks and names of numbers in front, which callers have looked for.
inline from_chars_result from_chars(const char* first, const char* last, double& value) {
  if (first == last || *first == '+')
    return {first, errc::invalid_argument};
  const string text(first, last);
  char* end = nullptr;
  errno = 0;
  const double number = strtod(text.c_str(), &end);
  if (end == text.c_str())
    return {first, errc::invalid_argument};
  const char* const behind = first + (end - text.c_str());
  if (errno == ERANGE)
    return {behind, errc::result_out_of_range};
  value = number;
  return {behind, errc{}};
}
} // namespace std
#endif
