// The program's commands. Each stands in a file of its own: its options, how they are added to the
// command line, and what it does. Commands print their results on standard output and return their
// errors; main reports them.
#pragma once

#include <functional>

#include "gxfilter/report.h"

namespace CLI {
class App;
}

namespace gxfilter {

/// Does what a command is for, with the options that were read in the meantime.
using Action = std::function<recordings::Result<ExitStatus>()>;

Action add_list_options(CLI::App& command);
Action add_describe_options(CLI::App& command);
Action add_info_options(CLI::App& command);
Action add_run_options(CLI::App& command);
Action add_presets_options(CLI::App& command);
Action add_synth_options(CLI::App& command);
Action add_score_options(CLI::App& command);
Action add_validate_options(CLI::App& command);
Action add_selftest_options(CLI::App& command);

struct Command {
  const char* name;
  const char* help;
  Action (*add_options)(CLI::App& command);
};

/// In the order of the help.
inline constexpr Command commands[] = {
    {"list", "List the filters: index and name", add_list_options},
    {"describe", "Show a filter's parameters", add_describe_options},
    {"info", "Say what is in a recording", add_info_options},
    {"run", "Filter one file or a recording", add_run_options},
    {"presets", "List chains that come with the program, or show one", add_presets_options},
    {"synth", "Write a generated recording and camera.json", add_synth_options},
    {"score", "Compare a filtered recording with the truth", add_score_options},
    {"validate", "Check that a plug-in does what hosts rely on", add_validate_options},
    {"selftest", "Check on this machine that the filters give the right bits",
     add_selftest_options},
};

} // namespace gxfilter
