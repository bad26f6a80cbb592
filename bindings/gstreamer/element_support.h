// What all elements need of GObject and GStreamer.
#pragma once

#include <exception>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <gst/video/gstvideofilter.h>

#include "recordings/image.h"
#include "recordings/result.h"
#include "staged.h"

namespace depth_elements {

/// The caps of frames in these formats, of any size that files and hosts take.
#define DEPTH_ELEMENTS_CAPS(FORMATS)                                                               \
  "video/x-raw, format = (string) " FORMATS ", width = (int) [ 1, 65535 ], "                       \
  "height = (int) [ 1, 65535 ], framerate = " GST_VIDEO_FPS_RANGE
static_assert(recordings::max_side == 65535);

/// The caps of depth.
inline constexpr const char* depth_caps = DEPTH_ELEMENTS_CAPS("GRAY16_LE");

// ---- classes ----

/// What a class of elements is made of.
struct ElementKind {
  GType parent = 0;
  const char* type_name = "";
  const char* element_name = "";
  guint16 instance_size = 0;
  GClassInitFunc init_class = nullptr;
  GInstanceInitFunc init_instance = nullptr;
  gconstpointer data = nullptr; ///< for `init_class`; as long as the process
};
/// The new type; 0 where it can't be registered.
GType register_element(GstPlugin& plugin, const ElementKind& kind);

/// A pad that is always there.
void add_pad(GstElementClass& element_class, const char* name, GstPadDirection direction,
             const char* caps_text);

// ---- messages ----

/// An error message, which ends the pipeline.
void post_error(gpointer element, const char* text) noexcept;
inline void post_error(gpointer element, const recordings::Error& error) {
  post_error(element, error.message.c_str());
}

/// Warnings of values that were refused. Those from before there is a pipeline wait for it, as
/// applications set most properties then. What a controller may repeat with each frame is told
/// once, until a value is accepted. On any thread.
class Refusals {
 public:
  void add(gpointer element, const Refusal& refusal);
  void accept(const Names& names);
  /// Once there is a bus.
  void tell(gpointer element);

 private:
  bool is_news(gpointer element, const Names& names);

  std::mutex mutex_;
  std::vector<std::string> held_back_;
  std::set<std::string> refused_; ///< properties of which no value was accepted since
};

/// Calls `work` and tells of an exception, for instance of memory that is short, by a message:
/// GLib's C code can't be left by one.
template <class Work, class Result>
Result guarded(gpointer element, Result otherwise, Work work) noexcept {
  try {
    return work();
  } catch (const std::exception& exception) {
    post_error(element, exception.what());
    return otherwise;
  }
}
template <class Work>
void guarded(gpointer element, Work work) noexcept {
  guarded(element, 0, [&] {
    work();
    return 0;
  });
}

/// The same where an instance is made, which can't fail: the process ends, as where GLib has no
/// memory.
template <class Work>
void or_abort(Work work) {
  try {
    work();
  } catch (const std::exception& exception) {
    g_error("%s", exception.what());
  }
}

// ---- streams ----

/// Sets controlled properties to their values at the buffer's time, where the segment has one.
void follow_controllers(GstBaseTransform& transform, GstBuffer& buffer);

/// Whether the buffer that comes next holds a frame of these caps; an error message says why not.
/// Makes a buffer of one piece of a buffer of several, where they have rows of their own.
bool holds_frame(GstBaseTransform& transform, const GstVideoInfo& info);

/// Whether the buffer's rows and its bytes lie as elements expect that know nothing of metas.
bool has_default_layout(GstBuffer& buffer, const GstVideoInfo& info);

/// A buffer of default layout with all that the other has; null where one can't be mapped.
GstBuffer* copy_to_default_layout(GstBuffer& buffer, const GstVideoInfo& info);

/// Whether what is attached to a frame holds for the one that is made of it too: GStreamer's own
/// class leaves everything behind that is about pictures. What says where something is in a frame
/// is not true of a frame of another size.
bool travels_along(const GstMeta& meta, bool is_resized);

recordings::FrameSize size_of(const GstVideoInfo& info);

/// A frame's rows, of which the next begins `stride` bytes behind.
struct Rows {
  uint8_t* first;
  ptrdiff_t stride;
  recordings::FrameSize size;

  uint8_t* row(size_t y) const { return first + static_cast<ptrdiff_t>(y) * stride; }
  /// Of 16-bit pixels: without gaps, at an address where such numbers may stand.
  bool are_packed() const;
  size_t row_bytes() const { return size.width * sizeof(uint16_t); }
  std::span<uint16_t> pixels() const; ///< of packed rows
};
Rows rows_of(const GstVideoFrame& frame);

/// The frame's pixels as they lie there or, where its rows are not packed, copied to `copy`.
recordings::ImageView pixels_of(const GstVideoFrame& frame, std::vector<uint16_t>& copy);

} // namespace depth_elements
