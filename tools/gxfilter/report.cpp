#include "gxfilter/report.h"

#include <cstdio>

#include <fmt/format.h>

namespace gxfilter {

using namespace hosting;
using namespace recordings;

ExitStatus report(const Error& error) {
  std::fflush(stdout);
  fmt::print(stderr, "gxfilter: error: {}\n", error.message);
  return error.status;
}

void note(const std::string& text) {
  fmt::print(stderr, "gxfilter: note: {}\n", text);
}

Result<std::shared_ptr<const Plugin>> load_plugin(const std::filesystem::path& path) {
  return Plugin::load(path.empty() ? Plugin::default_path() : path);
}

} // namespace gxfilter
