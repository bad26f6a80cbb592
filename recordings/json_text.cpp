#include "recordings/json_text.h"

#include "recordings/byte_reader.h"

namespace recordings {

Result<nlohmann::json> parse_json(std::span<const uint8_t> text) {
  try {
    return nlohmann::json::parse(text.begin(), text.end());
  } catch (const nlohmann::json::exception& exception) {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
    std::string_view words = exception.what();
    words.remove_prefix(words.find("] ") + 2);
    return Error{"not JSON: " + one_line(words)};
  }
}

} // namespace recordings
