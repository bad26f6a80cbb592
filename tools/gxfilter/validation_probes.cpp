#include "validation_probes.h"

#include <algorithm>

#include <fmt/format.h>

#include "gexton_host.h"
#include "synth.h"

namespace gxfilter::validation {
namespace {

std::string text_or_null(const char* text) {
  return text != nullptr ? text : "(null)";
}

} // namespace

// ---- errors ----

std::string describe_error(const std::string& message, const std::string& function,
                           const std::string& args, gx_exception_type type, gx_status status) {
  std::string text = fmt::format("the error \"{}\" in {}({}), type {}", message, function, args,
                                 static_cast<int>(type));
  if (status != GX_STATUS_ERROR) {
    text += fmt::format(", status {}", static_cast<int>(status));
  }
  return text;
}

std::string describe(const gx_error* error) {
  if (error == nullptr) {
    return no_error;
  }
  return describe_error(message_of(error), text_or_null(gx_error_get_function(error)),
                        text_or_null(gx_error_get_args(error)), gx_error_get_exception_type(error),
                        gx_error_get_status(error));
}

std::string message_of(const gx_error* error) {
  return error != nullptr ? text_or_null(gx_error_get_message(error)) : "";
}

gx_error* MarkedSlot::mark() {
  static char place = 0;
  return reinterpret_cast<gx_error*>(&place);
}

MarkedSlot::~MarkedSlot() {
  if (error_ != mark() && error_ != nullptr) {
    gx_delete_error(error_);
  }
}

std::string MarkedSlot::state() const {
  if (error_ == mark()) {
    return "untouched";
  }
  return error_ == nullptr ? "overwritten with null" : "overwritten with " + describe(error_);
}

// ---- live handles ----

LiveHandles::LiveHandles()
    : live_(gexton_get_live_handles()), excess_releases_(gexton_get_excess_releases()) {}

std::string LiveHandles::left_over() const {
  const gexton_live_handles now = gexton_get_live_handles();
  std::vector<std::string> found;
  const auto compare = [&found](uint64_t before, uint64_t after, const char* kind) {
    if (after != before) {
      const bool more = after > before;
      found.push_back(fmt::format("{} {} {} alive than before",
                                  more ? after - before : before - after, kind,
                                  more ? "more" : "fewer"));
    }
  };
  compare(live_.frames, now.frames, "frame(s)");
  compare(live_.stream_profiles, now.stream_profiles, "stream profile(s)");
  compare(live_.errors, now.errors, "error(s)");
  if (const uint64_t excess = gexton_get_excess_releases() - excess_releases_; excess != 0) {
    found.push_back(fmt::format("{} release(s) of a handle that was not held", excess));
  }
  return found.empty() ? nothing_left : fmt::format("{}", fmt::join(found, ", "));
}

// ---- frames ----

namespace {

template <class T>
T required(Result<T> result, const char* what) {
  if (!result) {
    throw Unable(fmt::format("the host can't make {}: {}", what, result.error().message));
  }
  return std::move(*result);
}

Camera camera_of(PixelKind kind, const SceneSettings& scene, FrameSize size) {
  CameraFacts facts = scene_facts(scene);
  facts["disparity_offset"] = 2;
  Camera camera = required(make_camera(facts, size), "a camera");
  camera.pixel_type = kind.type;
  return camera;
}

// The scene, repeated or cut to the size.
Image scene_image(const SceneSettings& settings, FrameSize size, uint32_t number) {
  const Image scene = render_scene(settings, number);
  Image image{size, {}};
  for (uint32_t y = 0; y < size.height; ++y) {
    const auto row = scene.pixels.begin() + y % scene.size.height * scene.size.width;
    for (uint32_t x = 0; x < size.width; ++x) {
      image.pixels.push_back(row[x % scene.size.width]);
    }
  }
  return image;
}

} // namespace

Input::Input(PixelKind kind, FrameSize size, uint32_t number, gx_frame_type type) {
  SceneSettings scene;
  scene.size = usual_size;
  scene.pixel_type = kind.type == GX_PIXEL_DISPARITY ? GX_PIXEL_DISPARITY : GX_PIXEL_DEPTH;
  const Camera camera = camera_of(kind, scene, size);
  const ProfileHandle profile = required(make_profile(size, camera), "a stream profile");
  const Image image = scene_image(scene, size, number);
  if (type == GX_FRAME_DEPTH) {
    frame_ = required(make_frame(image, number, *profile, camera), "a frame");
  } else {
    frame_.reset(gexton_create_video_frame(type, profile.get(), image.pixels.data(), nullptr));
  }
  second_reference_.reset(gexton_frame_add_reference(frame_.get(), nullptr));
}

void Input::shorten(uint32_t bytes) const {
  gx_frame_update_data(frame_.get(), gx_frame_get_data(frame_.get(), nullptr), bytes, nullptr);
}

FrameHandle make_set(const std::vector<gx_frame*>& members) {
  FrameHandle set(gexton_create_frameset(nullptr));
  if (!set) {
    throw Unable("the host can't make a frame set");
  }
  for (gx_frame* member : members) {
    gx_frameset_push_frame(set.get(), member, nullptr);
  }
  return set;
}

FrameHandle depth_member(const gx_frame& set) {
  return FrameHandle(gx_frameset_get_depth_frame(&set, nullptr));
}

namespace {

template <class T>
std::vector<uint8_t> bytes_of(const T& value) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
  return {bytes, bytes + sizeof value};
}

} // namespace

