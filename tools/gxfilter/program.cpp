#include "gxfilter/program.h"

#include <cstdio>

#include "gxfilter/command_line.h"
#include "recordings/output_file.h"

namespace gxfilter {

ExitStatus run_program(int argc, char** argv) {
  if (auto failure = check_command(argc > 1 ? argv[1] : "-"))
    return report(*failure);
  CommandLine line;
  if (argc <= 1) {
    std::fputs(line.app.help().c_str(), stderr);
    return ExitStatus::usage;
  }
  try {
    line.app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return line.app.exit(error) == 0 ? ExitStatus::ok : ExitStatus::usage;
  }
  const auto outcome = line.chosen();
  const auto lost = recordings::finish_standard_output();
  if (!outcome)
    return report(outcome.error());
  return lost ? report(*lost) : *outcome;
}

} // namespace gxfilter
