// depthcolorize: depth as a picture in the colours of gxfilter's previews.
#include "elements.h"

#include <array>
#include <mutex>
#include <numeric>

#include <gst/video/gstvideofilter.h>

#include "camera_properties.h"
#include "depth_filter.h"
#include "gxfilter/preview.h"
#include "parameter_properties.h"

namespace depth_elements {

using namespace gxfilter;
using namespace recordings;

namespace {

#define COLOR_FORMATS "{ RGB, BGR, RGBA, BGRA, ARGB, ABGR, RGBx, BGRx, xRGB, xBGR }"

enum : guint { property_near = 1, property_far };

/// The bytes of one pixel in the output's format.
using ColorBytes = std::array<uint8_t, 4>;

/// What one colour is in a format.
ColorBytes bytes_of(Color color, const GstVideoFormatInfo& format) {
  ColorBytes bytes;
  bytes.fill(255); // opaque, and what is not looked at
  for (guint i = 0; i < color.size(); ++i)
    bytes[static_cast<size_t>(GST_VIDEO_FORMAT_INFO_POFFSET(&format, i))] = color[i];
  return bytes;
}

class Colorizer {
 public:
  Failure set(guint id, const GValue& value) {
    const std::lock_guard lock(mutex_);
    is_settled_ = false;
    if (id == property_near || id == property_far) {
      (id == property_near ? near_ : far_) = g_value_get_double(&value);
      return std::nullopt;
    }
    return camera_.set(id, value);
  }
  void get(guint id, GValue& value) const {
    const std::lock_guard lock(mutex_);
    if (id == property_near || id == property_far)
      g_value_set_double(&value, id == property_near ? near_ : far_);
    else
      camera_.get(id, value);
  }
  void set_stream_facts(CameraFacts facts) {
    const std::lock_guard lock(mutex_);
    is_settled_ = is_settled_ && facts == stream_facts_;
    stream_facts_ = std::move(facts);
  }
  /// The next frame with data chooses the range anew.
  void begin() {
    const std::lock_guard lock(mutex_);
    is_settled_ = false;
    chosen_.reset();
  }

  Failure paint(const GstVideoFrame& in, GstVideoFrame& out) {
    const std::lock_guard lock(mutex_);
    if (!is_settled_)
      if (auto failure = settle(in, *out.info.finfo))
        return failure;
    const auto pixel_bytes = static_cast<size_t>(GST_VIDEO_FRAME_COMP_PSTRIDE(&out, 0));
    const auto width = static_cast<size_t>(GST_VIDEO_FRAME_WIDTH(&in));
    const auto height = GST_VIDEO_FRAME_HEIGHT(&in);
    for (gint y = 0; y < height; ++y) {
      const auto* const from = row_of<const uint16_t>(in, y);
      auto* to = row_of<uint8_t>(out, y);
      if (pixel_bytes == sizeof(ColorBytes))
        for (size_t x = 0; x < width; ++x, to += sizeof(ColorBytes))
          std::copy_n(colors_[from[x]].data(), sizeof(ColorBytes), to);
      else
        for (size_t x = 0; x < width; ++x, to += 3)
          std::copy_n(colors_[from[x]].data(), 3, to);
    }
    return std::nullopt;
  }

