#include "depth_filter.h"

#include <algorithm>
#include <cstring>

#include <fmt/format.h>

namespace depth_elements {

using namespace gxfilter;
using namespace recordings;

namespace {

GST_DEBUG_CATEGORY_STATIC(debug_category);
#define GST_CAT_DEFAULT debug_category

/// A frame's rows, of which the next begins `stride` bytes behind.
struct Rows {
  uint8_t* first;
  size_t stride;
  FrameSize size;

  bool are_packed() const {
    return stride == row_bytes() && reinterpret_cast<uintptr_t>(first) % alignof(uint16_t) == 0;
  }
  size_t row_bytes() const { return size.width * sizeof(uint16_t); }
  std::span<uint16_t> pixels() const {
    return {reinterpret_cast<uint16_t*>(first), size.pixel_count()};
  }
};

Rows rows_of(const GstVideoFrame& frame) {
  return {static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)),
          static_cast<size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)),
          {static_cast<uint32_t>(GST_VIDEO_FRAME_WIDTH(&frame)),
           static_cast<uint32_t>(GST_VIDEO_FRAME_HEIGHT(&frame))}};
}

std::optional<FrameSize> fixed_size(const GstStructure& structure) {
  gint width = 0;
  gint height = 0;
  if (gst_structure_get_int(&structure, "width", &width) == FALSE ||
      gst_structure_get_int(&structure, "height", &height) == FALSE)
    return std::nullopt;
  return FrameSize{static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

void add_size(GstCaps& caps, const GstStructure& like, FrameSize size) {
  GstStructure* const structure = gst_structure_copy(&like);
  gst_structure_set(structure, "width", G_TYPE_INT, static_cast<gint>(size.width), "height",
                    G_TYPE_INT, static_cast<gint>(size.height), nullptr);
  gst_caps_append_structure(&caps, structure);
}

void add_any_size(GstCaps& caps, const GstStructure& like) {
  GstStructure* const structure = gst_structure_copy(&like);
  gst_structure_set(structure, "width", GST_TYPE_INT_RANGE, 1, static_cast<gint>(max_side),
                    "height", GST_TYPE_INT_RANGE, 1, static_cast<gint>(max_side), nullptr);
  gst_caps_append_structure(&caps, structure);
}

} // namespace

// ---- properties ----

void FilterElement::settle() {
  std::unique_lock lock(mutex_);
  if (!staged_)
    return;
  Wishes staged = std::move(*staged_);
  staged_.reset();
  if (auto failure = check_setup({staged.requests, staged.ranges, {}})) {
    lock.unlock();
    return refuse(*failure);
  }
  wishes_ = std::move(staged);
  refused_.clear();
  place_order();
  const bool is_empty = wishes_.requests.empty();
  const bool needs_caps =
      order_.resizes ||
      is_empty != static_cast<bool>(gst_base_transform_is_passthrough(&transform_));
  lock.unlock();
  gst_base_transform_set_passthrough(&transform_, is_empty);
  if (needs_caps)
    gst_base_transform_reconfigure_src(&transform_);
}

/// With the lock held.
void FilterElement::place_order() {
  order_.setup = {wishes_.requests, wishes_.ranges, {}};
  static_cast<void>(order_.setup.facts.add("the stream", stream_facts_)); // was checked
  wishes_.camera.add_to(order_.setup.facts);
  order_.resizes = may_resize(wishes_.requests);
  order_number_ = ++order_.number;
}

FilterElement::Order FilterElement::order() const {
  const std::lock_guard lock(mutex_);
  return order_;
}

void FilterElement::refuse(const Error& error) {
  GST_WARNING_OBJECT(&transform_, "%s", error.message.c_str());
  auto* const element = GST_ELEMENT_CAST(&transform_);
  GstBus* const bus = gst_element_get_bus(element);
  if (bus == nullptr) {
    const std::lock_guard lock(mutex_);
    held_back_.push_back(error.message);
  } else {
    gst_object_unref(bus);
    GST_ELEMENT_WARNING(element, LIBRARY, SETTINGS, ("%s", error.message.c_str()), (nullptr));
  }
}

void FilterElement::refuse_filters(const Error& error) {
  refuse(error);
  const std::lock_guard lock(mutex_);
  if (wishes_.requests.empty())
    refused_ = error.message;
}

// ---- states and negotiation ----

bool FilterElement::make_ready() {
  std::vector<std::string> refusals;
  std::string without_filters;
  {
    const std::lock_guard lock(mutex_);
    refusals.swap(held_back_);
    without_filters = refused_;
  }
  for (const std::string& refusal : refusals)
    GST_ELEMENT_WARNING(&transform_, LIBRARY, SETTINGS, ("%s", refusal.c_str()), (nullptr));
  if (!without_filters.empty())
    fail({without_filters});
  return without_filters.empty();
}

void FilterElement::stop() {
  line_.reset();
  segment_.reset();
  packed_ = {};
  announced_.clear();
  is_told_camera_ = false;
  g_clear_pointer(&stream_tags_, gst_tag_list_unref);
  const std::lock_guard lock(mutex_);
  stream_facts_ = CameraFacts::object();
  place_order();
}

GstCaps* FilterElement::transform_caps(GstPadDirection direction, GstCaps* caps) {
  const Order now = order();
  if (!now.resizes)
    return gst_caps_ref(caps);
  GstCaps* const others = gst_caps_new_empty();
  for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
    const GstStructure& structure = *gst_caps_get_structure(caps, i);
    const auto size = fixed_size(structure);
    if (direction == GST_PAD_SRC || !size) {
      add_any_size(*others, structure);
      continue;
    }
    const auto fitted = fit(now.setup, *size);
    if (fitted)
      add_size(*others, structure, fitted->out);
    // What the filter can't do with any size is said by the first frame.
    if (!fitted || has_open_sizes(now.setup.requests))
      add_any_size(*others, structure);
  }
  return gst_caps_simplify(others);
}

