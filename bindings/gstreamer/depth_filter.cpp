#include "depth_filter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <fmt/format.h>

namespace depth_elements {

using namespace gxfilter;
using namespace recordings;

namespace {

struct UnrefCaps {
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
};
using OwnedCaps = std::unique_ptr<GstCaps, UnrefCaps>;

std::optional<FrameSize> fixed_size(const GstStructure& structure) {
  gint width = 0;
  gint height = 0;
  if (gst_structure_get_int(&structure, "width", &width) == FALSE ||
      gst_structure_get_int(&structure, "height", &height) == FALSE)
    return std::nullopt;
  return FrameSize{static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

/// The least and the greatest length of a side.
using Lengths = std::pair<uint32_t, uint32_t>;

constexpr Lengths any_length{1, max_side};

void set_side(GstStructure& structure, const char* side, Lengths lengths) {
  const auto least = static_cast<gint>(lengths.first);
  const auto greatest = static_cast<gint>(lengths.second);
  if (least == greatest)
    gst_structure_set(&structure, side, G_TYPE_INT, least, nullptr);
  else
    gst_structure_set(&structure, side, GST_TYPE_INT_RANGE, least, greatest, nullptr);
}

/// Behind those that are there, as the first is the one that elements choose.
void add_sizes(GstCaps*& caps, const GstStructure& like, Lengths widths, Lengths heights) {
  if (widths.first > widths.second || heights.first > heights.second)
    return;
  GstStructure* const structure = gst_structure_copy(&like);
  set_side(*structure, "width", widths);
  set_side(*structure, "height", heights);
  caps = gst_caps_merge_structure(caps, structure);
}

void add_size(GstCaps*& caps, const GstStructure& like, FrameSize size) {
  add_sizes(caps, like, {size.width, size.width}, {size.height, size.height});
}

void add_all_sizes_but(GstCaps*& caps, const GstStructure& like, FrameSize size) {
  add_sizes(caps, like, {1, size.width - 1}, any_length);
  add_sizes(caps, like, {size.width + 1, max_side}, any_length);
  add_sizes(caps, like, {size.width, size.width}, {1, size.height - 1});
  add_sizes(caps, like, {size.width, size.width}, {size.height + 1, max_side});
}

/// The caps on the other side of filters.
OwnedCaps caps_beyond(const Order& order, GstPadDirection direction, GstCaps& caps) {
  if (!order.may_resize())
    return OwnedCaps(gst_caps_ref(&caps));
  OwnedCaps others(gst_caps_new_empty());
  for (guint i = 0; i < gst_caps_get_size(&caps); ++i) {
    const GstStructure& structure = *gst_caps_get_structure(&caps, i);
    const auto size = fixed_size(structure);
    std::optional<FrameSize> found;
    if (size && direction == GST_PAD_SRC)
      found = order.find_input(*size);
    else if (const auto fitted = size ? order.fit(*size) : Result<Fitted>(Error{}); fitted)
      found = fitted->out;
    GstCaps* some = others.release();
    if (found)
      add_size(some, structure, *found);
    // The base class puts what is the same on both sides in front of all.
    if (found && direction == GST_PAD_SRC && *found != *size)
      add_all_sizes_but(some, structure, *size);
    // What the filter can't do with any size is said by the first frame.
    else if (!found || direction == GST_PAD_SRC || order.has_open_sizes())
      add_sizes(some, structure, any_length, any_length);
    others.reset(some);
  }
  return others;
}

/// The length nearest to `wanted` that the caps take as their width or height.
uint32_t nearest(const GstStructure& structure, const char* side, double wanted) {
  const double length = std::clamp(std::round(wanted), 1.0, static_cast<double>(max_side));
  GstStructure* const copy = gst_structure_copy(&structure);
  gst_structure_fixate_field_nearest_int(copy, side, static_cast<gint>(length));
  gint found = static_cast<gint>(length);
  gst_structure_get_int(copy, side, &found);
  gst_structure_free(copy);
  return static_cast<uint32_t>(found);
}

/// Of the sizes that the caps take the one to ask the filters for. Where the caps bind one side,
/// the other keeps the ratio, if the filters do that.
FrameSize nearest_size(const Order& order, FrameSize in, const GstStructure& structure) {
  const auto fitted = order.fit(in);
  const FrameSize natural = fitted ? fitted->out : in;
  const FrameSize near{nearest(structure, "width", natural.width),
                       nearest(structure, "height", natural.height)};
  const double by_width = static_cast<double>(near.width) / natural.width;
  const double by_height = static_cast<double>(near.height) / natural.height;
  for (const FrameSize size :
       {FrameSize{near.width, nearest(structure, "height", natural.height * by_width)},
        FrameSize{nearest(structure, "width", natural.width * by_height), near.height}})
    if (order.fit(in, size))
      return size;
  return near;
}

/// Takes `other_caps`.
OwnedCaps fixed_caps(const Order& order, GstPadDirection direction, const GstCaps& caps,
                     GstCaps* other_caps) {
  OwnedCaps others(gst_caps_make_writable(gst_caps_truncate(other_caps)));
  const auto size = fixed_size(*gst_caps_get_structure(&caps, 0));
  GstStructure* const structure = gst_caps_get_structure(others.get(), 0);
  if (size) {
    const FrameSize near =
        direction == GST_PAD_SINK ? nearest_size(order, *size, *structure) : *size;
    gst_structure_fixate_field_nearest_int(structure, "width", static_cast<gint>(near.width));
    gst_structure_fixate_field_nearest_int(structure, "height", static_cast<gint>(near.height));
  }
  return OwnedCaps(gst_caps_fixate(others.release()));
}

/// Null where the caps do not say a size.
Failure misfit_in(const CameraFacts& stream_facts, GstCaps* caps) {
  const auto size = caps != nullptr ? fixed_size(*gst_caps_get_structure(caps, 0)) : std::nullopt;
  return size ? misfit_of(stream_facts, *size) : std::nullopt;
}

} // namespace

// ---- properties ----

void FilterElement::settle() {
  const auto check = [](const Wishes& wishes) -> Failure {
    auto failure = check_setup({wishes.requests, wishes.ranges, {}});
    if (failure && !wishes.way.empty())
      failure->message.insert(0, wishes.way + ": ");
    return failure;
  };
  const auto outcome = wishes_.settle(
      check, [this](const char* name) { g_object_notify(G_OBJECT(&transform_), name); });
  const auto is_of_filters = [](const auto& change) { return change.key == filters_key; };
  if (std::ranges::any_of(outcome.kept, is_of_filters)) {
    const std::lock_guard lock(mutex_);
    refused_.clear();
  }
  refusals_.accept(names_of(outcome.kept));
  for (const Refusal& refusal : outcome.refusals)
    refuse_filters(refusal);
}

void FilterElement::refuse_filters(const Refusal& refusal) {
  refuse(refusal);
  const bool has_none =
      look_at_wishes([](const Wishes& wishes) { return wishes.requests.empty(); });
  const std::lock_guard lock(mutex_);
  if (has_none)
    refused_ = refusal.error.message;
}

// ---- states and negotiation ----

bool FilterElement::make_ready() {
  refusals_.tell(&transform_);
  std::string without_filters;
  {
    const std::lock_guard lock(mutex_);
    without_filters = refused_;
  }
  if (!without_filters.empty())
    post_error(&transform_, without_filters.c_str());
  return without_filters.empty();
}

void FilterElement::stop() {
  line_.reset();
  line_order_.reset();
  segment_.reset();
  packed_ = {};
  told_trouble_ = {};
  see_stream_start();
  const std::lock_guard lock(mutex_);
  order_.reset();
  is_decided_ = false;
}

/// For frames of these caps.
Setup FilterElement::setup_of(const Wishes& wishes, GstCaps* in_caps) const {
  Setup setup{wishes.requests, wishes.ranges, {}};
  if (!misfit_in(stream_facts_, in_caps))
    static_cast<void>(setup.facts.add(tag_origin(), stream_facts_)); // was checked
  wishes.camera.add_to(setup.facts);
  return setup;
}

/// Whether the stream's facts hold for frames of these caps; those of other frames are left aside
/// until either changes. True where that is another answer than before.
bool FilterElement::judge_stream_facts(GstCaps* in_caps) {
  const auto misfit = misfit_in(stream_facts_, in_caps);
  const std::string text = misfit ? misfit->message : "";
  if (text == misfit_)
    return false;
  misfit_ = text;
  is_misfit_told_ = false;
  return true;
}

void FilterElement::tell_misfit() {
  if (!misfit_.empty() && !std::exchange(is_misfit_told_, true))
    refuse({{misfit_}, {}});
}

std::shared_ptr<const Order> FilterElement::order() const {
  const std::lock_guard lock(mutex_);
  if (!is_decided_ && (order_ == nullptr || order_revision_ != wishes_.revision())) {
    order_revision_ = wishes_.revision();
    const Wishes wishes = wishes_.settled();
    Setup setup{wishes.requests, wishes.ranges, {}};
    wishes.camera.add_to(setup.facts);
    order_ = std::make_shared<const Order>(std::move(setup), order_.get());
  }
  return order_;
}

GstCaps* FilterElement::transform_caps(GstPadDirection direction, GstCaps& caps) const {
  return caps_beyond(*order(), direction, caps).release();
}

GstCaps* FilterElement::fixate_caps(GstPadDirection direction, GstCaps& caps,
                                    GstCaps* other_caps) const {
  return fixed_caps(*order(), direction, caps, other_caps).release();
}

/// The size that a negotiation comes to, found as the base class finds it, but without an end of
/// the stream where there is none.
Result<FrameSize> FilterElement::rehearse(const Order& order, GstCaps& in_caps) const {
  const auto in = fixed_size(*gst_caps_get_structure(&in_caps, 0));
  if (!in)
    return Error{"frames have no size"};
  if (auto failure = order.setup().facts.check_size_of(*in))
    return *failure;
  if (const auto camera = make_camera(order.setup().facts.facts(), *in); !camera)
    return camera.error();
  if (!order.may_resize() && *in == out_) // what those behind take already
    return out_;
  GstPad* const pad = GST_BASE_TRANSFORM_SRC_PAD(&transform_);
  const OwnedCaps offered = caps_beyond(order, GST_PAD_SINK, in_caps);
  const OwnedCaps peer(gst_pad_peer_query_caps(pad, offered.get()));
  OwnedCaps taken(gst_caps_intersect_full(peer.get(), offered.get(), GST_CAPS_INTERSECT_FIRST));
  if (gst_caps_is_empty(taken.get()) == FALSE) {
    taken = fixed_caps(order, GST_PAD_SINK, in_caps, taken.release());
    const auto out = fixed_size(*gst_caps_get_structure(taken.get(), 0)).value_or(*in);
    const auto fitted = order.fit(*in, out);
    if (!fitted)
      return fitted.error();
    if (gst_pad_peer_query_accept_caps(pad, taken.get()) != FALSE)
      return out;
  }
  const auto fitted = order.fit(*in);
  if (!fitted)
    return fitted.error();
  return Error{fmt::format("the elements behind take no frames of {}x{}", fitted->out.width,
                           fitted->out.height),
               ErrorKind::request};
}

void FilterElement::decide(GstCaps* in_caps) {
  const std::shared_ptr<const Order> before = is_decided_ ? order() : nullptr;
  have_facts_changed_ = judge_stream_facts(in_caps) || have_facts_changed_;
  if (before != nullptr && !have_facts_changed_ && order_revision_ == wishes_.revision())
    return;
  const std::shared_ptr<const Order> like = order();
  const auto taken = wishes_.take();
  // Where nothing works yet, what is asked for has to do: the first frame says what is wrong.
  const bool may_refuse = line_ != nullptr && in_caps != nullptr;
  std::shared_ptr<const Order> after; // the last that was found good: that of the decision
  bool has_other_caps = false;
  const auto decision =
      depth_elements::decide(taken.in_force, taken.changes, [&](const Wishes& wishes) -> Failure {
        const auto candidate = std::make_shared<const Order>(setup_of(wishes, in_caps), like.get());
        if (may_refuse) {
          const auto out = rehearse(*candidate, *in_caps);
          if (!out)
            return out.error();
          has_other_caps = *out != out_;
        }
        after = candidate;
        return std::nullopt;
      });
  if (after == nullptr) { // what the stream says goes with nothing
    after = std::make_shared<const Order>(setup_of(decision.settings, in_caps), like.get());
    has_other_caps = true;
  }
  if (before != nullptr && before->setup() == after->setup()) {
    after = before; // with its answers and its history
    has_other_caps = false;
  }
  wishes_.put_in_force(decision.settings);
  {
    const std::lock_guard lock(mutex_);
    order_ = after;
    order_revision_ = taken.revision;
    is_decided_ = true;
  }
  have_facts_changed_ = false;
  for (const Refusal& refusal : decision.refusals)
    refuse(refusal);
  for (const char* name : names_without(taken.changes, decision.kept)) // which read as before
    g_object_notify(G_OBJECT(&transform_), name);

  const bool is_empty = after->setup().requests.empty();
  const bool was_empty = gst_base_transform_is_passthrough(&transform_) != FALSE;
  gst_base_transform_set_passthrough(&transform_, is_empty ? TRUE : FALSE);
  if (has_other_caps || is_empty != was_empty) // or another pool
    gst_base_transform_reconfigure_src(&transform_);
  if (is_empty != was_empty) // those before laid their frames out for filters, or for those behind
    gst_base_transform_reconfigure_sink(&transform_);
}

Failure FilterElement::begin(Setup setup, FrameSize in) {
  auto line = FilterLine::begin(std::move(setup), in);
  if (!line)
    return line.error();
  line_ = std::move(*line);
  has_seen_frames_ = false;
  return std::nullopt;
}

bool FilterElement::negotiated(FrameSize in, FrameSize out, bool is_new) {
  out_ = out;
  line_order_.reset();
  if (is_new || (line_ != nullptr && line_->size() != in))
    line_.reset();
  Failure failure;
  if (line_ != nullptr) {
    failure = follow_order();
  } else {
    const auto now = order();
    const auto fitted = now->fit(in, out);
    // Otherwise the first frame says what the filter has against it.
    failure = begin(fitted ? fitted->setup : now->setup(), in);
    line_order_ = now;
    is_told_camera_ = false;
  }
  // The base class negotiates again with each buffer; told once, the same is known.
  const std::pair trouble(order(), in);
  if (failure && trouble != told_trouble_)
    post_error(&transform_, *failure);
  told_trouble_ = failure ? trouble : Trouble();
  return !failure;
}

// ---- the stream ----

Failure FilterElement::follow_order() {
  const auto now = order();
  if (line_ == nullptr || now == line_order_)
    return std::nullopt;
  auto fitted = now->fit(line_->size(), out_);
  if (auto failure = fitted ? line_->become(std::move(fitted->setup)) : Failure(fitted.error()))
    return failure;
  line_order_ = now;
  is_told_camera_ = false;
  return std::nullopt;
}

bool FilterElement::follow() {
  auto failure = follow_order();
  // Without filters, frames go through unseen.
  if (!failure && line_ != nullptr && line_->setup().requests.empty() && !is_told_camera_)
    failure = announce_camera(line_->camera());
  if (failure)
    post_error(&transform_, *failure);
  return !failure;
}

/// Whether the elements behind take frames with gaps, as they say where buffers are agreed on.
bool FilterElement::takes_any_layout() {
  if (is_known_behind_.exchange(true))
    return take_any_layout_;
  GstPad* const pad = GST_BASE_TRANSFORM_SRC_PAD(&transform_);
  const OwnedCaps caps(gst_pad_get_current_caps(pad));
  GstQuery* const query = gst_query_new_allocation(caps.get(), FALSE);
  take_any_layout_ =
      gst_pad_peer_query(pad, query) != FALSE &&
      gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr) != FALSE;
  gst_query_unref(query);
  return take_any_layout_;
}

bool FilterElement::lay_out(const GstVideoInfo& info) {
  GstBuffer*& buffer = transform_.queued_buf;
  if (buffer == nullptr || gst_base_transform_is_passthrough(&transform_) == FALSE ||
      has_default_layout(*buffer, info) || takes_any_layout())
    return true;
  GstBuffer* const copy = copy_to_default_layout(*buffer, info);
  if (copy == nullptr) {
    post_error(&transform_, "no memory for a frame");
    return false;
  }
  gst_buffer_unref(buffer);
  buffer = copy;
  return true;
}

bool FilterElement::process(const GstVideoFrame& in, GstVideoFrame& out) {
  const auto failure = work(in, out);
  if (failure)
    post_error(&transform_, *failure);
  return !failure;
}

Failure FilterElement::work(const GstVideoFrame& in, GstVideoFrame& out) {
  const bool begins_anew = was_interrupted_.exchange(false) && has_seen_frames_;
  if (auto failure = begins_anew ? line_->forget() : std::nullopt)
    return failure;
  has_seen_frames_ = true;
  const Rows rows = rows_of(out);
  const auto frame = line_->process(pixels_of(in, packed_),
                                    rows.are_packed() ? rows.pixels() : std::span<uint16_t>());
  if (!frame)
    return frame.error();
  const auto view = look_at(**frame);
  if (!view)
    return view.error();
  if (view->size != rows.size)
    return Error{fmt::format("frames of {}x{} pixels come out, {}x{} were negotiated",
                             view->size.width, view->size.height, rows.size.width,
                             rows.size.height)};
  const auto* const bytes = reinterpret_cast<const uint8_t*>(view->pixels.data());
  if (bytes != rows.first)
    for (size_t y = 0; y < rows.size.height; ++y)
      std::memcpy(rows.row(y), bytes + y * rows.row_bytes(), rows.row_bytes());
  if (is_told_camera_)
    return std::nullopt;
  const auto camera = camera_of(**frame, line_->camera());
  return camera ? announce_camera(*camera) : camera.error();
}

void FilterElement::see_stream_start() {
  interrupt();
  have_facts_changed_ = have_facts_changed_ || !stream_facts_.empty();
  stream_facts_ = CameraFacts::object();
  misfit_.clear();
  announced_.clear();
  is_told_camera_ = false;
  g_clear_pointer(&stream_tags_, gst_tag_list_unref);
}

void FilterElement::see_segment(const GstSegment& segment) {
  if (segment_ && gst_segment_is_equal(&*segment_, &segment) == FALSE)
    interrupt();
  segment_ = segment;
}

// ---- the camera along the stream ----

GstEvent* FilterElement::see_tags(GstEvent* event) {
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  if (gst_tag_list_get_scope(tags) != GST_TAG_SCOPE_STREAM)
    return event;
  g_clear_pointer(&stream_tags_, gst_tag_list_unref);
  stream_tags_ = gst_tag_list_ref(tags);
  const auto facts = facts_of(*tags);
  if (!facts) {
    refuse({facts.error(), {}});
  } else if (*facts && stream_facts_ != **facts) {
    is_misfit_told_ = false;
    stream_facts_ = **facts;
    have_facts_changed_ = true;
  }
  if (announced_.empty())
    return event;
  gst_event_unref(event);
  push_tags();
  return nullptr;
}

/// Tells the elements behind what the filters made of the camera, where anybody said something of
/// it or they changed it.
Failure FilterElement::announce_camera(const Camera& camera) {
  const CameraFacts facts = facts_of(camera);
  is_told_camera_ = true;
  const bool is_known = !line_->setup().facts.facts().empty() || !announced_.empty();
  if (!is_known && facts == facts_of(line_->camera()))
    return std::nullopt;
  if (const std::string before = std::exchange(announced_, facts.dump()); before != announced_)
    push_tags();
  return std::nullopt;
}

void FilterElement::push_tags() {
  GstTagList* const tags =
      stream_tags_ != nullptr ? gst_tag_list_copy(stream_tags_) : gst_tag_list_new_empty();
  gst_tag_list_add(tags, GST_TAG_MERGE_REPLACE, camera_tag, announced_.c_str(), nullptr);
  gst_pad_push_event(GST_BASE_TRANSFORM_SRC_PAD(&transform_), gst_event_new_tag(tags));
}

// ---- GObject ----

namespace {

constexpr guint property_unchecked = 1;

guint beyond_camera_properties = 0;
GstVideoFilterClass* parent_class = nullptr;

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* property) {
  guarded(object, [&] {
    FilterElement& element = element_of(object);
    if (id == property_unchecked) {
      const bool is_unchecked = g_value_get_boolean(value) != FALSE;
      return element.change_wishes({id, property->name, [is_unchecked](Wishes& wishes) {
                                      wishes.ranges = is_unchecked ? Ranges::left_to_the_filter
                                                                   : Ranges::checked;
                                    }});
    }
    const auto change = CameraProperties::change_of(id, *value);
    if (change)
      element.change_wishes(
          {id, property->name, [change = *change](Wishes& wishes) { change(wishes.camera); }});
    else
      element.refuse({change.error(), {property->name}});
  });
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* /*property*/) {
  guarded(object, [&] {
    element_of(object).look_at_wishes([&](const Wishes& wishes) {
      if (id == property_unchecked)
        g_value_set_boolean(value, wishes.ranges == Ranges::left_to_the_filter ? TRUE : FALSE);
      else
        wishes.camera.get(id, *value);
    });
  });
}

/// Comes once for all properties that are set in one call.
void settle_properties(GObject* object, guint count, GParamSpec** properties) {
  guarded(object, [&] { element_of(object).settle(); });
  G_OBJECT_CLASS(parent_class)->dispatch_properties_changed(object, count, properties);
}

void finalize(GObject* object) {
  FilterElement* const element = reinterpret_cast<DepthFilter*>(object)->element;
  element->stop();
  delete element;
  G_OBJECT_CLASS(parent_class)->finalize(object);
}

GstStateChangeReturn change_state(GstElement* element, GstStateChange transition) {
  if (transition == GST_STATE_CHANGE_NULL_TO_READY &&
      !guarded(element, false, [&] { return element_of(element).make_ready(); }))
    return GST_STATE_CHANGE_FAILURE;
  return GST_ELEMENT_CLASS(parent_class)->change_state(element, transition);
}

gboolean stop(GstBaseTransform* transform) {
  return guarded(transform, FALSE, [&] {
    element_of(transform).stop();
    return TRUE;
  });
}

GstCaps* transform_caps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps,
                        GstCaps* filter) {
  GstCaps* others = guarded(transform, static_cast<GstCaps*>(nullptr),
                            [&] { return element_of(transform).transform_caps(direction, *caps); });
  if (others == nullptr)
    others = gst_caps_new_empty();
  if (filter == nullptr)
    return others;
  GstCaps* const wanted = gst_caps_intersect_full(filter, others, GST_CAPS_INTERSECT_FIRST);
  gst_caps_unref(others);
  return wanted;
}

GstCaps* fixate_caps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps,
                     GstCaps* other_caps) {
  GstCaps* const fixed = guarded(transform, static_cast<GstCaps*>(nullptr), [&] {
    return element_of(transform).fixate_caps(direction, *caps, gst_caps_ref(other_caps));
  });
  if (fixed == nullptr)
    return gst_caps_fixate(other_caps);
  gst_caps_unref(other_caps);
  return fixed;
}

