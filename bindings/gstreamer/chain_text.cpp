#include "chain_text.h"

#include <algorithm>

namespace depth_elements {

using namespace gxfilter;
using namespace recordings;

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view between = " \t\r\n!>";
constexpr std::string_view joints = ",:="; // a blank beside one of them ends no filter

/// Where the filter that the text begins with ends.
size_t end_of_filter(std::string_view text) {
  // What is quoted ends with its quote.
  const size_t quoted = text.substr(0, text.find_first_of(between)).find("@\"");
  if (quoted != std::string_view::npos)
    return std::min(text.find('"', quoted + 2), text.size() - 1) + 1;
  for (size_t end = text.find_first_of(between); end < text.size();
       end = text.find_first_of(between, end)) {
    if (blanks.find(text[end]) == std::string_view::npos)
      return end;
    const size_t next = text.find_first_not_of(blanks, end);
    if (next == std::string_view::npos || (joints.find(text[end - 1]) == std::string_view::npos &&
                                           joints.find(text[next]) == std::string_view::npos))
      return end;
    end = next;
  }
  return text.size();
}

} // namespace

Result<std::vector<FilterRequest>> parse_chain(const std::string& text) {
  std::string_view rest = gexton::trim(text);
  if (rest.starts_with('[') || rest.starts_with('{')) {
    auto preset = parse_preset(rest);
    if (!preset)
      return preset.error();
    return std::move(preset->chain);
  }
  std::vector<FilterRequest> requests;
  while (!rest.empty()) {
    const size_t end = end_of_filter(rest);
    auto request = parse_filter_request(std::string(rest.substr(0, end)));
    if (!request)
      return request.error();
    const std::string record = request->record.string();
    if (record.size() > 2 && record.starts_with('"') && record.ends_with('"'))
      request->record = record.substr(1, record.size() - 2);
    requests.push_back(std::move(*request));
    const size_t next = rest.find_first_not_of(between, end);
    rest.remove_prefix(std::min(next, rest.size()));
  }
  return requests;
}

} // namespace depth_elements
