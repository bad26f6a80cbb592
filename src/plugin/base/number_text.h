#pragma once

namespace filter_processor {

// Numbers in parameter strings, read as the "C" locale writes them, whatever locale the host's
// process or thread has set: leading white space, a sign, then digits. Reals may have a point and
// an exponent, be hexadecimal ("0x1p-1"), "inf" or "nan". What follows the number is ignored.
// No memory is taken but for an exception.

/// 0 for text that is no number; numbers beyond int become the nearest one.
int read_integer(const char* text);

/// 0 for text that is no number; numbers too large become infinite, numbers too small 0.
double read_real(const char* text);

/// The same for texts that must be numbers. Throws std::invalid_argument ("invalid stoi argument")
/// for text that is none, std::out_of_range ("stoi argument out of range") for one beyond int.
int read_integer_or_throw(const char* text);

/// Throws as above, with "stof" in the texts: also for numbers that are not 0 but closer to it than
/// single precision has all its digits.
float read_real_or_throw(const char* text);

} // namespace filter_processor
