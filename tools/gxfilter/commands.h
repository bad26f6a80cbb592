// The program's commands. Each prints its result on standard output and its complaints on standard
// error and returns the program's exit status.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "gxfilter/preview.h"
#include "recordings/camera.h"
#include "recordings/synth.h"

namespace gxfilter {

struct ListOptions {
  std::filesystem::path plugin; // empty: the one beside the executable, here and below
  bool json = false;
};
recordings::ExitStatus list_filters(const ListOptions& options);

struct DescribeOptions {
  std::filesystem::path plugin;
  std::string filter;
  bool json = false;
};
recordings::ExitStatus describe_filter(const DescribeOptions& options);

struct RunOptions {
  std::filesystem::path plugin;
  std::vector<std::string> filters; // requests, applied after those of the chain file
  std::filesystem::path chain;      // empty: none
  std::vector<std::filesystem::path> inputs;
  std::string match;            // wildcards that choose among the files of directories
  std::filesystem::path output; // directory, made when needed
  bool preview = false;
  std::optional<Rectangle> crop;     // what the previews show; null: whole frames
  std::string raw_size;              // "WxH" or empty
  std::filesystem::path camera_file; // empty: the one beside the first input, if any
  recordings::CameraFacts facts =
      recordings::CameraFacts::object(); // what options say; wins over the file
};
recordings::ExitStatus run_filters(const RunOptions& options);

struct SynthOptions {
  std::filesystem::path output;
  uint32_t frames = 30;
  recordings::SceneSettings scene;
};
recordings::ExitStatus synthesize(const SynthOptions& options);

struct ValidateOptions {
  std::filesystem::path plugin;
  std::string filter; // empty: all
  bool verbose = false;
  bool json = false;
  uint32_t time_limit = 60; // seconds for a single item
};
/// Checks a plug-in against what hosts rely on; `nonconforming` where anything fails.
recordings::ExitStatus validate_plugin(const ValidateOptions& options);

} // namespace gxfilter
