// Numbers in parameter strings: as the C library reads them in the "C" locale, in every locale.

#include <gtest/gtest.h>

#include <locale.h>

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "plugin/base/number_text.h"
#include "support/filter.h"

namespace {

using namespace filter_processor;

/// What a reader that throws makes of a text: the number's bits or the exception's text.
template <typename Read>
std::string outcome_of(Read read) {
  try {
    const auto value = read();
    int bits = 0;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    return std::isnan(static_cast<double>(value)) ? "nan" : std::to_string(bits);
  } catch (const std::invalid_argument&) {
    return "invalid";
  } catch (const std::out_of_range&) {
    return "out of range";
  }
}

/// What this platform's C library reads in a way of its own.
bool is_read_otherwise([[maybe_unused]] const std::string& text) {
#if defined(__MINGW32__)
  // A sign without a number makes a negative zero, and blanks may follow a sign.
  const size_t sign = text.find_first_not_of(" \t\n\v\f\r");
  const bool is_sign = sign != std::string::npos && (text[sign] == '-' || text[sign] == '+');
  const std::string rest = is_sign ? text.substr(sign + 1) : "0";
  return rest.find_first_of("0123456789") > (rest.starts_with('.') ? 1U : 0U) &&
         !rest.starts_with("inf") && !rest.starts_with("nan");
#else
  return false;
#endif
}

void expect_as_c_library(const std::string& text) {
  if (is_read_otherwise(text))
    return;
  SCOPED_TRACE("\"" + text + "\"");
  const char* const c = text.c_str();
  EXPECT_EQ(read_integer(c), std::clamp<long long>(std::strtoll(c, nullptr, 10), INT_MIN, INT_MAX));
  const double real = read_real(c);
  const double expected = std::strtod(c, nullptr);
  EXPECT_TRUE((real == expected && std::signbit(real) == std::signbit(expected)) ||
              (std::isnan(real) && std::isnan(expected)))
      << real;
  EXPECT_EQ(outcome_of([&] { return read_integer_or_throw(c); }),
            outcome_of([&] { return std::stoi(text); }));
  EXPECT_EQ(outcome_of([&] { return read_real_or_throw(c); }),
            outcome_of([&] { return std::stof(text); }));
}

/// But for numbers like 0x1p-140, of which stof cuts nothing off and which are too small here.
TEST(NumberText, IsReadAsByTheCLibrary) {
  std::istringstream texts(
      "| |-|+|+-5|--5|- 5| \t\n\v\f\r12|007|+7|-0|12abc|2147483647|2147483648|-2147483648|"
      "-2147483649|4294967301|-4294967291|9223372036854775808|99999999999999999999|0.5|.5|"
      "5.|.|1,5|1e|1e+|1e+2|1E-2x|1 e2|0x|0x.|0x10|0X.8p1|0x1p|0x1p+3|0x1p2000|-0x1p-2000|"
      "0x0.000001p1030|inf|INFINITY|infinit|-inf|nan|NaN(7)|nanx|1e38|1e39|-1e39|"
      "1e400|-1e400|1e-37|1e-40|1e-46|1e-320|1e-400|0e9999999999|1e9999999999|"
      "1e-9999999999|16777217|0.1|5.38331506105500539832e-39|"
      "123456789012345678901234567890e-30");
  for (std::string text; std::getline(texts, text, '|');)
    expect_as_c_library(text);
#if defined(__GLIBC__) // others leave rounding such a number unnoticed
  expect_as_c_library("0xfp-150");
#endif
#if defined(__x86_64__) // others look whether a number is too small before they round it
  expect_as_c_library("1.17549435e-38");
#endif
  expect_as_c_library("\xa0" + std::string("1"));
  const std::string digits(400, '0');
  for (const char* end : {"", "e-100", "e-399", "e-500", "e100", "e 5000"}) {
    expect_as_c_library("1" + digits + end);
    expect_as_c_library("0." + digits + "1" + end);
  }
  std::mt19937 random(1);
  constexpr std::string_view characters = "0123456789..eE+-xXpPaf \tin";
  for (int i = 0; i < 50000; ++i) {
    std::string text(random() % 12, ' ');
    for (char& c : text)
      c = characters[random() % characters.size()];
    expect_as_c_library(text);
  }
}

#if defined(__GLIBC__)

/// A locale with a decimal comma, made for this test.
class CommaLocale {
 public:
  CommaLocale() {
    std::filesystem::create_directory(folder_);
    const std::string make = "localedef -i de_DE -f UTF-8 " + folder_ + "/comma.UTF-8";
    EXPECT_EQ(std::system(make.c_str()), 0) << make;
    setenv("LOCPATH", folder_.c_str(), 1);
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale() {
    setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(folder_);
  }
  static constexpr const char* name = "comma.UTF-8";

 private:
  std::string folder_ = testing::TempDir() + "locales" + std::to_string(getpid());
};

/// Whether values with points are accepted and whole ones beyond their range refused.
void expect_points() {
  ASSERT_EQ(std::strtod("1,5", nullptr), 1.5) << "the locale is not in force";
  EXPECT_EQ(read_real("1.5"), 1.5);
  EXPECT_EQ(read_real("1,5"), 1.0);
  EXPECT_EQ(read_real_or_throw("0.25"), 0.25F);
  EXPECT_EQ(test::Filter("TemporalFilter").update({"0.5", "0.25"}), "");
  EXPECT_EQ(test::Filter("TemporalFilter").update({"0,5", "0.25"}),
            "params out of range | TemporalFilter::update_filter_config | diff_scale | 4");
  EXPECT_EQ(test::Filter("NoiseRemovalFilter").update({"80", "256", "848", "4294967776"}),
            "params out of range | NoiseRemovalFilter::update_filter_config | height | 4");
}

TEST(NumberText, HasAPointInEveryLocale) {
  const CommaLocale comma;
  ASSERT_NE(setlocale(LC_ALL, CommaLocale::name), nullptr);
  expect_points();
  const locale_t of_one_thread = duplocale(LC_GLOBAL_LOCALE);
  setlocale(LC_ALL, "C");
  std::thread([of_one_thread] {
    uselocale(of_one_thread);
    expect_points();
    uselocale(LC_GLOBAL_LOCALE);
  }).join();
  freelocale(of_one_thread);
}

#else

TEST(NumberText, HasAPointInEveryLocale) {
  GTEST_SKIP() << "the locale with a comma is made with glibc's localedef";
}

#endif

} // namespace
