#include "gxfilter/command_line.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace gxfilter {

namespace {

/// In lines of at most so many letters.
std::string wrapped(std::string_view text, size_t width) {
  std::string lines;
  size_t length = 0;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (length != 0) {
      const bool fits = length + 1 + word.size() <= width;
      lines += fits ? ' ' : '\n';
      length = fits ? length + 1 : 0;
    }
    lines += word;
    length += word.size();
  }
  return lines;
}

std::string exit_statuses() {
  std::vector<std::string> texts;
  for (const auto& [status, meaning] : exit_meanings)
    texts.push_back(fmt::format("{} {}", static_cast<int>(status), meaning));
  return fmt::format("Exit status: {}.", fmt::join(texts, "; "));
}

} // namespace

CommandLine::CommandLine()
    : app("Applies the depth filters of the FilterProcessor plug-in to files", "gxfilter") {
  app.footer(wrapped(exit_statuses(), 90));
  app.allow_windows_style_options(false); // a name may begin with a slash everywhere
  app.set_version_flag("--version", "gxfilter " FILTER_PROCESSOR_VERSION);
  app.require_subcommand(1);
  for (const Command& command : commands) {
    CLI::App* subcommand = app.add_subcommand(command.name, command.help);
    subcommand->footer(wrapped(command.details, 90));
    const Action action = command.add_options(*subcommand);
    subcommand->final_callback([this, action] { chosen = action; });
  }
}

recordings::Failure check_command(const std::string& word) {
  const auto is_word = [&](const Command& command) { return word == command.name; };
  if (word.starts_with('-') || std::ranges::any_of(commands, is_word))
    return std::nullopt;
  std::vector<std::string> names;
  for (const Command& command : commands)
    names.emplace_back(command.name);
  return recordings::Error{
      fmt::format("'{}' is not a command; there are {}", word, fmt::join(names, ", ")),
      recordings::ErrorKind::request};
}

} // namespace gxfilter
