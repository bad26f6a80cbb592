// gxfilter, the command-line host: loads the filter plug-in and takes depth recordings through it.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

#include <CLI/CLI.hpp>

#include "gxfilter/commands.h"
#include "recordings/output_file.h"

namespace {

using namespace gxfilter;

constexpr const char* footer =
    "Exit status: 0 success; 1 anything not listed here; 2 wrong usage, an unknown filter or\n"
    "parameter, or a value that the filter rejects; 3 trouble with an input; 4 a filter failed\n"
    "on a frame. Pictures written before a failure are kept. 5 a plug-in does not conform; 6 "
    "frames\n"
    "that could not be read were left out; 130 interrupted.";

/// Null where the first word names a command or is an option.
recordings::Failure check_command(int argc, char** argv) {
  const std::string word = argc > 1 ? argv[1] : "-";
  if (word.starts_with('-') ||
      std::ranges::any_of(commands, [&](const Command& command) { return word == command.name; }))
    return std::nullopt;
  std::string names;
  for (const Command& command : commands)
    names += (names.empty() ? "" : ", ") + std::string(command.name);
  return recordings::Error{"'" + word + "' is not a command; there are " + names,
                           recordings::ErrorKind::request};
}

ExitStatus run_program(int argc, char** argv) {
  if (auto failure = check_command(argc, argv))
    return report(*failure);
  CLI::App app("Applies the depth filters of the FilterProcessor plug-in to files", "gxfilter");
  app.footer(footer);
  app.allow_windows_style_options(false); // a name may begin with a slash everywhere
  app.set_version_flag("--version", "gxfilter " FILTER_PROCESSOR_VERSION);
  app.require_subcommand(1);
  Action chosen;
  for (const Command& command : commands) {
    CLI::App* subcommand = app.add_subcommand(command.name, command.help);
    const Action action = command.add_options(*subcommand);
    subcommand->final_callback([&chosen, action] { chosen = action; });
  }
  if (argc <= 1) {
    std::fputs(app.help().c_str(), stderr);
    return ExitStatus::usage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitStatus::ok : ExitStatus::usage;
  }
  const auto outcome = chosen();
  const auto lost = recordings::finish_standard_output();
  if (!outcome)
    return report(outcome.error());
  return lost ? report(*lost) : *outcome;
}

} // namespace

int main(int argc, char** argv) {
  try {
    return static_cast<int>(run_program(argc, argv));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "gxfilter: error: %s\n", exception.what());
  } catch (...) {
    std::fputs("gxfilter: error: unknown\n", stderr);
  }
  return static_cast<int>(ExitStatus::other);
}