gboolean set_info(GstVideoFilter* filter, GstCaps* in_caps, GstVideoInfo* in, GstCaps* /*out_caps*/,
                  GstVideoInfo* out) {
  GstCaps* before = gst_pad_get_current_caps(GST_BASE_TRANSFORM_SINK_PAD(filter));
  const bool is_new = before == nullptr || gst_caps_is_equal(before, in_caps) == FALSE;
  gst_clear_caps(&before);
  return guarded(filter, FALSE, [&] {
    return element_of(filter).negotiated(size_of(*in), size_of(*out), is_new) ? TRUE : FALSE;
  });
}

/// Null where it went another way.
GstEvent* look_at_event(FilterElement& element, GstEvent* event) {
  const GstSegment* segment = nullptr;
  GstCaps* caps = nullptr;
  switch (GST_EVENT_TYPE(event)) {
  case GST_EVENT_FLUSH_STOP:
    element.interrupt();
    break;
  case GST_EVENT_STREAM_START:
    element.see_stream_start();
    break;
  case GST_EVENT_CAPS:
    element.see_change_behind();
    gst_event_parse_caps(event, &caps);
    element.decide(caps);
    break;
  case GST_EVENT_SEGMENT:
    gst_event_parse_segment(event, &segment);
    element.see_segment(*segment);
    break;
  case GST_EVENT_TAG:
    return element.see_tags(event);
  default:
    break;
  }
  return event;
}

