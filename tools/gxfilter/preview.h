// Colour-mapped pictures of a frame before and after filtering and of the difference, side by side
// with legends.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

/// What filtering did to a frame of one size and unit.
struct Difference {
  uint64_t removed = 0;    ///< pixels that lost their data
  uint64_t added = 0;      ///< pixels that had none
  double typical_move = 0; ///< millimetres or codes that 95 of 100 moved pixels don't exceed
};

/// Null where the frames can't be compared: another size, pixel type or unit.
std::optional<Difference> difference_of(const recordings::FrameView& before,
                                        const recordings::FrameView& after);

/// The text in lines of at most `width` characters, broken at blanks where there are any. What does
/// not go into `lines` ends in "...".
std::vector<std::string> wrapped(std::string_view text, size_t width, size_t lines);

/// Draws the previews of one recording. The colour ranges are fixed by its first frame with valid
/// pixels, so that colours can be compared along the recording; before and after share one range
/// (and legend) unless one holds disparity codes and the other depth.
class PreviewPainter {
 public:
  /// `caption` stands under every picture; `title` names the frame.
  explicit PreviewPainter(std::string caption) : caption_(std::move(caption)) {}

  recordings::RgbImage paint(const recordings::FrameView& before,
                             const recordings::FrameView& after, const std::string& title);

 private:
  void choose_ranges(const recordings::FrameView& before, const recordings::FrameView& after,
                     const std::optional<Difference>& difference);

  std::string caption_;
  std::optional<ValueRange> before_range_;
  std::optional<ValueRange> after_range_;
  double move_range_ = 0; ///< where the difference is brightest; 0: nothing has moved yet
};

} // namespace gxfilter
