#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "gxfilter/commands.h"
#include "gxfilter/plugin_option.h"

namespace gxfilter {

using namespace recordings;

namespace {

struct ListOptions {
  std::filesystem::path plugin; ///< empty: the one that belongs to this program
  bool json = false;
};

Result<ExitStatus> list_filters(const ListOptions& options) {
  const auto plugin = load_plugin(options.plugin);
  if (!plugin)
    return plugin.error();
  const auto names = names_of_filters(**plugin);
  if (!names)
    return names.error();
  if (options.json) {
    const nlohmann::ordered_json result{{"plugin", (*plugin)->path().string()},
                                        {"commit", (*plugin)->commit()},
                                        {"filters", *names}};
    fmt::print("{}\n", result.dump(2));
    return ExitStatus::ok;
  }
  for (size_t i = 0; i < names->size(); ++i)
    fmt::print("{:>2}  {}\n", i, (*names)[i]);
  return ExitStatus::ok;
}

} // namespace

Action add_list_options(CLI::App& command) {
  const auto options = std::make_shared<ListOptions>();
  add_plugin_option(command, options->plugin);
  command.add_flag("--json", options->json, "Print JSON, with the plug-in's path and commit");
  return [options] { return list_filters(*options); };
}

} // namespace gxfilter