gboolean see_event(GstBaseTransform* transform, GstEvent* event) {
  GstEvent* const onward =
      guarded(transform, event, [&] { return look_at_event(element_of(transform), event); });
  return onward == nullptr ? TRUE
                           : GST_BASE_TRANSFORM_CLASS(parent_class)->sink_event(transform, onward);
}

/// Comes before each buffer and before what is negotiated for it.
GstFlowReturn submit_buffer(GstBaseTransform* transform, gboolean is_discont, GstBuffer* buffer) {
  follow_controllers(*transform, *buffer);
  if (GST_BUFFER_IS_DISCONT(buffer))
    element_of(transform).interrupt();
  GstCaps* caps = gst_pad_get_current_caps(GST_BASE_TRANSFORM_SINK_PAD(transform));
  const bool is_decided = guarded(transform, false, [&] {
    element_of(transform).decide(caps);
    element_of(transform).tell_misfit();
    return true;
  });
  gst_clear_caps(&caps);
  if (!is_decided) {
    gst_buffer_unref(buffer);
    return GST_FLOW_ERROR;
  }
  const GstFlowReturn flow =
      GST_BASE_TRANSFORM_CLASS(parent_class)->submit_input_buffer(transform, is_discont, buffer);
  if (flow != GST_FLOW_OK)
    return flow;
  return guarded(transform, GST_FLOW_ERROR,
                 [&] { return element_of(transform).follow() ? GST_FLOW_OK : GST_FLOW_ERROR; });
}

