#include "gxfilter/manual/described_option.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace manual {

namespace {

/// Where the type's name ends and checks begin: at a colon that stands in no brackets.
size_t end_of_name(std::string_view type) {
  int depth = 0;
  size_t at = 0;
  for (; at < type.size() && (type[at] != ':' || depth != 0); ++at)
    depth += type[at] == '[' ? 1 : type[at] == ']' ? -1 : 0;
  return at;
}

/// What stands between the two; empty where they are not there.
std::string between(const std::string& text, char before, char after) {
  const size_t begin = text.find(before);
  const size_t end = text.find(after, begin == std::string::npos ? 0 : begin);
  return begin == std::string::npos || end == std::string::npos
             ? std::string()
             : text.substr(begin + 1, end - begin - 1);
}

Offer offer_for(std::string_view value) {
  if (value.starts_with(gxfilter::value_kind::filter))
    return Offer::filters;
  if (value.starts_with(gxfilter::value_kind::preset))
    return Offer::presets;
  constexpr std::string_view of_files[] = {"FILE", "PATH", "DIR", "INPUT", "RESULT", "TRUTH"};
  return std::ranges::find(of_files, value) != std::end(of_files) ? Offer::files : Offer::nothing;
}

std::string in_one_line(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text;
}

DescribedOption described(const CLI::Option& option) {
  DescribedOption result;
  for (const std::string& name : option.get_snames())
    result.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames())
    result.names.push_back("--" + name);
  result.description = in_one_line(option.get_description());
  result.group = option.get_group();
  result.required = option.get_required();
  if (option.get_expected_max() == 0)
    return result;
  // "TEXT:{depth,tof}" and "INT:INT in [1 - 256]".
  const std::string type = option.get_type_name();
  const std::string checks = type.substr(end_of_name(type));
  if (const std::string words = between(checks, '{', '}'); !words.empty())
    result.words = CLI::detail::split(words, ',');
  if (const std::string range = between(checks, '[', ']'); !range.empty())
    result.description += " (" + range + ")";
  result.value = result.words.empty() ? type.substr(0, end_of_name(type)) : "WORD";
  result.default_value = option.get_default_str();
  result.offer = result.words.empty() ? offer_for(result.value) : Offer::words;
  result.goes_on = result.offer == Offer::filters && result.value != gxfilter::value_kind::filter;
  result.repeats = option.get_expected_max() > 1;
  return result;
}

} // namespace

std::vector<DescribedOption> options_of(const CLI::App& command) {
  std::vector<DescribedOption> options;
  for (const CLI::Option* option : command.get_options())
    if (!option->get_group().empty()) // the others are for the program itself
      options.push_back(described(*option));
  std::stable_partition(options.begin(), options.end(),
                        [](const DescribedOption& option) { return option.names.empty(); });
  return options;
}

std::vector<const CLI::App*> commands_of(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
}

} // namespace manual
