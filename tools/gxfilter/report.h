// What the user is told on standard error, and the program's exit status.
//
// Errors travel as values (recordings/result.h) from where they arise through every function up to
// main, which alone reports them and turns their kind into the exit status. Exceptions that main
// catches are what nobody expects, such as missing memory. Inside conformance/ two exceptions of
// its own end a check early (findings.h); they are findings there and come no further.
#pragma once

#include "recordings/result.h"

namespace gxfilter {

/// As the program's help documents them.
enum class ExitStatus : int {
  ok = 0,
  other = 1,
  usage = 2,
  input = 3,
  processing = 4,
  nonconforming = 5,
  left_out = 6,
  interrupted = 130 ///< as shells report programs that Ctrl-C ended
};

/// Prints the error, with the options that would help, and returns its exit status.
ExitStatus report(const recordings::Error& error);
void note(const std::string& text);

/// As printed; what is no UTF-8 in it, such as odd file names, is replaced.
template <class Json>
std::string json_text(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

} // namespace gxfilter
