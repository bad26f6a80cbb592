// gxfilter, the command-line host: loads the filter plug-in and takes depth recordings through it.
#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "gxfilter/commands.h"

namespace {

using namespace gxfilter;

constexpr const char* footer =
    "Exit status: 0 success; 1 anything not listed here; 2 wrong usage, an unknown filter or\n"
    "parameter, or a value that the filter rejects; 3 trouble with an input; 4 a filter failed\n"
    "on a frame. Frames written before a failure are kept. 5 a plug-in does not conform; 6 frames\n"
    "that could not be read were left out; 130 interrupted.";

ExitStatus run_program(int argc, char** argv) {
  CLI::App app("Applies the depth filters of the FilterProcessor plug-in to files", "gxfilter");
  app.footer(footer);
  app.set_version_flag("--version", "gxfilter " FILTER_PROCESSOR_VERSION);
  app.require_subcommand(1);
  Action chosen;
  for (const Command& command : commands) {
    CLI::App* subcommand = app.add_subcommand(command.name, command.help);
    const Action action = command.add_options(*subcommand);
    subcommand->final_callback([&chosen, action] { chosen = action; });
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitStatus::ok : ExitStatus::usage;
  }
  const auto outcome = chosen();
  return outcome ? *outcome : report(outcome.error());
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
