#include "gxfilter/output_paths.h"

#include <map>
#include <set>

#include <fmt/format.h>

namespace gxfilter {

namespace fs = std::filesystem;
using namespace recordings;

Result<std::vector<fs::path>> output_paths(const std::vector<fs::path>& frames,
                                           const fs::path& directory) {
  std::vector<fs::path> outputs;
  std::map<fs::path, fs::path> sources;
  std::set<fs::path> inputs;
  std::error_code code;
  for (const fs::path& frame : frames) {
    inputs.insert(fs::weakly_canonical(frame, code));
    outputs.push_back(directory / (frame.stem().string() + ".png"));
    const auto [other, inserted] = sources.emplace(outputs.back(), frame);
    if (!inserted) {
      return Error{fmt::format("{} and {} would both write {}", other->second.string(),
                               frame.string(), outputs.back().string()),
                   ErrorKind::request};
    }
  }
  for (const fs::path& output : outputs) {
    if (inputs.contains(fs::weakly_canonical(output, code))) {
      return Error{fmt::format("{} would replace an input; choose another --out", output.string()),
                   ErrorKind::request};
    }
  }
  return outputs;
}

} // namespace gxfilter