GstCaps* FilterElement::fixate_caps(GstPadDirection direction, GstCaps* caps, GstCaps* other_caps) {
  GstCaps* const others = gst_caps_make_writable(gst_caps_truncate(other_caps));
  auto near = fixed_size(*gst_caps_get_structure(caps, 0));
  if (near && direction == GST_PAD_SINK) {
    if (const auto fitted = fit(order().setup, *near))
      near = fitted->out;
    else if (line_ != nullptr && line_->size() == *near)
      near = out_; // what is in force goes on
  }
  GstStructure* const structure = gst_caps_get_structure(others, 0);
  if (near) {
    gst_structure_fixate_field_nearest_int(structure, "width", static_cast<gint>(near->width));
    gst_structure_fixate_field_nearest_int(structure, "height", static_cast<gint>(near->height));
  }
  return gst_caps_fixate(others);
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
  const Order now = order();
  const bool goes_on = line_ != nullptr && !is_new && line_->size() == in;
  auto fitted = fit(now.setup, in, out);
  Failure failure;
  if (fitted)
    failure =
        goes_on ? line_->become(std::move(fitted->setup)) : begin(std::move(fitted->setup), in);
  else if (goes_on && out_ == out)
    refuse(fitted.error()); // what is in force goes on
  else
    failure = begin(now.setup, in); // the first frame says what the filter has against it
  if (failure) {
    fail(*failure);
    return false;
  }
  line_number_ = now.number;
  out_ = out;
  is_told_camera_ = false;
  return true;
}

// ---- the stream ----

/// A change of sizes waits until they are negotiated; a change that the filter refuses for these
/// frames, for the next.
Failure FilterElement::take_over() {
  if (order_number_ == line_number_)
    return std::nullopt;
  const Order now = order();
  auto fitted = fit(now.setup, line_->size(), out_);
  if (!fitted && fit(now.setup, line_->size()))
    return std::nullopt;
  line_number_ = now.number;
  if (!fitted) {
    refuse(fitted.error());
    return std::nullopt;
  }
  is_told_camera_ = false;
  return line_->become(std::move(fitted->setup));
}

bool FilterElement::process(const GstVideoFrame& in, GstVideoFrame& out) {
  const auto failure = work(in, out);
  if (failure)
    fail(*failure);
  return !failure;
}

ImageView FilterElement::pixels_of(const GstVideoFrame& frame) {
  const Rows rows = rows_of(frame);
  if (rows.are_packed())
    return {rows.size, rows.pixels()};
  packed_.resize(rows.size.pixel_count());
  for (size_t y = 0; y < rows.size.height; ++y)
    std::memcpy(&packed_[y * rows.size.width], rows.first + y * rows.stride, rows.row_bytes());
  return {rows.size, packed_};
}