 private:
  template <class Pixel>
  static Pixel* row_of(const GstVideoFrame& frame, gint y) {
    return reinterpret_cast<Pixel*>(static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)) +
                                    ptrdiff_t{y} * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0));
  }

  /// Makes the colours of all pixel values; they may change with the next frame as long as none had
  /// data.
  Failure settle(const GstVideoFrame& in, const GstVideoFormatInfo& format) {
    FrameView view{image_of(in), GX_PIXEL_DEPTH, 1};
    KnownFacts known;
    static_cast<void>(known.add("the stream", stream_facts_)); // was checked
    camera_.add_to(known);
    const auto camera = make_camera(known.facts(), view.image.size);
    if (!camera)
      return camera.error();
    view.pixel_type = camera->pixel_type;
    view.value_scale = camera->depth_unit;
    const bool is_told = near_ > 0 && far_ > 0;
    if (!is_told && !chosen_)
      chosen_ = typical_range(view);
    ValueRange range = chosen_.value_or(ValueRange{});
    range.low = near_ > 0 ? near_ : range.low;
    range.high = std::max(far_ > 0 ? far_ : range.high, range.low + 1e-3);
    is_settled_ = is_told || chosen_.has_value();
    view.image = every_value();
    const PaletteImage picture = colorized(view, range);
    for (size_t value = 0; value < colors_.size(); ++value)
      colors_[value] = bytes_of(picture.palette[picture.indices[value]], format);
    return std::nullopt;
  }

  static Image image_of(const GstVideoFrame& frame) {
    Image image{{static_cast<uint32_t>(GST_VIDEO_FRAME_WIDTH(&frame)),
                 static_cast<uint32_t>(GST_VIDEO_FRAME_HEIGHT(&frame))},
                {}};
    for (gint y = 0; y < GST_VIDEO_FRAME_HEIGHT(&frame); ++y) {
      const auto* const row = row_of<const uint16_t>(frame, y);
      image.pixels.insert(image.pixels.end(), row, row + image.size.width);
    }
    return image;
  }

  static Image every_value() {
    Image image{{256, 256}, std::vector<uint16_t>(size_t{256} * 256)};
    std::iota(image.pixels.begin(), image.pixels.end(), uint16_t{0});
    return image;
  }

  mutable std::mutex mutex_;
  double near_ = 0;
  double far_ = 0;
  CameraProperties camera_;
  CameraFacts stream_facts_ = CameraFacts::object();
  std::optional<ValueRange> chosen_; ///< by the first frame with data
  bool is_settled_ = false;
  std::vector<ColorBytes> colors_ = std::vector<ColorBytes>(size_t{256} * 256);
};

struct DepthColorize {
  GstVideoFilter parent;
  Colorizer* colorizer;
};

GObjectClass* parent_class = nullptr;

Colorizer& colorizer_of(gpointer object) {
  return *static_cast<DepthColorize*>(object)->colorizer;
}

void warn(gpointer object, const Error& error) {
  GST_ELEMENT_WARNING(object, LIBRARY, SETTINGS, ("%s", error.message.c_str()), (nullptr));
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* /*property*/) {
  if (const auto failure = colorizer_of(object).set(id, *value))
    warn(object, *failure);
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* /*property*/) {
  colorizer_of(object).get(id, *value);
}

void finalize(GObject* object) {
  delete static_cast<DepthColorize*>(static_cast<gpointer>(object))->colorizer;
  parent_class->finalize(object);
}

/// The same sizes and rates, in the formats of the other side.
GstCaps* transform_caps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps,
                        GstCaps* filter) {
  GstCaps* const others = gst_caps_copy(caps);
  GstPad* const other_pad = direction == GST_PAD_SINK ? GST_BASE_TRANSFORM_SRC_PAD(transform)
                                                      : GST_BASE_TRANSFORM_SINK_PAD(transform);
  for (guint i = 0; i < gst_caps_get_size(others); ++i)
    gst_structure_remove_fields(gst_caps_get_structure(others, i), "format", "colorimetry",
                                "chroma-site", nullptr);
  GstCaps* const formats = gst_pad_get_pad_template_caps(other_pad);
  GstCaps* result = gst_caps_intersect_full(others, formats, GST_CAPS_INTERSECT_FIRST);
  gst_caps_unref(others);
  gst_caps_unref(formats);
  if (filter != nullptr) {
    GstCaps* const wanted = gst_caps_intersect_full(filter, result, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(result);
    result = wanted;
  }
  return result;
}

gboolean set_info(GstVideoFilter* filter, GstCaps* /*in_caps*/, GstVideoInfo* /*in*/,
                  GstCaps* /*out_caps*/, GstVideoInfo* /*out*/) {
  colorizer_of(filter).begin();
  return TRUE;
}

gboolean see_event(GstBaseTransform* transform, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_TAG) {
    GstTagList* tags = nullptr;
    gst_event_parse_tag(event, &tags);
    auto facts = facts_of(*tags);
    if (!facts)
      warn(transform, facts.error());
    else if (*facts)
      colorizer_of(transform).set_stream_facts(std::move(**facts));
  }
  return GST_BASE_TRANSFORM_CLASS(parent_class)->sink_event(transform, event);
}

