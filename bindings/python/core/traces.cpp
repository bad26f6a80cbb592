#include "core/traces.h"

#include <iostream>
#include <streambuf>
#include <utility>

namespace python {
namespace {

thread_local bool is_quiet = false;

/// Hands on what is not dropped, without a buffer of its own.
class Gate final : public std::streambuf {
 public:
  explicit Gate(std::streambuf& behind) : behind_(behind) {}

 protected:
  int_type overflow(int_type character) override {
    if (is_quiet || traits_type::eq_int_type(character, traits_type::eof()))
      return traits_type::not_eof(character);
    return behind_.sputc(traits_type::to_char_type(character));
  }
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    return is_quiet ? length : behind_.sputn(text, length);
  }
  int sync() override { return is_quiet ? 0 : behind_.pubsync(); }

 private:
  std::streambuf& behind_;
};

/// For good: the streams may be used until the process ends.
void put_up_gates() {
  static const bool are_up = [] {
    for (std::ostream* stream : {&std::cout, &std::cerr})
      stream->rdbuf(new Gate(*stream->rdbuf()));
    return true;
  }();
  static_cast<void>(are_up);
}

} // namespace

Quiet::Quiet() : before_(std::exchange(is_quiet, true)) {
  put_up_gates();
}

Quiet::~Quiet() {
  is_quiet = before_;
}

} // namespace python
