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
  const char* help;    ///< half a line
  const char* details; ///< whole sentences, below the options and in the manual page
  Action (*add_options)(CLI::App& command);
};

/// In the order of the help.
inline constexpr Command commands[] = {
    {"list", "List the filters: index and name",
     "Hosts create filters by this index. gxfilter describe tells more of each.", add_list_options},
    {"describe", "Show a filter's parameters",
     "Each parameter with its type, its range, its step and its default, in the order in which "
     "hosts pass them; modes with the names that gxfilter run takes in place of their numbers.",
     add_describe_options},
    {"info", "Say what is in a recording",
     "The format, the number and size of frames, the topics or streams that hold depth, and the "
     "camera's facts with where each comes from. Nothing is filtered.",
     add_info_options},
    {"run", "Filter one file or a recording",
     "Takes all frames in order through a chain of filters: that of --preset, then that of "
     "--chain, then every --filter as given. Inputs are pictures of 16 bits (PNG, PGM), "
     "headerless frames, whole directories of these, or recordings in one file. Filters that "
     "remember frames need them in the order of their time; values outside the ranges that "
     "gxfilter describe shows are refused.",
     add_run_options},
    {"presets", "List chains that come with the program, or show one",
     "Each preset says what it is for; shown alone, also when not to use it. gxfilter run takes "
     "it by name.",
     add_presets_options},
    {"synth", "Write a generated recording and camera.json",
     "A room with the faults of a depth camera: noise, holes, speckles, bleeding edges. The same "
     "options and the same seed give the same pixels on every machine.",
     add_synth_options},
    {"score", "Compare a filtered recording with the truth",
     "The pictures of two folders are paired by name, all other frames by their order. Each "
     "recording's unit is that of its camera file; without one, that of TRUTH, whose own is 1 mm "
     "without one. Of the pixels that are valid in both, the error is the difference in "
     "millimetres. An outlier is off by more than --outlier and by more than --outlier-percent "
     "of the true depth.",
     add_score_options},
    {"validate", "Check that a plug-in does what hosts rely on",
     "Every check runs in a process of its own, which may crash or hang without ending the "
     "others. Takes any plug-in of this interface.",
     add_validate_options},
    {"selftest", "Check on this machine that the filters give the right bits",
     "Takes all filters through some five hundred settings and compares a digest of every output "
     "with the one that it must have; tells the instruction level that runs.",
     add_selftest_options},
};

} // namespace gxfilter
