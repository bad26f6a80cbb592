// depthcolorize: depth as a picture in the colours of gxfilter's previews.
#include "elements.h"

#include <array>
#include <numeric>

#include <fmt/format.h>

#include "camera_properties.h"
#include "element_support.h"
#include "gxfilter/preview.h"
#include "parameter_properties.h"
#include "staged.h"

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

/// What a user asks of the element.
struct ColorWishes {
  double near = 0; ///< 0: as in the first frame; `far` the same
  double far = 0;
  CameraProperties camera;
};

constexpr double farthest = 1e9;

Failure check_wishes(const ColorWishes& wishes) {
  if (wishes.near > 0 && wishes.far > 0 && wishes.near >= wishes.far)
    return Error{fmt::format("near={} is not nearer than far={}", wishes.near, wishes.far),
                 ErrorKind::request};
  return std::nullopt;
}

/// All of an element but what GObject sees. Properties are set on any thread, the rest happens on
/// the streaming thread.
class Colorizer {
 public:
  explicit Colorizer(GstElement& element) : element_(element) {}

  // ---- properties, on any thread ----

  void set(guint id, const GValue& value, const char* name) {
    if (id != property_near && id != property_far) {
      const auto change = CameraProperties::change_of(id, value);
      if (!change)
        return refuse({change.error(), {name}});
      return wishes_.stage(
          {id, name, [change = *change](ColorWishes& wishes) { change(wishes.camera); }});
    }
    const bool is_near = id == property_near;
    const double number = g_value_get_double(&value);
    if (!(number >= 0 && number <= farthest))
      return refuse(
          {{fmt::format("{}={}: out of range; allowed is 0 to {:.0f}", name, number, farthest),
            ErrorKind::request},
           {name}});
    wishes_.stage({id, name, [is_near, number](ColorWishes& wishes) {
                     (is_near ? wishes.near : wishes.far) = number;
                   }});
  }
  void get(guint id, GValue& value) const {
    wishes_.look([&](const ColorWishes& wishes) {
      if (id == property_near || id == property_far)
        g_value_set_double(&value, id == property_near ? wishes.near : wishes.far);
      else
        wishes.camera.get(id, value);
    });
  }
  void settle() {
    const auto outcome = wishes_.settle(
        check_wishes, [this](const char* name) { g_object_notify(G_OBJECT(&element_), name); });
    refusals_.accept(names_of(outcome.kept));
    for (const Refusal& refusal : outcome.refusals)
      refuse(refusal);
  }
  void refuse(const Refusal& refusal) { refusals_.add(&element_, refusal); }
  void tell_refusals() { refusals_.tell(&element_); }

  // ---- the stream ----

  void set_stream_facts(CameraFacts facts) {
    if (facts == stream_facts_)
      return;
    are_colors_made_ = false;
    is_misfit_told_ = false;
    stream_facts_ = std::move(facts);
  }
  /// The next frame with data chooses the range anew.
  void begin() {
    are_colors_made_ = false;
    is_misfit_told_ = false;
    has_painted_ = false;
    chosen_.reset();
  }
  void begin_stream() {
    begin();
    stream_facts_ = CameraFacts::object();
  }

  Failure paint(const GstVideoFrame& in, const GstVideoFrame& out) {
    const ImageView image = pixels_of(in, packed_);
    if (revision_ != wishes_.revision())
      take_wishes(image.size);
    if (!are_colors_made_)
      if (auto failure = make_colors(image, *out.info.finfo))
        return failure;
    has_painted_ = true;
    const auto pixel_bytes = static_cast<size_t>(GST_VIDEO_FRAME_COMP_PSTRIDE(&out, 0));
    const Rows rows = rows_of(out);
    for (size_t y = 0; y < image.size.height; ++y) {
      const auto from = image.pixels.subspan(y * image.size.width, image.size.width);
      uint8_t* to = rows.row(y);
      if (pixel_bytes == sizeof(ColorBytes))
        for (size_t x = 0; x < from.size(); ++x, to += sizeof(ColorBytes))
          std::copy_n(colors_[from[x]].data(), sizeof(ColorBytes), to);
      else
        for (size_t x = 0; x < from.size(); ++x, to += 3)
          std::copy_n(colors_[from[x]].data(), 3, to);
    }
    return std::nullopt;
  }

 private:
  /// As the elements with filters: a camera that can't be is refused while the stream plays.
  void take_wishes(FrameSize size) {
    const auto taken = wishes_.take();
    auto decision =
        decide(taken.in_force, taken.changes, [&](const ColorWishes& wishes) -> Failure {
          const auto camera = has_painted_ ? camera_of(wishes, size) : Result(Camera());
          return camera ? std::nullopt : Failure(camera.error());
        });
    followed_ = std::move(decision.settings);
    wishes_.put_in_force(followed_);
    revision_ = taken.revision;
    are_colors_made_ = false;
    for (const Refusal& refusal : decision.refusals)
      refuse(refusal);
    for (const char* name : names_without(taken.changes, decision.kept))
      g_object_notify(G_OBJECT(&element_), name);
  }

