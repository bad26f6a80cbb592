// A recording's way through a chain of filters. Frames are read, decoded, filtered, encoded and
// written at the same time, each filter on another frame; what comes out does not depend on how
// many threads take part.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "gxfilter/canvas.h"
#include "gxfilter/filter_chain.h"
#include "gxfilter/input_options.h"
#include "gxfilter/statistics.h"
#include "recordings/frame_sink.h"

namespace gxfilter {

struct RunSettings {
  std::filesystem::path output;   ///< a folder, a file, or "-"
  std::string format = "png";     ///< of pictures in a folder, and of "-"
  std::filesystem::path origin;   ///< the one file that the frames come from, else empty
  bool overwrite = false;         ///< replaces results that are there
  bool resume = false;            ///< keeps results that are there, which have to be the same
  bool digest = false;            ///< takes the digest of the results' pixels
  bool skip_bad = false;          ///< leaves out frames that can't be read
  std::filesystem::path previews; ///< folder of coloured pictures; empty: none
  std::optional<Rectangle> crop;  ///< what those show; null: whole frames
  unsigned jobs = 1;              ///< threads
  bool tell_facts = true;         ///< in a note, once they are known
};

/// What was done, also where it failed in the end.
struct RunOutcome {
  recordings::Failure failure;
  bool interrupted = false;
  uint64_t frames = 0; ///< whose results are there now
  uint64_t kept = 0;   ///< of these, were there before
  std::string digest;  ///< of the pixels of all frames; empty: not asked for, or not whole
  std::vector<std::string> left_out; ///< why, for each frame that could not be read
  std::vector<std::string> remarks;  ///< of the recording's reader
  std::vector<FilterStatistics> statistics;
  std::vector<recordings::FactInForce> facts; ///< nothing without a frame
  std::vector<std::string> idle_filters;      ///< which changed no frame, and why
};

RunOutcome run_filters(Input input, Chain chain, const RunSettings& settings);

/// Null where the results have a place: an error of kind `request` where two frames would write one
/// file, a result would replace an input, or one is there that nobody allowed to replace.
recordings::Failure check_output(const recordings::FrameSource& source,
                                 const std::vector<std::filesystem::path>& inputs,
                                 const RunSettings& settings);

} // namespace gxfilter
