// What the command line's description says of an option, in the words that pages and completions
// need.
#pragma once

#include <string>
#include <vector>

#include "gxfilter/command_line.h"

namespace manual {

/// What a shell can offer for a value.
enum class Offer { nothing, files, words, filters, presets };

struct DescribedOption {
  std::vector<std::string> names; ///< with their dashes; none of what is told by its place
  std::string value;              ///< what stands for the value; empty where there is none
  std::string description;
  std::string group;
  std::string default_value; ///< empty where the description tells it or there is none
  Offer offer = Offer::nothing;
  std::vector<std::string> words; ///< to choose from
  bool goes_on = false;           ///< after what is offered, values of one's own follow at once
  bool required = false;
  bool repeats = false;
};

/// All that users are shown, those told by their place first.
std::vector<DescribedOption> options_of(const CLI::App& command);

/// In the order of the help.
std::vector<const CLI::App*> commands_of(const CLI::App& app);

} // namespace manual
