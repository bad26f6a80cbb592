#include "gxfilter/decoding_options.h"

#include <CLI/CLI.hpp>

namespace gxfilter {

using namespace recordings;

void add_decoding_options(CLI::App& command, PixelDecoding& decoding) {
  constexpr const char* group = "Pixels, in this order";
  command.add_flag("--swap-bytes", decoding.swap_bytes, "Bytes stand in the other order")
      ->group(group);
  command.add_option("--rotate-bits", decoding.rotate_bits, "Rotate each pixel's bits right by N")
      ->check(CLI::Range(0, 15))
      ->type_name("N")
      ->group(group);
  command
      .add_option("--shift-bits", decoding.shift_bits,
                  "Shift each pixel's bits right by N, left by -N")
      ->check(CLI::Range(-15, 15))
      ->type_name("N")
      ->group(group);
  command.add_option("--invalid", decoding.invalid, "A second value for pixels without depth")
      ->check(CLI::Range(0, 65535))
      ->type_name("VALUE")
      ->group(group);
  command.add_option("--factor", decoding.factor, "Multiply each pixel, rounded, 65535 at most")
      ->check(CLI::Validator(
          [](const std::string& text) -> std::string {
            PixelDecoding asked;
            const bool number = CLI::detail::lexical_cast(text, asked.factor);
            const auto failure = check_decoding(asked);
            return number && !failure ? "" : "'" + text + "' is no number above 0";
          },
          ""))
      ->type_name("NUMBER")
      ->group(group);
}

} // namespace gxfilter
