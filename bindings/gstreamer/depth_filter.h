// The element class that all elements with filters derive from: frames, caps, camera and history.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gst/video/gstvideofilter.h>

#include "camera_properties.h"
#include "fitting.h"

namespace depth_elements {

class FilterElement;

/// The instance that GObject knows; `element` has all that is ours.
struct DepthFilter {
  GstVideoFilter parent;
  FilterElement* element;
};

struct DepthFilterClass {
  GstVideoFilterClass parent;
};

/// Abstract: derived classes have the filters.
GType depth_filter_type();
FilterElement& element_of(gpointer instance);

/// The caps of depth.
inline constexpr const char* depth_caps = GST_VIDEO_CAPS_MAKE("GRAY16_LE");

/// Whether what is attached to a frame holds for the one that is made of it too: GStreamer's own
/// class leaves everything behind that is about pictures. What says where something is in a frame
/// is not true of a frame of another size.
bool travels_along(const GstMeta& meta, bool is_resized);

/// Where a derived class's own properties begin.
guint first_own_property();

/// What a user asks of an element.
struct Wishes {
  std::vector<gxfilter::FilterRequest> requests;
  gxfilter::Ranges ranges = gxfilter::Ranges::checked;
  CameraProperties camera;
};

/// All of an element but what GObject sees. Properties are set on any thread; frames come on the
/// streaming thread, which takes over what is wished for between two of them.
class FilterElement {
 public:
  explicit FilterElement(GstBaseTransform& transform) : transform_(transform) {}

  // ---- properties, on any thread ----

  /// Calls `read` with the wishes as a user sees them.
  template <class Read>
  auto look_at_wishes(Read read) const {
    const std::lock_guard lock(mutex_);
    return read(staged_ ? *staged_ : wishes_);
  }
  /// Calls `change` with wishes that count from `settle` on, so that several properties that are
  /// set at once count together.
  template <class Change>
  void change_wishes(Change change) {
    const std::lock_guard lock(mutex_);
    change(staged_ ? *staged_ : staged_.emplace(wishes_));
  }
  /// Takes over what has changed, or refuses all of it.
  void settle();
  /// Tells the user on the bus, or as soon as there is one, why a property keeps its value.
  void refuse(const recordings::Error& error);
  /// The same of filters: without others the element does not start.
  void refuse_filters(const recordings::Error& error);

  // ---- states and negotiation ----

  /// False, with an error on the bus, where a chain was refused and there is no other.
  bool make_ready();
  void stop();
  GstCaps* transform_caps(GstPadDirection direction, GstCaps* caps);
  GstCaps* fixate_caps(GstPadDirection direction, GstCaps* caps, GstCaps* other_caps);
  /// `is_new`: frames of other caps than before begin.
  bool negotiated(recordings::FrameSize in, recordings::FrameSize out, bool is_new);

  // ---- the stream ----

  bool process(const GstVideoFrame& in, GstVideoFrame& out);
  /// The next frame is not one of those before.
  void interrupt() { was_interrupted_ = true; }
  void see_segment(const GstSegment& segment);
  /// Takes the event and returns what goes on.
  GstEvent* see_tags(GstEvent* event);

 private:
  /// What was accepted last.
  struct Order {
    Setup setup;
    bool resizes = false;
    uint64_t number = 0; ///< later orders have higher ones
  };

  Order order() const;
  void place_order();
  recordings::Failure begin(Setup setup, recordings::FrameSize in);
  recordings::Failure take_over();
  recordings::Failure work(const GstVideoFrame& in, GstVideoFrame& out);
  recordings::ImageView pixels_of(const GstVideoFrame& frame);
  recordings::Failure announce_camera(const gx_frame& frame);
  void push_tags();
  void fail(const recordings::Error& error);

  GstBaseTransform& transform_;

  mutable std::mutex mutex_; ///< for what follows
  Wishes wishes_;
  std::optional<Wishes> staged_;
  recordings::CameraFacts stream_facts_ = recordings::CameraFacts::object();
  Order order_;
  std::vector<std::string> held_back_; ///< refusals before there was a bus
  std::string refused_;                ///< the last refusal, as long as there are no filters

  std::atomic<uint64_t> order_number_{0}; ///< to look at without the lock
  std::atomic<bool> was_interrupted_{false};

  // Of the streaming thread.
  std::unique_ptr<FilterLine> line_;
  recordings::FrameSize out_;
  uint64_t line_number_ = 0; ///< of the order that the line follows, or can't follow
  bool has_seen_frames_ = false;
  std::vector<uint16_t> packed_; ///< an input whose rows have gaps
  std::optional<GstSegment> segment_;
  GstTagList* stream_tags_ = nullptr;
  std::string announced_;       ///< the camera as our last tag says it; empty: there was none
  bool is_told_camera_ = false; ///< frames that come out now have the announced camera
};

} // namespace depth_elements
