// The frames that the checks send through a filter, and everything that can be told about a frame.
#pragma once

#include <string>
#include <vector>

#include "recordings/host_frame.h"

namespace conformance {

struct PixelKind {
  const char* name;
  gx_pixel_type type;
};
inline constexpr PixelKind pixel_kinds[] = {{"depth", GX_PIXEL_DEPTH},
                                            {"disparity", GX_PIXEL_DISPARITY},
                                            {"time-of-flight", GX_PIXEL_TOF_DEPTH}};

/// Rows of whole cache lines, so that guarded buffers end exactly where the pixels do.
inline constexpr recordings::FrameSize usual_size{64, 40};

/// A frame of a generated scene, with all that filters ask of a camera. Two references are held, so
/// that a filter that gives back one that is not its own can be told from one that does not.
class Input {
 public:
  Input(PixelKind kind, recordings::FrameSize size = usual_size, uint32_t number = 0,
        gx_frame_type type = GX_FRAME_DEPTH);

  gx_frame& frame() const { return *frame_; }
  gx_frame* get() const { return frame_.get(); }

  /// Cuts the pixel buffer to so many bytes; the profile keeps its size.
  void shorten(uint32_t bytes) const;

 private:
  gexton::Frame frame_;
  gexton::Frame second_reference_;
};

/// A frame set that holds these frames. Throws Unable.
gexton::Frame make_set(const std::vector<gx_frame*>& members);

/// Everything about a frame that the host tells, and which profile it has.
class FrameState : public gexton::FrameState {
 public:
  explicit FrameState(const gx_frame& frame);

  /// "unchanged", or the names of what differs.
  std::string changes_to(const FrameState& later) const;
  bool same_pixels(const FrameState& other) const { return pixels() == other.pixels(); }

 private:
  uintptr_t profile_; ///< to tell profiles apart: the frame holds its own, nobody follows this
};
inline constexpr const char* unchanged = "unchanged";

} // namespace conformance