/// Comes once a buffer and its caps are known.
GstFlowReturn generate_output(GstBaseTransform* transform, GstBuffer** out) {
  const GstVideoInfo& info = reinterpret_cast<GstVideoFilter*>(transform)->in_info;
  const bool is_frame = guarded(transform, false, [&] {
    return holds_frame(*transform, info) && element_of(transform).lay_out(info);
  });
  if (is_frame)
    return GST_BASE_TRANSFORM_CLASS(parent_class)->generate_output(transform, out);
  gst_clear_buffer(&transform->queued_buf);
  return GST_FLOW_ERROR;
}

gboolean see_event_from_behind(GstBaseTransform* transform, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_RECONFIGURE)
    element_of(transform).see_change_behind();
  return GST_BASE_TRANSFORM_CLASS(parent_class)->src_event(transform, event);
}

GstFlowReturn transform_frame(GstVideoFilter* filter, GstVideoFrame* in, GstVideoFrame* out) {
  return guarded(filter, GST_FLOW_ERROR, [&] {
    return element_of(filter).process(*in, *out) ? GST_FLOW_OK : GST_FLOW_ERROR;
  });
}

gboolean transform_meta(GstBaseTransform* transform, GstBuffer* out, GstMeta* meta, GstBuffer* in) {
  const auto& video = reinterpret_cast<DepthFilter*>(transform)->parent;
  const bool is_resized = size_of(video.in_info) != size_of(video.out_info);
  return travels_along(*meta, is_resized) ||
         GST_BASE_TRANSFORM_CLASS(parent_class)->transform_meta(transform, out, meta, in) != FALSE;
}