Failure FilterElement::work(const GstVideoFrame& in, GstVideoFrame& out) {
  const bool begins_anew = was_interrupted_.exchange(false) && has_seen_frames_;
  if (auto failure = begins_anew ? line_->forget() : std::nullopt)
    return failure;
  if (auto failure = take_over())
    return failure;
  has_seen_frames_ = true;
  const Rows rows = rows_of(out);
  const auto frame =
      line_->process(pixels_of(in), rows.are_packed() ? rows.pixels() : std::span<uint16_t>());
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
      std::memcpy(rows.first + y * rows.stride, bytes + y * rows.row_bytes(), rows.row_bytes());
  return is_told_camera_ ? std::nullopt : announce_camera(**frame);
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
  const auto facts = facts_of(*tags);
  if (!facts)
    refuse(facts.error());
  if (gst_tag_list_get_scope(tags) != GST_TAG_SCOPE_STREAM)
    return event;
  g_clear_pointer(&stream_tags_, gst_tag_list_unref);
  stream_tags_ = gst_tag_list_ref(tags);
  if (facts && *facts) {
    const std::lock_guard lock(mutex_);
    if (stream_facts_ != **facts) {
      stream_facts_ = **facts;
      place_order();
    }
  }
  if (announced_.empty())
    return event;
  gst_event_unref(event);
  push_tags();
  return nullptr;
}

/// Tells the elements behind what the filters made of the camera, where anybody said something of
/// it or they changed it.
Failure FilterElement::announce_camera(const gx_frame& frame) {
  const auto camera = camera_of(frame, line_->camera());
  if (!camera)
    return camera.error();
  const CameraFacts facts = facts_of(*camera);
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

void FilterElement::fail(const Error& error) {
  GST_ELEMENT_ERROR(&transform_, LIBRARY, FAILED, ("%s", error.message.c_str()), (nullptr));
}

// ---- GObject ----

namespace {

constexpr guint property_unchecked = 1;

guint beyond_camera_properties = 0;
GstVideoFilterClass* parent_class = nullptr;

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* /*property*/) {
  FilterElement& element = element_of(object);
  Failure failure;
  element.change_wishes([&](Wishes& wishes) {
    if (id == property_unchecked)
      wishes.ranges =
          g_value_get_boolean(value) != FALSE ? Ranges::left_to_the_filter : Ranges::checked;
    else
      failure = wishes.camera.set(id, *value);
  });
  if (failure)
    element.refuse(*failure);
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* /*property*/) {
  element_of(object).look_at_wishes([&](const Wishes& wishes) {
    if (id == property_unchecked)
      g_value_set_boolean(value, wishes.ranges == Ranges::left_to_the_filter ? TRUE : FALSE);
    else
      wishes.camera.get(id, *value);
  });
}

/// Comes once for all properties that are set in one call.
void settle_properties(GObject* object, guint count, GParamSpec** properties) {
  element_of(object).settle();
  G_OBJECT_CLASS(parent_class)->dispatch_properties_changed(object, count, properties);
}

void finalize(GObject* object) {
  FilterElement* const element = reinterpret_cast<DepthFilter*>(object)->element;
  element->stop();
  delete element;
  G_OBJECT_CLASS(parent_class)->finalize(object);
}

GstStateChangeReturn change_state(GstElement* element, GstStateChange transition) {
  if (transition == GST_STATE_CHANGE_NULL_TO_READY && !element_of(element).make_ready())
    return GST_STATE_CHANGE_FAILURE;
  return GST_ELEMENT_CLASS(parent_class)->change_state(element, transition);
}

gboolean stop(GstBaseTransform* transform) {
  element_of(transform).stop();
  return TRUE;
}

GstCaps* transform_caps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps,
                        GstCaps* filter) {
  GstCaps* const others = element_of(transform).transform_caps(direction, caps);
  if (filter == nullptr)
    return others;
  GstCaps* const wanted = gst_caps_intersect_full(filter, others, GST_CAPS_INTERSECT_FIRST);
  gst_caps_unref(others);
  return wanted;
}

GstCaps* fixate_caps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps,
                     GstCaps* other_caps) {
  return element_of(transform).fixate_caps(direction, caps, other_caps);
}

FrameSize size_of(const GstVideoInfo& info) {
  return {static_cast<uint32_t>(GST_VIDEO_INFO_WIDTH(&info)),
          static_cast<uint32_t>(GST_VIDEO_INFO_HEIGHT(&info))};
}

