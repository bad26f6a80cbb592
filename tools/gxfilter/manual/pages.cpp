#include "gxfilter/manual/pages.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace manual {

namespace {

/// The text as it is: a backslash begins a command and a plain '-' becomes a hyphen that can't be
/// copied.
std::string plain(std::string_view text) {
  std::string result;
  for (const char letter : text)
    if (letter == '\\')
      result += "\\e";
    else if (letter == '-')
      result += "\\-";
    else
      result += letter == '\n' ? ' ' : letter;
  return result;
}

/// In a line of its own, which a dot or an apostrophe at its beginning would make a command.
std::string line(std::string_view text) {
  const bool looks_like_command = !text.empty() && (text.front() == '.' || text.front() == '\'');
  return (looks_like_command ? "\\&" : "") + plain(text) + "\n";
}

std::string bold(std::string_view text) {
  return "\\fB" + plain(text) + "\\fR";
}

std::string italic(std::string_view text) {
  return "\\fI" + plain(text) + "\\fR";
}

std::string capitals(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char letter) {
    return static_cast<char>(std::toupper(letter));
  });
  return text;
}

std::string head(const std::string& page, const std::string& date) {
  // Names of files and options are looked for and copied: nothing is parted at the ends of lines.
  return fmt::format(".TH {} 1 \"{}\" \"gxfilter {}\" \"User Commands\"\n.nh\n.ad l\n.SH NAME\n",
                     plain(capitals(page)), date, FILTER_PROCESSOR_VERSION);
}

std::string synopsis(const CLI::App& command) {
  std::string text = bold("gxfilter " + command.get_name()) + " [" + italic("OPTIONS") + "]";
  for (const DescribedOption& option : options_of(command)) {
    if (!option.names.empty() && !option.required)
      continue;
    std::string word = option.names.empty() ? "" : bold(option.names.back()) + " ";
    word += italic(option.value) + (option.repeats ? " ..." : "");
    text += option.required ? " " + word : " [" + word + "]";
  }
  return text + "\n";
}

std::string item(const DescribedOption& option) {
  std::vector<std::string> names;
  std::ranges::transform(option.names, std::back_inserter(names), bold);
  std::string text = fmt::format(".TP\n{}", fmt::join(names, ", "));
  if (!option.value.empty())
    text += (names.empty() ? "" : " ") + italic(option.value);
  std::string description = option.description;
  if (!option.words.empty())
    description += fmt::format(": {}", fmt::join(option.words, ", "));
  if (!option.default_value.empty())
    description += fmt::format(" [{}]", option.default_value);
  return text + "\n" + line(description);
}

std::string options_section(const CLI::App& command) {
  std::string text = ".SH OPTIONS\n";
  std::string group = "Options";
  std::vector<DescribedOption> options = options_of(command);
  // In the order in which each group is first met; those told by their place belong to none.
  std::vector<std::string> groups{group};
  for (DescribedOption& option : options) {
    if (option.group == "Positionals")
      option.group = group;
    if (std::ranges::find(groups, option.group) == groups.end())
      groups.push_back(option.group);
  }
  for (const std::string& each : groups) {
    if (each != group)
      text += ".SS " + plain(each) + "\n";
    for (const DescribedOption& option : options)
      if (option.group == each)
        text += item(option);
  }
  return text;
}

std::string exit_section() {
  std::string text = ".SH EXIT STATUS\n";
  for (const auto& [status, meaning] : gxfilter::exit_meanings)
    text +=
        fmt::format(".TP\n{}\n{}", bold(std::to_string(static_cast<int>(status))), line(meaning));
  return text;
}

/// All pages but the one itself.
std::string see_also(const CLI::App& app, const std::string& page) {
  std::vector<std::string> others;
  if (page != "gxfilter")
    others.push_back(bold("gxfilter") + "(1)");
  for (const CLI::App* command : commands_of(app))
    if (page_name(*command) != page)
      others.push_back(bold(page_name(*command)) + "(1)");
  return fmt::format(".SH SEE ALSO\n{}\n", fmt::join(others, ",\n"));
}

} // namespace

std::string page_name(const CLI::App& command) {
  return "gxfilter-" + command.get_name();
}

std::string program_page(const CLI::App& app, const std::string& date) {
  std::string text = head("gxfilter", date);
  text += "gxfilter \\- " + line(app.get_description());
  text += ".SH SYNOPSIS\n" + bold("gxfilter") + " " + italic("COMMAND") + " [" + italic("OPTIONS") +
          "]\n.br\n" + bold("gxfilter") + " " + italic("COMMAND") + " " + bold("--help") + "\n";
  text +=
      ".SH DESCRIPTION\n" + line(app.get_description() + ". Each command has a page of its own.");
  for (const CLI::App* command : commands_of(app))
    text += ".TP\n" + bold(page_name(*command)) + "(1)\n" + line(command->get_description());
  return text + options_section(app) + exit_section() + see_also(app, "gxfilter");
}

std::string command_page(const CLI::App& app, const CLI::App& command, const std::string& date) {
  const std::string page = page_name(command);
  std::string text = head(page, date);
  text += plain(page) + " \\- " + line(command.get_description());
  text += ".SH SYNOPSIS\n" + synopsis(command);
  text += ".SH DESCRIPTION\n" + line(command.get_footer());
  return text + options_section(command) + exit_section() + see_also(app, page);
}

} // namespace manual
