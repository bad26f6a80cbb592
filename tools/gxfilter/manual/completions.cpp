#include "gxfilter/manual/completions.h"

#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace manual {

namespace {

// ---- bash ----

constexpr const char* bash_head =
    R"shell(# Completion of gxfilter for bash. Made of the program's own description of its command line.

# _gxfilter_names KIND: what the program lists.
_gxfilter_names() {
  local program=${COMP_WORDS[0]//[\\\"\']/} # as it was typed, with its quotes
  [[ $program != '~/'* ]] || program=$HOME/${program#'~/'}
  case $1 in
  filters) "$program" list 2>/dev/null | while read -r _ name; do echo "$name"; done ;;
  presets) "$program" presets 2>/dev/null | while read -r name _; do echo "$name"; done ;;
  esac
}

# _gxfilter_offer KIND WORD [CHOICE...]: what may stand for this word.
_gxfilter_offer() {
  case $1 in
  files)
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$2")
    ;;
  filters | presets) mapfile -t COMPREPLY < <(compgen -W "$(_gxfilter_names "$1")" -- "$2") ;;
  words) mapfile -t COMPREPLY < <(compgen -W "${*:3}" -- "$2") ;;
  esac
}

_gxfilter() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  COMPREPLY=()
  # In a word such as --seed=1, the sign counts as a word of its own.
  if [[ $word == = ]]; then
    word=''
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
)shell";

const char* offer_word(Offer offer) {
  switch (offer) {
  case Offer::files:
    return "files";
  case Offer::words:
    return "words";
  case Offer::filters:
    return "filters";
  case Offer::presets:
    return "presets";
  case Offer::nothing:
    break;
  }
  return "nothing";
}

std::string bash_offer(const DescribedOption& option) {
  std::string text = option.goes_on ? "compopt -o nospace; " : "";
  text += fmt::format("_gxfilter_offer {} \"$word\"", offer_word(option.offer));
  if (!option.words.empty())
    text += fmt::format(" {}", fmt::join(option.words, " "));
  return text;
}

std::string bash_case(const CLI::App& command) {
  std::vector<std::string> names;
  std::string values;
  std::string place = "_gxfilter_offer nothing \"$word\"";
  for (const DescribedOption& option : options_of(command)) {
    if (option.names.empty() && option.offer != Offer::nothing)
      place = bash_offer(option);
    names.insert(names.end(), option.names.begin(), option.names.end());
    if (!option.names.empty() && !option.value.empty())
      values += fmt::format("    {}) {}; return ;;\n", fmt::join(option.names, " | "),
                            bash_offer(option));
  }
  std::string text = fmt::format("  {})\n", command.get_name());
  if (!values.empty())
    text += "    case $before in\n" + values + "    esac\n";
  return text +
         fmt::format(
             "    if [[ $word == -* ]]; then _gxfilter_offer words \"$word\" {}; else {}; fi\n"
             "    ;;\n",
             fmt::join(names, " "), place);
}

// ---- zsh ----

constexpr const char* zsh_head = R"shell(#compdef gxfilter
# Completion of gxfilter for zsh. Made of the program's own description of its command line.

_gxfilter_filters() {
  local -a names
  names=(${${(f)"$(${gxfilter_program:-gxfilter} list 2>/dev/null)"}##*[[:space:]]})
  compadd "$@" -a names
}

_gxfilter_presets() {
  local -a names
  names=(${${(f)"$(${gxfilter_program:-gxfilter} presets 2>/dev/null)"}%%[[:space:]]*})
  compadd "$@" -a names
}
)shell";

/// In single quotes; colons and brackets part the pieces of what `_arguments` takes.
std::string zsh_text(std::string_view text) {
  std::string result;
  for (const char letter : text)
    if (letter == '\'')
      result += "'\\''";
    else if (letter == ':' || letter == '[' || letter == ']' || letter == '\\')
      result += std::string("\\") + letter;
    else
      result += letter;
  return result;
}

std::string zsh_offer(const DescribedOption& option) {
  switch (option.offer) {
  case Offer::files:
    return "_files";
  case Offer::words:
    return fmt::format("({})", fmt::join(option.words, " "));
  case Offer::filters:
    return option.goes_on ? "_gxfilter_filters -S \"\"" : "_gxfilter_filters";
  case Offer::presets:
    return "_gxfilter_presets";
  case Offer::nothing:
    break;
  }
  return " ";
}

std::string zsh_case(const CLI::App& command) {
  std::vector<std::string> specs;
  for (const DescribedOption& option : options_of(command)) {
    const std::string value =
        option.value.empty() ? ""
                             : fmt::format(":{}:{}", zsh_text(option.value), zsh_offer(option));
    if (option.names.empty())
      specs.push_back(fmt::format("'{}{}'",
                                  option.repeats    ? "*"
                                  : option.required ? ""
                                                    : ":",
                                  value));
    for (const std::string& name : option.names) {
      const bool takes_sign = !value.empty() && name.starts_with("--");
      specs.push_back(fmt::format("'{}{}{}[{}]{}'", option.repeats ? "*" : "", name,
                                  takes_sign ? "=" : "", zsh_text(option.description), value));
    }
  }
  return fmt::format("  {})\n    _arguments {}\n    ;;\n", command.get_name(),
                     fmt::join(specs, " \\\n      "));
}

} // namespace

std::string bash_completion(const CLI::App& app) {
  std::vector<std::string> first;
  for (const CLI::App* command : commands_of(app))
    first.push_back(command->get_name());
  for (const DescribedOption& option : options_of(app))
    first.insert(first.end(), option.names.begin(), option.names.end());
  std::string text = bash_head;
  text += fmt::format(
      "  if ((COMP_CWORD == 1)); then\n    _gxfilter_offer words \"$word\" {}\n    return\n  fi\n",
      fmt::join(first, " "));
  text += "  case $command in\n";
  for (const CLI::App* command : commands_of(app))
    text += bash_case(*command);
  return text + "  esac\n}\ncomplete -F _gxfilter gxfilter\n";
}

std::string zsh_completion(const CLI::App& app) {
  std::string text = zsh_head;
  text += "\n_gxfilter() {\n  local gxfilter_program=${~${(Q)words[1]}}\n  local -a commands\n  "
          "commands=(\n";
  for (const CLI::App* command : commands_of(app))
    text += fmt::format("    '{}:{}'\n", command->get_name(), zsh_text(command->get_description()));
  text += "  )\n  if ((CURRENT == 2)); then\n    _describe command commands\n";
  for (const DescribedOption& option : options_of(app))
    text += fmt::format("    compadd -- {}\n", fmt::join(option.names, " "));
  text += "    return\n  fi\n  local command=$words[2]\n  shift words\n  ((CURRENT--))\n  case "
          "$command in\n";
  for (const CLI::App* command : commands_of(app))
    text += zsh_case(*command);
  return text + "  esac\n}\n_gxfilter \"$@\"\n";
}

} // namespace manual