  /// The camera of frames of this size.
  Result<Camera> camera_of(const ColorWishes& wishes, FrameSize size) const {
    KnownFacts known;
    if (!misfit_of(stream_facts_, size))
      static_cast<void>(known.add(tag_origin(), stream_facts_)); // was checked
    wishes.camera.add_to(known);
    if (auto failure = known.check_size_of(size))
      return *failure;
    return make_camera(known.facts(), size);
  }

  /// The colours of all pixel values; they may change with the next frame as long as none had data.
  Failure make_colors(const ImageView& image, const GstVideoFormatInfo& format) {
    const auto misfit = misfit_of(stream_facts_, image.size);
    if (misfit && !std::exchange(is_misfit_told_, true))
      refuse({*misfit, {}});
    const auto camera = camera_of(followed_, image.size);
    if (!camera)
      return camera.error();
    FrameView view{{}, camera->pixel_type, camera->depth_unit};
    const bool is_told = followed_.near > 0 && followed_.far > 0;
    if (!is_told) {
      // A range of other pixels means nothing for these.
      if (chosen_ && (chosen_->pixel_type != view.pixel_type || chosen_->unit != view.value_scale))
        chosen_.reset();
      if (!chosen_) {
        view.image = {image.size, {image.pixels.begin(), image.pixels.end()}};
        if (const auto range = typical_range(view))
          chosen_ = {*range, view.pixel_type, view.value_scale};
      }
    }
    ValueRange range = chosen_ ? chosen_->range : ValueRange{};
    range.low = followed_.near > 0 ? followed_.near : range.low;
    range.high = std::max(followed_.far > 0 ? followed_.far : range.high, range.low + 1e-3);
    are_colors_made_ = is_told || chosen_.has_value();
    view.image = every_value();
    const PaletteImage picture = colorized(view, range);
    for (size_t value = 0; value < colors_.size(); ++value)
      colors_[value] = bytes_of(picture.palette[picture.indices[value]], format);
    return std::nullopt;
  }

  static Image every_value() {
    Image image{{256, 256}, std::vector<uint16_t>(size_t{256} * 256)};
    std::iota(image.pixels.begin(), image.pixels.end(), uint16_t{0});
    return image;
  }

  /// What a frame chose, and what its pixels were.
  struct ChosenRange {
    ValueRange range;
    gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
    float unit = 1;
  };

  GstElement& element_;
  Staged<ColorWishes> wishes_{ColorWishes{}};
  Refusals refusals_;

  // Of the streaming thread.
  ColorWishes followed_;
  uint64_t revision_ = 0; ///< of the wishes that are followed
  CameraFacts stream_facts_ = CameraFacts::object();
  std::optional<ChosenRange> chosen_; ///< by the first frame with data
  bool is_misfit_told_ = false;       ///< that the stream's facts are left aside
  bool has_painted_ = false;          ///< frames of these caps
  bool are_colors_made_ = false;
  std::vector<uint16_t> packed_; ///< an input whose rows have gaps
  std::vector<ColorBytes> colors_ = std::vector<ColorBytes>(size_t{256} * 256);
};

struct DepthColorize {
  GstVideoFilter parent;
  Colorizer* colorizer;
};

GstVideoFilterClass* parent_class = nullptr;

Colorizer& colorizer_of(gpointer object) {
  return *static_cast<DepthColorize*>(object)->colorizer;
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* property) {
  guarded(object, [&] { colorizer_of(object).set(id, *value, property->name); });
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* /*property*/) {
  guarded(object, [&] { colorizer_of(object).get(id, *value); });
}

/// Comes once for all properties that are set in one call.
void settle_properties(GObject* object, guint count, GParamSpec** properties) {
  guarded(object, [&] { colorizer_of(object).settle(); });
  G_OBJECT_CLASS(parent_class)->dispatch_properties_changed(object, count, properties);
}

void finalize(GObject* object) {
  delete static_cast<DepthColorize*>(static_cast<gpointer>(object))->colorizer;
  G_OBJECT_CLASS(parent_class)->finalize(object);
}

GstStateChangeReturn change_state(GstElement* element, GstStateChange transition) {
  if (transition == GST_STATE_CHANGE_NULL_TO_READY)
    guarded(element, [&] { colorizer_of(element).tell_refusals(); });
  return GST_ELEMENT_CLASS(parent_class)->change_state(element, transition);
}

gboolean stop(GstBaseTransform* transform) {
  guarded(transform, [&] { colorizer_of(transform).begin_stream(); });
  return TRUE;
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
  guarded(filter, [&] { colorizer_of(filter).begin(); });
  return TRUE;
}