void init_class(gpointer element_class, gpointer /*data*/) {
  parent_class = static_cast<GstVideoFilterClass*>(g_type_class_peek_parent(element_class));
  auto& object = *G_OBJECT_CLASS(element_class);
  object.set_property = set_property;
  object.get_property = get_property;
  object.dispatch_properties_changed = settle_properties;
  object.finalize = finalize;
  g_object_class_install_property(
      &object, property_unchecked,
      g_param_spec_boolean(
          "unchecked", "unchecked",
          "Leave values outside the ranges shown here to the filter, which may take more", FALSE,
          static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING)));
  beyond_camera_properties = install_camera_properties(object);

  auto& element = *GST_ELEMENT_CLASS(element_class);
  element.change_state = change_state;
  add_pad(element, "sink", GST_PAD_SINK, depth_caps);
  add_pad(element, "src", GST_PAD_SRC, depth_caps);

  auto& transform = *GST_BASE_TRANSFORM_CLASS(element_class);
  transform.stop = stop;
  transform.transform_caps = transform_caps;
  transform.fixate_caps = fixate_caps;
  transform.sink_event = see_event;
  transform.src_event = see_event_from_behind;
  transform.submit_input_buffer = submit_buffer;
  transform.generate_output = generate_output;
  transform.transform_meta = transform_meta;
  auto& video = *GST_VIDEO_FILTER_CLASS(element_class);
  video.set_info = set_info;
  video.transform_frame = transform_frame;
}

void init_instance(GTypeInstance* instance, gpointer /*element_class*/) {
  auto* const transform = reinterpret_cast<GstBaseTransform*>(instance);
  or_abort(
      [&] { reinterpret_cast<DepthFilter*>(instance)->element = new FilterElement(*transform); });
  // Late frames are no reason to leave some out: what comes behind may be a file or a robot.
  gst_base_transform_set_qos_enabled(transform, FALSE);
}

} // namespace

GType depth_filter_type() {
  static const GType type = [] {
    GTypeInfo info{};
    info.class_size = sizeof(DepthFilterClass);
    info.class_init = init_class;
    info.instance_size = sizeof(DepthFilter);
    info.instance_init = init_instance;
    return g_type_register_static(GST_TYPE_VIDEO_FILTER, "GstDepthFilter", &info,
                                  G_TYPE_FLAG_ABSTRACT);
  }();
  return type;
}

FilterElement& element_of(gpointer instance) {
  return *static_cast<DepthFilter*>(instance)->element;
}

guint first_own_property() {
  return beyond_camera_properties;
}

} // namespace depth_elements