gboolean set_info(GstVideoFilter* filter, GstCaps* in_caps, GstVideoInfo* in, GstCaps* /*out_caps*/,
                  GstVideoInfo* out) {
  GstCaps* before = gst_pad_get_current_caps(GST_BASE_TRANSFORM_SINK_PAD(filter));
  const bool is_new = before == nullptr || gst_caps_is_equal(before, in_caps) == FALSE;
  gst_clear_caps(&before);
  return element_of(filter).negotiated(size_of(*in), size_of(*out), is_new) ? TRUE : FALSE;
}

gboolean see_event(GstBaseTransform* transform, GstEvent* event) {
  FilterElement& element = element_of(transform);
  const GstSegment* segment = nullptr;
  switch (GST_EVENT_TYPE(event)) {
  case GST_EVENT_FLUSH_STOP:
  case GST_EVENT_STREAM_START:
    element.interrupt();
    break;
  case GST_EVENT_SEGMENT:
    gst_event_parse_segment(event, &segment);
    element.see_segment(*segment);
    break;
  case GST_EVENT_TAG:
    event = element.see_tags(event);
    break;
  default:
    break;
  }
  return event == nullptr ? TRUE
                          : GST_BASE_TRANSFORM_CLASS(parent_class)->sink_event(transform, event);
}

void before_transform(GstBaseTransform* transform, GstBuffer* buffer) {
  const GstClockTime time =
      gst_segment_to_stream_time(&transform->segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
  if (GST_CLOCK_TIME_IS_VALID(time))
    gst_object_sync_values(GST_OBJECT_CAST(transform), time);
  if (GST_BUFFER_IS_DISCONT(buffer))
    element_of(transform).interrupt();
}

GstFlowReturn transform_frame(GstVideoFilter* filter, GstVideoFrame* in, GstVideoFrame* out) {
  return element_of(filter).process(*in, *out) ? GST_FLOW_OK : GST_FLOW_ERROR;
}

gboolean transform_meta(GstBaseTransform* transform, GstBuffer* out, GstMeta* meta, GstBuffer* in) {
  const auto& video = reinterpret_cast<DepthFilter*>(transform)->parent;
  const bool is_resized = size_of(video.in_info) != size_of(video.out_info);
  return travels_along(*meta, is_resized) ||
         GST_BASE_TRANSFORM_CLASS(parent_class)->transform_meta(transform, out, meta, in) != FALSE;
}

void init_class(gpointer element_class, gpointer /*data*/) {
  parent_class = static_cast<GstVideoFilterClass*>(g_type_class_peek_parent(element_class));
  GST_DEBUG_CATEGORY_INIT(debug_category, "depthfilter", 0, "Filters for depth images");
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
  for (const auto& [name, direction] :
       {std::pair("sink", GST_PAD_SINK), std::pair("src", GST_PAD_SRC)}) {
    GstCaps* const caps = gst_caps_from_string(depth_caps);
    gst_element_class_add_pad_template(&element,
                                       gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
  }

  auto& transform = *GST_BASE_TRANSFORM_CLASS(element_class);
  transform.stop = stop;
  transform.transform_caps = transform_caps;
  transform.fixate_caps = fixate_caps;
  transform.sink_event = see_event;
  transform.before_transform = before_transform;
  transform.transform_meta = transform_meta;
  auto& video = *GST_VIDEO_FILTER_CLASS(element_class);
  video.set_info = set_info;
  video.transform_frame = transform_frame;
}

void init_instance(GTypeInstance* instance, gpointer /*element_class*/) {
  auto* const transform = reinterpret_cast<GstBaseTransform*>(instance);
  reinterpret_cast<DepthFilter*>(instance)->element = new FilterElement(*transform);
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

bool travels_along(const GstMeta& meta, bool is_resized) {
  const gchar* const* tag = gst_meta_api_type_get_tags(meta.info->api);
  for (; tag != nullptr && *tag != nullptr; ++tag) {
    const std::string_view text = *tag;
    const bool is_of_place = text == GST_META_TAG_VIDEO_SIZE_STR;
    const bool is_of_picture =
        text == GST_META_TAG_VIDEO_STR || text == GST_META_TAG_VIDEO_ORIENTATION_STR;
    if (!is_of_picture && (is_resized || !is_of_place))
      return false;
  }
  return true;
}

guint first_own_property() {
  return beyond_camera_properties;
}

} // namespace depth_elements