void look_at_event(Colorizer& colorizer, GstEvent& event) {
  if (GST_EVENT_TYPE(&event) == GST_EVENT_STREAM_START)
    return colorizer.begin_stream();
  if (GST_EVENT_TYPE(&event) != GST_EVENT_TAG)
    return;
  GstTagList* tags = nullptr;
  gst_event_parse_tag(&event, &tags);
  auto facts = facts_of(*tags);
  if (!facts)
    colorizer.refuse({facts.error(), {}});
  else if (*facts)
    colorizer.set_stream_facts(std::move(**facts));
}

gboolean see_event(GstBaseTransform* transform, GstEvent* event) {
  guarded(transform, [&] { look_at_event(colorizer_of(transform), *event); });
  return GST_BASE_TRANSFORM_CLASS(parent_class)->sink_event(transform, event);
}

void before_transform(GstBaseTransform* transform, GstBuffer* buffer) {
  follow_controllers(*transform, *buffer);
}

gboolean transform_meta(GstBaseTransform* transform, GstBuffer* out, GstMeta* meta, GstBuffer* in) {
  return travels_along(*meta, false) ||
         GST_BASE_TRANSFORM_CLASS(parent_class)->transform_meta(transform, out, meta, in) != FALSE;
}

GstFlowReturn generate_output(GstBaseTransform* transform, GstBuffer** out) {
  const GstVideoInfo& info = reinterpret_cast<GstVideoFilter*>(transform)->in_info;
  if (guarded(transform, false, [&] { return holds_frame(*transform, info); }))
    return GST_BASE_TRANSFORM_CLASS(parent_class)->generate_output(transform, out);
  gst_clear_buffer(&transform->queued_buf);
  return GST_FLOW_ERROR;
}

GstFlowReturn transform_frame(GstVideoFilter* filter, GstVideoFrame* in, GstVideoFrame* out) {
  return guarded(filter, GST_FLOW_ERROR, [&] {
    const auto failure = colorizer_of(filter).paint(*in, *out);
    if (failure)
      post_error(filter, *failure);
    return failure ? GST_FLOW_ERROR : GST_FLOW_OK;
  });
}

void init_class(gpointer element_class, gpointer /*data*/) {
  parent_class = static_cast<GstVideoFilterClass*>(g_type_class_peek_parent(element_class));
  auto& object = *G_OBJECT_CLASS(element_class);
  object.set_property = set_property;
  object.get_property = get_property;
  object.finalize = finalize;
  object.dispatch_properties_changed = settle_properties;
  constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_CONTROLLABLE |
                                                  GST_PARAM_MUTABLE_PLAYING);
  const auto install = [&](guint id, const char* name, const char* blurb) {
    g_object_class_install_property(&object, id,
                                    open_double(name, name, blurb, 0, farthest, 0, flags));
  };
  install(property_near, "near",
          "Millimetres (or codes) at the lower end of the colours (0: as in the first frame)");
  install(property_far, "far",
          "Millimetres (or codes) at the upper end of the colours (0: as in the first frame)");
  install_camera_properties(object);

  auto& element = *GST_ELEMENT_CLASS(element_class);
  element.change_state = change_state;
  add_pad(element, "sink", GST_PAD_SINK, depth_caps);
  add_pad(element, "src", GST_PAD_SRC, DEPTH_ELEMENTS_CAPS(COLOR_FORMATS));
  gst_element_class_set_static_metadata(
      &element, "Depth in colours", "Filter/Converter/Video",
      "Shows depth images in colours: near is warm, no data black", "FilterProcessor");
  auto& transform = *GST_BASE_TRANSFORM_CLASS(element_class);
  transform.stop = stop;
  transform.transform_caps = transform_caps;
  transform.before_transform = before_transform;
  transform.generate_output = generate_output;
  transform.sink_event = see_event;
  transform.transform_meta = transform_meta;
  auto& video = *GST_VIDEO_FILTER_CLASS(element_class);
  video.set_info = set_info;
  video.transform_frame = transform_frame;
}

void init_instance(GTypeInstance* instance, gpointer /*element_class*/) {
  or_abort([&] {
    reinterpret_cast<DepthColorize*>(instance)->colorizer =
        new Colorizer(*reinterpret_cast<GstElement*>(instance));
  });
  // As the filters' elements: what comes behind may be a file.
  gst_base_transform_set_qos_enabled(reinterpret_cast<GstBaseTransform*>(instance), FALSE);
}

} // namespace

bool register_colorize(GstPlugin& plugin) {
  return register_element(plugin, {GST_TYPE_VIDEO_FILTER, "GstDepthColorize", "depthcolorize",
                                   sizeof(DepthColorize), init_class, init_instance}) != 0;
}

} // namespace depth_elements