gboolean transform_meta(GstBaseTransform* transform, GstBuffer* out, GstMeta* meta, GstBuffer* in) {
  return travels_along(*meta, false) ||
         GST_BASE_TRANSFORM_CLASS(parent_class)->transform_meta(transform, out, meta, in) != FALSE;
}

GstFlowReturn transform_frame(GstVideoFilter* filter, GstVideoFrame* in, GstVideoFrame* out) {
  const auto failure = colorizer_of(filter).paint(*in, *out);
  if (!failure)
    return GST_FLOW_OK;
  GST_ELEMENT_ERROR(filter, LIBRARY, FAILED, ("%s", failure->message.c_str()), (nullptr));
  return GST_FLOW_ERROR;
}

void add_pad(GstElementClass& element, const char* name, GstPadDirection direction,
             const char* caps_text) {
  GstCaps* const caps = gst_caps_from_string(caps_text);
  gst_element_class_add_pad_template(&element,
                                     gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);
}

void init_class(gpointer element_class, gpointer /*data*/) {
  parent_class = G_OBJECT_CLASS(g_type_class_peek_parent(element_class));
  auto& object = *G_OBJECT_CLASS(element_class);
  object.set_property = set_property;
  object.get_property = get_property;
  object.finalize = finalize;
  constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING);
  const auto install = [&](guint id, const char* name, const char* blurb) {
    g_object_class_install_property(&object, id,
                                    g_param_spec_double(name, name, blurb, 0, 1e9, 0, flags));
  };
  install(property_near, "near",
          "Millimetres (or codes) at the lower end of the colours (0: as in the first frame)");
  install(property_far, "far",
          "Millimetres (or codes) at the upper end of the colours (0: as in the first frame)");
  install_camera_properties(object);

  auto& element = *GST_ELEMENT_CLASS(element_class);
  add_pad(element, "sink", GST_PAD_SINK, depth_caps);
  add_pad(element, "src", GST_PAD_SRC, GST_VIDEO_CAPS_MAKE(COLOR_FORMATS));
  gst_element_class_set_static_metadata(
      &element, "Depth in colours", "Filter/Converter/Video",
      "Shows depth images in colours: near is warm, no data black", "FilterProcessor");
  auto& transform = *GST_BASE_TRANSFORM_CLASS(element_class);
  transform.transform_caps = transform_caps;
  transform.sink_event = see_event;
  transform.transform_meta = transform_meta;
  auto& video = *GST_VIDEO_FILTER_CLASS(element_class);
  video.set_info = set_info;
  video.transform_frame = transform_frame;
}

void init_instance(GTypeInstance* instance, gpointer /*element_class*/) {
  reinterpret_cast<DepthColorize*>(instance)->colorizer = new Colorizer;
}

} // namespace

bool register_colorize(GstPlugin& plugin) {
  GTypeInfo info{};
  info.class_size = sizeof(GstVideoFilterClass);
  info.class_init = init_class;
  info.instance_size = sizeof(DepthColorize);
  info.instance_init = init_instance;
  const GType type =
      g_type_register_static(GST_TYPE_VIDEO_FILTER, "GstDepthColorize", &info, GTypeFlags{});
  return gst_element_register(&plugin, "depthcolorize", GST_RANK_NONE, type) != FALSE;
}

} // namespace depth_elements
