#include "element_support.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <fmt/format.h>

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

bool Refusals::is_news(gpointer element, const Names& names) {
  const std::lock_guard lock(mutex_);
  bool is_news = names.empty();
  for (const char* name : names) {
    GParamSpec* const property = g_object_class_find_property(G_OBJECT_GET_CLASS(element), name);
    const bool may_repeat = property != nullptr && (property->flags & GST_PARAM_CONTROLLABLE) != 0;
    is_news = refused_.insert(name).second || !may_repeat || is_news;
  }
  return is_news;
}

void Refusals::add(gpointer element, const Refusal& refusal) {
  const std::string& text = refusal.error.message;
  if (!is_news(element, refusal.names)) {
    GST_INFO_OBJECT(element, "%s", text.c_str());
    return;
  }
  // A bin that is in no pipeline has a bus that leads nowhere.
  GstBus* const bus = gst_element_get_bus(GST_ELEMENT_CAST(element));
  if (bus == nullptr || GST_STATE(element) == GST_STATE_NULL) {
    GST_WARNING_OBJECT(element, "%s", text.c_str());
    const std::lock_guard lock(mutex_);
    held_back_.push_back(text);
  } else {
    post_warning(element, text);
  }
  if (bus != nullptr)
    gst_object_unref(bus);
}

void Refusals::accept(const Names& names) {
  const std::lock_guard lock(mutex_);
  for (const char* name : names)
    refused_.erase(name);
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

namespace {

/// The bytes from the first pixel's to the last pixel's end.
size_t frame_bytes(const GstVideoInfo& info, size_t stride) {
  const auto height = static_cast<size_t>(GST_VIDEO_INFO_HEIGHT(&info));
  const auto row = static_cast<size_t>(GST_VIDEO_INFO_WIDTH(&info)) *
                   static_cast<size_t>(GST_VIDEO_INFO_COMP_PSTRIDE(&info, 0));
  return stride < row ? SIZE_MAX : (height - 1) * stride + row;
}

/// Makes one piece of memory of several: frames are mapped from the piece in which they begin.
void join_pieces(GstBuffer*& buffer) {
  if (gst_buffer_n_memory(buffer) < 2 || gst_buffer_get_video_meta(buffer) == nullptr)
    return;
  buffer = gst_buffer_make_writable(buffer);
  gst_buffer_replace_all_memory(buffer, gst_buffer_get_all_memory(buffer));
}

Failure check_buffer(GstBuffer& buffer, const GstVideoInfo& info) {
  const auto width = GST_VIDEO_INFO_WIDTH(&info);
  const auto height = GST_VIDEO_INFO_HEIGHT(&info);
  const size_t size = gst_buffer_get_size(&buffer);
  const GstVideoMeta* const meta = gst_buffer_get_video_meta(&buffer);
  if (meta == nullptr) {
    if (size >= GST_VIDEO_INFO_SIZE(&info))
      return std::nullopt;
    return Error{fmt::format("a buffer of {} bytes holds no frame of {}x{}, which has {}", size,
                             width, height, GST_VIDEO_INFO_SIZE(&info))};
  }
  if (meta->format != GST_VIDEO_INFO_FORMAT(&info) || meta->width != static_cast<guint>(width) ||
      meta->height != static_cast<guint>(height))
    return Error{fmt::format("a buffer with a frame of {}x{} came; its caps say {}x{}", meta->width,
                             meta->height, width, height)};
  const size_t needed = frame_bytes(info, static_cast<size_t>(std::max(meta->stride[0], 0)));
  if (meta->offset[0] <= size && needed <= size - meta->offset[0])
    return std::nullopt;
  return Error{fmt::format("a buffer of {} bytes holds no frame of {}x{} with {} bytes a row from "
                           "byte {} on",
                           size, width, height, meta->stride[0], meta->offset[0])};
}

} // namespace

bool holds_frame(GstBaseTransform& transform, const GstVideoInfo& info) {
  if (transform.queued_buf == nullptr)
    return true;
  join_pieces(transform.queued_buf);
  const auto failure = check_buffer(*transform.queued_buf, info);
  if (failure)
    post_error(&transform, *failure);
  return !failure;
}

bool has_default_layout(GstBuffer& buffer, const GstVideoInfo& info) {
  const GstVideoMeta* const meta = gst_buffer_get_video_meta(&buffer);
  return meta == nullptr ||
         (meta->offset[0] == 0 && meta->stride[0] == GST_VIDEO_INFO_PLANE_STRIDE(&info, 0) &&
          gst_buffer_get_size(&buffer) == GST_VIDEO_INFO_SIZE(&info));
}

GstBuffer* copy_to_default_layout(GstBuffer& buffer, const GstVideoInfo& info) {
  GstBuffer* copy = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
  if (copy == nullptr)
    return nullptr;
  gst_buffer_copy_into(copy, &buffer, GST_BUFFER_COPY_METADATA, 0, static_cast<gsize>(-1));
  while (GstVideoMeta* const meta = gst_buffer_get_video_meta(copy))
    gst_buffer_remove_meta(copy, &meta->meta);
  GstVideoFrame from;
  GstVideoFrame to;
  bool is_copied = false;
  if (gst_video_frame_map(&from, &info, &buffer, GST_MAP_READ) != FALSE) {
    if (gst_video_frame_map(&to, &info, copy, GST_MAP_WRITE) != FALSE) {
      is_copied = gst_video_frame_copy(&to, &from) != FALSE;
      gst_video_frame_unmap(&to);
    }
    gst_video_frame_unmap(&from);
  }
  if (!is_copied)
    gst_clear_buffer(&copy);
  return copy;
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
