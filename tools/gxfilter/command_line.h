// The program's command line: its commands with their options and what is said of them. The help,
// the manual pages and the completions of shells are all made of this description.
#pragma once

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "gxfilter/commands.h"

namespace gxfilter {

/// What the type names of options (`CLI::Option::type_name`) begin with where shells can say more
/// of them than that a word has to follow.
namespace value_kind {
inline constexpr const char* filter = "FILTER"; ///< a filter's name, perhaps with parameters
inline constexpr const char* preset = "PRESET"; ///< a preset's name
} // namespace value_kind

/// The program's exit statuses in the order of their numbers, with what each stands for.
struct ExitMeaning {
  ExitStatus status;
  const char* meaning;
};

inline constexpr ExitMeaning exit_meanings[] = {
    {ExitStatus::ok, "success"},
    {ExitStatus::other, "anything not listed here"},
    {ExitStatus::usage,
     "wrong usage, an unknown filter or parameter, or a value that the filter rejects"},
    {ExitStatus::input, "trouble with an input"},
    {ExitStatus::processing, "a filter failed on a frame; pictures written before are kept"},
    {ExitStatus::nonconforming, "a plug-in does not conform"},
    {ExitStatus::left_out, "frames that could not be read were left out"},
    {ExitStatus::interrupted, "interrupted"},
};

/// The command line to be read.
struct CommandLine {
  CLI::App app;
  Action chosen; ///< of the command that was read; empty before

  CommandLine();
  CommandLine(const CommandLine&) = delete; // the parser refers to `chosen`
  CommandLine& operator=(const CommandLine&) = delete;
};

/// Null where the word names a command or is an option.
recordings::Failure check_command(const std::string& word);

} // namespace gxfilter
