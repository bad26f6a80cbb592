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

/// The frame alone, in the colours that previews show its values in.
recordings::PaletteImage colorized(const recordings::FrameView& frame, ValueRange range);

/// "320x240+10+20", a size and its upper left corner; null for anything else.
std::optional<Rectangle> parse_crop(const std::string& text);

/// The part of a frame, moved and cut where it leaves the frame.
recordings::FrameView cropped(const recordings::FrameView& frame, Rectangle part);

/// What filtering did to a frame of one size and unit.
struct Difference {
  uint64_t removed = 0; ///< pixels that lost their data
  uint64_t added = 0;   ///< pixels that had none
};

/// Null where the frames can't be compared: another size, pixel type or unit.
std::optional<Difference> difference_of(const recordings::FrameView& before,
                                        const recordings::FrameView& after);

/// Millimetres or codes that 95 of 100 moved pixels of such frames don't exceed; 0 where none
/// moved.
double typical_move(const recordings::FrameView& before, const recordings::FrameView& after);

/// The text in lines of at most `width` characters, broken at blanks where there are any. What does
/// not go into `lines` ends in "...".
std::vector<std::string> wrapped(std::string_view text, size_t width, size_t lines);

/// What the colours of a preview stand for.
struct PreviewRanges {
  std::optional<ValueRange> before; ///< null before the first frame with valid pixels
  std::optional<ValueRange> after;
  double move = 0; ///< where the difference is brightest; 0: nothing has moved yet
};

/// Draws the previews of one recording. The colour ranges are fixed by its first frame with valid
/// pixels, so that colours can be compared along the recording; before and after share one range
/// (and legend) unless one holds disparity codes and the other depth.
class PreviewPainter {
 public:
  /// `caption` stands under every picture.
  explicit PreviewPainter(std::string caption) : caption_(std::move(caption)) {}

  /// The ranges from this frame on. Frames in their order.
  PreviewRanges choose_ranges(const recordings::FrameView& before,
                              const recordings::FrameView& after);
  /// Whether `choose_ranges` would look at a frame.
  bool still_chooses() const { return !ranges_.before || !ranges_.after || ranges_.move == 0; }
  PreviewRanges ranges() const { return ranges_; }

  /// `title` names the frame. On any threads at a time.
  recordings::PaletteImage paint(const PreviewRanges& ranges, const recordings::FrameView& before,
                                 const recordings::FrameView& after,
                                 const std::string& title) const;

 private:
  std::string caption_;
  PreviewRanges ranges_;
};

} // namespace gxfilter
