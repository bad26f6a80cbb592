// The element class that all elements with filters derive from: frames, caps, camera and history.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "camera_properties.h"
#include "element_support.h"
#include "fitting.h"
#include "staged.h"

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

/// Where a derived class's own properties begin.
guint first_own_property();

/// What a user asks of an element.
struct Wishes {
  std::vector<gxfilter::FilterRequest> requests;
  std::string way;  ///< the property that told the requests, if one did
  std::string text; ///< that property's value
  gxfilter::Ranges ranges = gxfilter::Ranges::checked;
  CameraProperties camera;
};

/// The key of changes of all requests at once; others have their property's number.
inline constexpr guint filters_key = 0;

/// All of an element but what GObject sees. Properties are set on any thread; what goes on is
/// decided on the streaming thread alone, once before each negotiation and each buffer.
class FilterElement {
 public:
  explicit FilterElement(GstBaseTransform& transform) : transform_(transform) {}

  // ---- properties, on any thread ----

  /// What the element is made with. Before any property is set.
  void begin_with(Wishes wishes) { wishes_.put_in_force(std::move(wishes)); }
  /// Calls `read` with the wishes as a user sees them.
  template <class Read>
  auto look_at_wishes(Read read) const {
    return wishes_.look(read);
  }
  /// Counts from `settle` on, so that several properties that are set at once count together.
  void change_wishes(Change<Wishes> change) { wishes_.stage(std::move(change)); }
  /// Hands on what has changed, and refuses what the filters refuse of it.
  void settle();
  /// Tells the user on the bus, or as soon as there is one, why a property keeps its value.
  void refuse(const Refusal& refusal) { refusals_.add(&transform_, refusal); }
  /// The same of filters: without others the element does not start.
  void refuse_filters(const Refusal& refusal);

  // ---- states and negotiation ----

  /// False, with an error on the bus, where a chain was refused and there is no other.
  bool make_ready();
  void stop();
  /// On any thread: others ask too.
  GstCaps* transform_caps(GstPadDirection direction, GstCaps& caps) const;
  GstCaps* fixate_caps(GstPadDirection direction, GstCaps& caps, GstCaps* other_caps) const;
  /// Decides what holds for frames of these caps from now on, null: for those that come. Keeps it
  /// until it is called again.
  void decide(GstCaps* in_caps);
  /// `is_new`: frames of other caps than before begin.
  bool negotiated(recordings::FrameSize in, recordings::FrameSize out, bool is_new);

  // ---- the stream ----

  /// Once negotiated: makes what was decided work, before the next frame.
  bool follow();
  /// Makes a copy of the next buffer where it goes through as it is, with rows that the elements
  /// behind know nothing of. False without memory.
  bool lay_out(const GstVideoInfo& info);
  /// On any thread: what was known of the elements behind holds no longer.
  void see_change_behind() { is_known_behind_ = false; }
  bool process(const GstVideoFrame& in, GstVideoFrame& out);
  /// The next frame is not one of those before.
  void interrupt() { was_interrupted_ = true; }
  void see_stream_start();
  void see_segment(const GstSegment& segment);
  /// Takes the event and returns what goes on.
  GstEvent* see_tags(GstEvent* event);
  /// Says, once, where the stream's facts are left aside.
  void tell_misfit();

 private:
  std::shared_ptr<const Order> order() const;
  Setup setup_of(const Wishes& wishes, GstCaps* in_caps) const;
  bool judge_stream_facts(GstCaps* in_caps);
  bool takes_any_layout();
  recordings::Result<recordings::FrameSize> rehearse(const Order& order, GstCaps& in_caps) const;
  recordings::Failure begin(Setup setup, recordings::FrameSize in);
  recordings::Failure follow_order();
  recordings::Failure work(const GstVideoFrame& in, GstVideoFrame& out);
  recordings::Failure announce_camera(const recordings::Camera& camera);
  void push_tags();

  GstBaseTransform& transform_;
  Staged<Wishes> wishes_{Wishes{}};
  Refusals refusals_;

  mutable std::mutex mutex_; ///< for what follows
  /// What negotiations are about: as it was decided or, before a stream, as it would be.
  mutable std::shared_ptr<const Order> order_;
  mutable uint64_t order_revision_ = 0; ///< of the wishes that it was made of
  std::string refused_;                 ///< the last refusal of filters, as long as there are none
  bool is_decided_ = false;

  std::atomic<bool> was_interrupted_{false};
  std::atomic<bool> is_known_behind_{false};

  // Of the streaming thread.
  bool has_seen_frames_ = false;
  bool take_any_layout_ = false;    ///< the elements behind, where that is known
  bool have_facts_changed_ = false; ///< since it was decided
  bool is_told_camera_ = false;     ///< frames that come out now have the announced camera
  std::unique_ptr<FilterLine> line_;
  std::shared_ptr<const Order> line_order_; ///< that the line follows
  using Trouble = std::pair<std::shared_ptr<const Order>, recordings::FrameSize>;
  Trouble told_trouble_; ///< what does not work for frames of which size, as the user knows
  recordings::FrameSize out_;
  std::vector<uint16_t> packed_; ///< an input whose rows have gaps
  std::optional<GstSegment> segment_;
  recordings::CameraFacts stream_facts_ = recordings::CameraFacts::object(); ///< as they were told
  std::string misfit_; ///< why they are left aside, empty where they are not
  bool is_misfit_told_ = false;
  GstTagList* stream_tags_ = nullptr;
  std::string announced_; ///< the camera as our last tag says it; empty: there was none
};

} // namespace depth_elements
