#include "gxfilter/plugin_option.h"

#include <CLI/CLI.hpp>

#include "conformance/child_process.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

void add_plugin_option(CLI::App& command, std::filesystem::path& plugin) {
  command
      .add_option("--plugin", plugin,
                  "Plug-in library (by default the one that belongs to this program)")
      ->type_name("FILE");
}

void add_child_option(CLI::App& command, bool& child) {
  if (conformance::children_start_anew())
    command.add_flag("--child", child)->group("");
}

Result<std::shared_ptr<const Plugin>> load_plugin(const std::filesystem::path& path) {
  return Plugin::load(path.empty() ? Plugin::default_path() : path);
}

Result<std::vector<std::string>> names_of_filters(const Plugin& plugin) {
  auto names = plugin.filter_names();
  if (!names)
    return Error{"the plug-in " + names.error().message, names.error().kind};
  return names;
}

} // namespace gxfilter
