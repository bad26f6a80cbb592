// Colour-mapped pictures of a frame before and after filtering, side by side with a legend.
#pragma once

#include <optional>
#include <string>

#include "gxfilter/canvas.h"
#include "recordings/host_frame.h"

namespace gxfilter {

/// What colours stand for, in millimetres or, for disparity pixels, in codes.
struct ValueRange {
  double low = 0;
  double high = 1;
};

/// The range that holds the valid pixels but for one in a hundred at either end, so that speckles
/// don't dull the picture; null without valid pixels.
std::optional<ValueRange> typical_range(const recordings::FrameView& frame);

/// "320x240+10+20", a size and its upper left corner; null for anything else.
std::optional<Rectangle> parse_crop(const std::string& text);

/// The part of a frame, moved and cut where it leaves the frame.
recordings::FrameView cropped(const recordings::FrameView& frame, Rectangle part);

/// Draws the previews of one recording. The colour ranges are fixed by its first frame with valid
/// pixels, so that colours can be compared along the recording; both sides share one range (and
/// legend) unless one holds disparity codes and the other depth.
class PreviewPainter {
 public:
  /// `caption` stands under every picture; `title` names the frame.
  explicit PreviewPainter(std::string caption) : caption_(std::move(caption)) {}

  recordings::RgbImage paint(const recordings::FrameView& before,
                             const recordings::FrameView& after, const std::string& title);

 private:
  void choose_ranges(const recordings::FrameView& before, const recordings::FrameView& after);

  std::string caption_;
  std::optional<ValueRange> before_range_;
  std::optional<ValueRange> after_range_;
};

} // namespace gxfilter