FrameState::FrameState(const gx_frame& frame) {
  const uint8_t* data = gx_frame_get_data(&frame, nullptr);
  const uint32_t size = gx_frame_get_data_size(&frame, nullptr);
  const bool has_offset = gx_frame_has_metadata(&frame, GX_METADATA_DISPARITY_OFFSET, nullptr);
  const ProfileHandle profile(gx_frame_get_stream_profile(&frame, nullptr));
  parts_ = {
      {"pixels",
       data != nullptr ? std::vector<uint8_t>(data, data + size) : std::vector<uint8_t>{}},
      {"type", bytes_of(gx_frame_get_type(&frame, nullptr))},
      {"format", bytes_of(gx_frame_get_format(&frame, nullptr))},
      {"index", bytes_of(gx_frame_get_index(&frame, nullptr))},
      {"pixel type", bytes_of(gx_video_frame_get_pixel_type(&frame, nullptr))},
      {"bit size", bytes_of(gx_video_frame_get_pixel_available_bit_size(&frame, nullptr))},
      {"value scale", bytes_of(gx_depth_frame_get_value_scale(&frame, nullptr))},
      {"disparity offset", has_offset ? bytes_of(gx_frame_get_metadata_value(
                                            &frame, GX_METADATA_DISPARITY_OFFSET, nullptr))
                                      : std::vector<uint8_t>{}},
      {"stream profile", bytes_of(profile.get())},
  };
  if (profile != nullptr) {
    const gx_camera_intrinsic intrinsic =
        gx_video_stream_profile_get_intrinsic(profile.get(), nullptr);
    const D2DParameters d2d =
        gx_disparity_based_stream_profile_get_disparity_param(profile.get(), nullptr);
    parts_.push_back(
        {"width", bytes_of(gx_video_stream_profile_get_width(profile.get(), nullptr))});
    parts_.push_back(
        {"height", bytes_of(gx_video_stream_profile_get_height(profile.get(), nullptr))});
    parts_.push_back({"intrinsics", bytes_of(intrinsic)});
    parts_.push_back({"disparity record", bytes_of(d2d)});
  }
}

std::string FrameState::changes_to(const FrameState& later) const {
  std::vector<std::string> changed;
  for (size_t i = 0; i < std::min(parts_.size(), later.parts_.size()); ++i) {
    if (parts_[i].bytes != later.parts_[i].bytes) {
      changed.emplace_back(parts_[i].name);
    }
  }
  return changed.empty() ? unchanged : fmt::format("changed {}", fmt::join(changed, ", "));
}

// ---- filters ----

Filter Subject::make_filter() const {
  auto result = Filter::create(plugin, filter);
  if (!result) {
    throw Unable(result.error().message);
  }
  return std::move(*result);
}

std::vector<std::string> default_values(const std::vector<Parameter>& schema) {
  std::vector<std::string> values;
  for (const Parameter& parameter : schema) {
    values.push_back(parameter.default_value);
  }
  return values;
}

namespace {

struct Override {
  const char* filter;
  const char* label;
  std::vector<std::pair<const char*, std::string>> values;
  bool beside_defaults; // or in place of them, where those fit no frame of the size
};

std::vector<Override> overrides(FrameSize size) {
  return {
      {"DepthResize",
       "the frame's own size",
       {{"dst_width", std::to_string(size.width)}, {"dst_height", std::to_string(size.height)}},
       false},
      {"OpenNIDisparityTransform",
       "a target size of 40x20",
       {{"dst_width", "40"}, {"dst_height", "20"}, {"x_cut", "2"}, {"x_set", "3"}},
       true},
      {"FalsePositiveFilter",
       "all detectors",
       {{"fpEdgeBleedFilterEnable", "1"},
        {"fpTextureSparsityFilterEnable", "1"},
        {"fpPatternAmbiguityFilterEnable", "1"}},
       true},
      {"HoleFillingFilter", "the nearest neighbour", {{"hole_filling_mode", "1"}}, true},
      {"SpatialFastFilter", "a window of 5", {{"radius", "5"}}, true},
  };
}

void set_value(const Filter& filter, std::vector<std::string>& values, const char* name,
               const std::string& value) {
  for (size_t i = 0; i < values.size(); ++i) {
    if (filter.schema()[i].name == name) {
      values[i] = value;
    }
  }
}

} // namespace

std::vector<Setting> settings_of(const Filter& filter, FrameSize size) {
  std::vector<Setting> settings{{"default parameters", default_values(filter.schema())}};
  for (const Override& override : overrides(size)) {
    if (filter.name() != override.filter) {
      continue;
    }
    Setting setting{override.label, settings.front().values};
    for (const auto& [name, value] : override.values) {
      set_value(filter, setting.values, name, value);
    }
    if (!override.beside_defaults) {
      settings.clear();
    }
    settings.push_back(std::move(setting));
  }
  return settings;
}

std::string update(Filter& filter, const std::vector<std::string>& values) {
  ErrorSlot slot;
  filter.update_config(values, slot);
  return describe(slot.get());
}

Filter make_configured(const Subject& subject, const Setting& setting) {
  Filter filter = subject.make_filter();
  if (const std::string came = update(filter, setting.values); came != no_error) {
    throw Unable(fmt::format("{} were refused with {}", setting.label, came));
  }
  return filter;
}

FrameHandle process(Filter& filter, const Input& input) {
  ErrorSlot slot;
  FrameHandle output = filter.process(input.frame(), slot);
  if (output == nullptr || output.get() == input.get()) {
    const std::string came = describe(output.release(), input.get(), slot.get());
    throw Unable(fmt::format("a usual frame gave {}", came));
  }
  return output;
}

std::string describe(const gx_frame* output, const gx_frame* input, const gx_error* error) {
  std::string text = "no frame";
  if (output != nullptr) {
    text = output == input ? "the input itself" : "a new frame";
  }
  return text + " and " + describe(error);
}

} // namespace gxfilter::validation
