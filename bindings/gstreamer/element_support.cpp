#include "element_support.h"

#include <cstring>
#include <string_view>

namespace depth_elements {

using namespace recordings;

GST_DEBUG_CATEGORY_STATIC(debug_category);
#define GST_CAT_DEFAULT debug_category

// ---- classes ----

GType register_element(GstPlugin& plugin, const ElementKind& kind) {
  GST_DEBUG_CATEGORY_INIT(debug_category, "depthfilter", 0, "Elements for depth images");
  GTypeQuery parent;
  g_type_query(kind.parent, &parent);
  GTypeInfo info{};
  info.class_size = static_cast<guint16>(parent.class_size);
  info.class_init = kind.init_class;
  info.class_data = kind.data;
  info.instance_size = kind.instance_size;
  info.instance_init = kind.init_instance;
  const GType type = g_type_register_static(kind.parent, kind.type_name, &info, GTypeFlags{});
  if (type == 0 || gst_element_register(&plugin, kind.element_name, GST_RANK_NONE, type) == FALSE)
    return 0;
  return type;
}

void add_pad(GstElementClass& element_class, const char* name, GstPadDirection direction,
             const char* caps_text) {
  GstCaps* const caps = gst_caps_from_string(caps_text);
  gst_element_class_add_pad_template(&element_class,
                                     gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);
}

// ---- messages ----

namespace {

void post_warning(gpointer element, const std::string& text) {
  GST_ELEMENT_WARNING(element, LIBRARY, SETTINGS, ("%s", text.c_str()), (nullptr));
}

} // namespace

void post_error(gpointer element, const char* text) noexcept {
  GST_ELEMENT_ERROR(element, LIBRARY, FAILED, ("%s", text), (nullptr));
}

void Refusals::add(gpointer element, const Error& error) {
  GstBus* const bus = gst_element_get_bus(GST_ELEMENT_CAST(element));
  if (bus == nullptr) {
    GST_WARNING_OBJECT(element, "%s", error.message.c_str());
    const std::lock_guard lock(mutex_);
    held_back_.push_back(error.message);
    return;
  }
  gst_object_unref(bus);
  post_warning(element, error.message);
}

void Refusals::tell(gpointer element) {
  std::vector<std::string> texts;
  {
    const std::lock_guard lock(mutex_);
    texts.swap(held_back_);
  }
  for (const std::string& text : texts)
    post_warning(element, text);
}

// ---- streams ----

void follow_controllers(GstBaseTransform& transform, GstBuffer& buffer) {
  const GstSegment& segment = transform.segment;
  if (segment.format != GST_FORMAT_TIME)
    return;
  const GstClockTime time =
      gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, GST_BUFFER_PTS(&buffer));
  if (GST_CLOCK_TIME_IS_VALID(time))
    gst_object_sync_values(GST_OBJECT_CAST(&transform), time);
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

FrameSize size_of(const GstVideoInfo& info) {
  return {static_cast<uint32_t>(GST_VIDEO_INFO_WIDTH(&info)),
          static_cast<uint32_t>(GST_VIDEO_INFO_HEIGHT(&info))};
}

bool Rows::are_packed() const {
  return stride == static_cast<ptrdiff_t>(row_bytes()) &&
         reinterpret_cast<uintptr_t>(first) % alignof(uint16_t) == 0;
}

std::span<uint16_t> Rows::pixels() const {
  return {reinterpret_cast<uint16_t*>(first), size.pixel_count()};
}

Rows rows_of(const GstVideoFrame& frame) {
  return {static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)),
          GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0), size_of(frame.info)};
}

ImageView pixels_of(const GstVideoFrame& frame, std::vector<uint16_t>& copy) {
  const Rows rows = rows_of(frame);
  if (rows.are_packed())
    return {rows.size, rows.pixels()};
  copy.resize(rows.size.pixel_count());
  for (size_t y = 0; y < rows.size.height; ++y)
    std::memcpy(&copy[y * rows.size.width], rows.row(y), rows.row_bytes());
  return {rows.size, copy};
}

} // namespace depth_elements
