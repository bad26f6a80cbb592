#include "gxfilter/presets.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "hosting/shared_library.h"

namespace gxfilter {

namespace fs = std::filesystem;
using namespace recordings;

namespace {

Result<std::map<std::string, Preset>> read_directory(const fs::path& directory) {
  std::map<std::string, Preset> presets;
  std::error_code code;
  for (fs::directory_iterator it(directory, code), end; !code && it != end; it.increment(code)) {
    if (it->path().extension() != ".json")
      continue;
    auto preset = read_preset(it->path());
    if (!preset)
      return preset.error();
    presets.emplace(it->path().stem().string(), std::move(*preset));
  }
  if (code)
    return Error{fmt::format("{}: {}", directory.string(), code.message()), ErrorKind::system};
  return presets;
}

} // namespace

std::vector<fs::path> preset_directories() {
  const fs::path prefix = hosting::executable_path().parent_path().parent_path();
  std::vector<fs::path> directories;
  for (const char* data : {GXFILTER_DATA_DIRECTORY, "share"}) {
    const fs::path directory = prefix / data / "filter_processor" / "presets";
    if (directories.empty() || directories.back() != directory)
      directories.push_back(directory);
  }
  return directories;
}

Result<std::map<std::string, Preset>> read_presets(const std::vector<fs::path>& directories) {
  std::vector<std::string> tried;
  for (const fs::path& directory : directories) {
    std::error_code code;
    if (fs::is_directory(directory, code))
      return read_directory(directory);
    tried.push_back(directory.string());
  }
  return Error{fmt::format("no presets: there is no directory {}", fmt::join(tried, " or ")),
               ErrorKind::system};
}

Result<Preset> find_preset(const std::map<std::string, Preset>& presets, const std::string& name) {
  const auto found = presets.find(name);
  if (found != presets.end())
    return found->second;
  std::vector<std::string> names;
  names.reserve(presets.size());
  for (const auto& [known, preset] : presets)
    names.push_back(known);
  return Error{fmt::format("unknown preset '{}'; there are {}", name, fmt::join(names, ", ")),
               ErrorKind::request};
}

} // namespace gxfilter
