// gexton_host.hpp - gexton_host.h and the plug-in's exports for hosts in C++17 and later: owners of
// handles, a slot for errors, filters by name, their schema as records, and what can be seen of a
// frame. All of it is inline; nothing but the two libraries is linked, and the plug-in's not even
// where a host loads it at run time and hands its functions over.
//
// Objects are for one thread at a time; functions are as thread-safe as what they call. Errors of
// the host are left in the ErrorSlot where a function takes one; nothing throws but what runs out
// of memory.
#ifndef GEXTON_HOST_HPP
#define GEXTON_HOST_HPP

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "filter_processor.h"
#include "gexton_host.h"

namespace gexton {

// ---- owners ----

/// Gives back what an owner holds.
struct Release {
  void operator()(gx_frame* frame) const { gx_delete_frame(frame, nullptr); }
  void operator()(gx_stream_profile* profile) const { gx_delete_stream_profile(profile, nullptr); }
  void operator()(gx_error* error) const { gx_delete_error(error); }
  void operator()(gx_priv_filter_context* context) const { context->destroy(context); }
};

/// One reference each, null for none.
using Frame = std::unique_ptr<gx_frame, Release>;
using Profile = std::unique_ptr<gx_stream_profile, Release>;
/// The record of one filter instance. A plug-in that is loaded at run time has to outlive it.
using FilterContext = std::unique_ptr<gx_priv_filter_context, Release>;

/// One more owner of the same frame.
inline Frame share(gx_frame& frame) {
  return Frame(gexton_frame_add_reference(&frame, nullptr));
}

/// The frame itself or, of a frame set, its depth frame; null without one.
inline Frame depth_frame_of(gx_frame& frame) {
  return gx_frame_get_type(&frame, nullptr) == GX_FRAME_SET
             ? Frame(gx_frameset_get_depth_frame(&frame, nullptr))
             : share(frame);
}

/// A frame set with a reference to each of the members, in their order; those that the host refuses
/// are left out. Null where it refuses the set itself.
inline Frame make_frame_set(const std::vector<gx_frame*>& members) {
  Frame set(gexton_create_frameset(nullptr));
  for (gx_frame* member : members)
    gx_frameset_push_frame(set.get(), member, nullptr);
  return set;
}

// ---- errors ----

/// Takes the error of a call and owns it: `function(..., slot.receive()); if (slot) ...`
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;
  ~ErrorSlot() { clear(); }

  /// For the next call; an error that is still held is given back first.
  gx_error** receive() {
    clear();
    return &error_;
  }
  explicit operator bool() const { return error_ != nullptr; }
  const gx_error* get() const { return error_; }

  /// "message (in function, args)", or "" without an error.
  std::string text() const {
    if (error_ == nullptr)
      return {};
    return std::string(gx_error_get_message(error_)) + " (in " + gx_error_get_function(error_) +
           ", " + gx_error_get_args(error_) + ")";
  }

 private:
  void clear() {
    if (gx_error* held = std::exchange(error_, nullptr))
      gx_delete_error(held);
  }

  gx_error* error_ = nullptr;
};

// ---- frames of pixels that are there already ----

/// A frame around pixels that `owner` keeps, which is destroyed with the frame or by the thread
/// that replaces its pixels; null with the reason in `error`. See gexton_wrap_video_frame.
template <class Owner>
Frame wrap_pixels(gx_frame_type type, gx_stream_profile& profile, const uint16_t* pixels,
                  Owner owner, ErrorSlot& error) {
  auto kept = std::make_unique<Owner>(std::move(owner));
  Frame frame(gexton_wrap_video_frame(
      type, &profile, pixels, [](void* released) { delete static_cast<Owner*>(released); },
      kept.get(), error.receive()));
  if (frame != nullptr)
    static_cast<void>(kept.release()); // the frame's from here on
  return frame;
}

// ---- a filter's parameters ----

/// The text without the blanks around it.
inline std::string_view trim(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n\v\f";
  const size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos)
    return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// One line of a schema, field by field, as the plug-in writes them.
struct Parameter {
  std::string name;
  std::string type; ///< "integer", "float", "bool" or "uint32_t"
  std::string min;
  std::string max;
  std::string step;
  std::string default_value;
  std::string description; ///< may hold commas
  std::string line;        ///< the whole line, trimmed
};

/// One parameter for each line that is not blank, in the order of update_config's values. Blanks
/// around fields don't count; fields that a short line lacks are empty.
inline std::vector<Parameter> parse_schema(std::string_view text) {
  const auto take_until = [](std::string_view& rest, char separator) {
    const size_t length = rest.find(separator);
    const std::string_view taken = rest.substr(0, length);
    rest.remove_prefix(length == std::string_view::npos ? rest.size() : length + 1);
    return trim(taken);
  };
  std::vector<Parameter> schema;
  while (!text.empty()) {
    std::string_view rest = take_until(text, '\n');
    if (rest.empty())
      continue;
    Parameter parameter;
    parameter.line = rest;
    for (std::string Parameter::*field :
         {&Parameter::name, &Parameter::type, &Parameter::min, &Parameter::max, &Parameter::step,
          &Parameter::default_value})
      parameter.*field = take_until(rest, ',');
    parameter.description = trim(rest);
    schema.push_back(std::move(parameter));
  }
  return schema;
}

/// The parameter of that name, or null.
inline const Parameter* find_parameter(const std::vector<Parameter>& schema,
                                       std::string_view name) {
  for (const Parameter& parameter : schema)
    if (parameter.name == name)
      return &parameter;
  return nullptr;
}

/// A value that has a name.
struct NamedValue {
  std::string name;  ///< lower case
  std::string value; ///< as update_config takes it
};

namespace detail {

/// "MODE_NEAR" as "mode_near"; empty for anything but letters, digits and underscores after a
/// letter.
inline std::string lower_case_name(std::string_view text) {
  std::string name;
  for (const char c : text) {
    const bool capital = c >= 'A' && c <= 'Z';
    const bool letter = capital || (c >= 'a' && c <= 'z');
    if (!letter && (name.empty() || !(c == '_' || (c >= '0' && c <= '9'))))
      return {};
    name += capital ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return name;
}

/// How many characters all the names begin with alike, up to and with an underscore.
inline size_t common_beginning(const std::vector<NamedValue>& values) {
  const std::string& first = values.front().name;
  size_t length = first.rfind('_') + 1;
  const auto shared = [&](const NamedValue& value) {
    return value.name.size() > length && value.name.compare(0, length, first, 0, length) == 0;
  };
  while (length > 1 && !std::all_of(values.begin(), values.end(), shared))
    length = first.rfind('_', length - 2) + 1;
  return length;
}

} // namespace detail

/// The values whose names are all that the description consists of: "MODE_OFF/MODE_NEAR/MODE_FAR"
/// for a whole number from 0 to 2 names 0 `off`, 1 `near` and 2 `far`. What the names begin with
/// alike, up to an underscore, is left out. Empty where the description is anything else than one
/// name for each value.
inline std::vector<NamedValue> named_values(const Parameter& parameter) {
  const auto to_whole = [](const std::string& text) {
    int32_t number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() ? number : -1;
  };
  const int32_t min = to_whole(parameter.min);
  const int32_t max = to_whole(parameter.max);
  std::vector<NamedValue> values;
  std::string_view rest = parameter.description;
  bool more = min >= 0 && max > min && parameter.step == "1" && !rest.empty();
  for (int32_t value = min; more; ++value) {
    const size_t slash = rest.find('/');
    values.push_back({detail::lower_case_name(trim(rest.substr(0, slash))), std::to_string(value)});
    more = slash != std::string_view::npos;
    if (values.back().name.empty() || more == (value == max))
      return {};
    rest.remove_prefix(more ? slash + 1 : 0);
  }
  if (values.empty())
    return {};
  const size_t common = detail::common_beginning(values);
  for (NamedValue& value : values)
    value.name.erase(0, common);
  for (const NamedValue& value : values)
    if (std::count_if(values.begin(), values.end(),
                      [&](const NamedValue& other) { return other.name == value.name; }) != 1)
      return {};
  return values;
}

// ---- filters ----

/// The index for gx_create_filter of the filter with that name, none where there is none; by
/// default among those of the plug-in that is linked.
inline std::optional<uint64_t>
find_filter(std::string_view name,
            decltype(&gx_get_filter_count) get_filter_count = gx_get_filter_count,
            decltype(&gx_get_filter_name) get_filter_name = gx_get_filter_name) {
  for (uint64_t i = 0; i < get_filter_count(nullptr); ++i)
    if (const char* text = get_filter_name(static_cast<int32_t>(i), nullptr);
        text != nullptr && text == name)
      return i;
  return std::nullopt;
}

/// The texts as update_config takes them; they have to outlive the result.
inline std::vector<const char*> argument_texts(const std::vector<std::string>& values) {
  std::vector<const char*> texts;
  texts.reserve(values.size());
  for (const std::string& value : values)
    texts.push_back(value.c_str());
  return texts;
}

/// A filter instance, driven through its record.
class Filter {
 public:
  /// Takes the record over; null makes an empty one, on which nothing may be called.
  explicit Filter(gx_priv_filter_context* context) : context_(context) {}

  /// Of the plug-in that is linked; empty where it has no filter of that name.
  static Filter create(std::string_view name) {
    const std::optional<uint64_t> index = find_filter(name);
    return Filter(index ? gx_create_filter(*index, nullptr) : nullptr);
  }

  explicit operator bool() const { return context_ != nullptr; }
  gx_priv_filter_context& context() const { return *context_; }

  std::vector<Parameter> schema() const {
    const char* text = context_->get_config_schema(context_->filter);
    return parse_schema(text != nullptr ? text : "");
  }

  /// Values in the schema's order.
  void update_config(const std::vector<std::string>& values, ErrorSlot& error) {
    std::vector<const char*> texts = argument_texts(values);
    context_->update_config(context_->filter, static_cast<int32_t>(texts.size()), texts.data(),
                            error.receive());
  }
  void set_config_data(const uint8_t* data, size_t size, ErrorSlot& error) {
    context_->set_config_data(context_->filter, data, size, error.receive());
  }
  /// The filtered frame; null with the reason in `error`.
  Frame process(gx_frame& frame, ErrorSlot& error) {
    return Frame(context_->process(context_->filter, &frame, error.receive()));
  }
  void reset() { context_->reset(context_->filter); }

 private:
  FilterContext context_;
};

// ---- what can be seen of a frame ----

/// A part of a frame's state. Equal values, equal parts.
struct FramePart {
  std::string name;
  std::string value; ///< in words and numbers, but for the pixels' bytes

  friend bool operator==(const FramePart& left, const FramePart& right) {
    return left.name == right.name && left.value == right.value;
  }
};

namespace detail {

inline std::string text_of(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

template <class... Numbers>
std::string text_of_all(Numbers... numbers) {
  return (... + (text_of(static_cast<double>(numbers)) + " "));
}

inline std::string text_of(const gx_camera_intrinsic& lens) {
  return text_of_all(lens.fx, lens.fy, lens.cx, lens.cy, lens.width, lens.height);
}

inline std::string text_of(const D2DParameters& record) {
  return text_of_all(record.zpd, record.zpps, record.baseline, record.fx, record.bitSize,
                     record.unit, record.minDisparity, record.packMode, record.dispOffset,
                     record.invalidDisp, record.dispIntPlace, record.isDualCamera);
}

inline void add_profile_parts(const gx_frame& frame, const std::string& prefix,
                              std::vector<FramePart>& parts) {
  const Profile profile(gx_frame_get_stream_profile(&frame, nullptr));
  parts.push_back({prefix + "stream profile", profile != nullptr ? "present" : "none"});
  if (profile == nullptr)
    return;
  const gx_stream_profile* stream = profile.get();
  const auto add = [&](const char* name, std::string value) {
    parts.push_back({prefix + name, std::move(value)});
  };
  add("stream format", std::to_string(gx_stream_profile_get_format(stream, nullptr)));
  add("width", std::to_string(gx_video_stream_profile_get_width(stream, nullptr)));
  add("height", std::to_string(gx_video_stream_profile_get_height(stream, nullptr)));
  add("intrinsics", text_of(gx_video_stream_profile_get_intrinsic(stream, nullptr)));
  add("disparity record",
      text_of(gx_disparity_based_stream_profile_get_disparity_param(stream, nullptr)));
}

inline void add_frame_parts(const gx_frame& frame, const std::string& prefix,
                            std::vector<FramePart>& parts) {
  const auto add = [&](const char* name, std::string value) {
    parts.push_back({prefix + name, std::move(value)});
  };
  const auto* data = reinterpret_cast<const char*>(gx_frame_get_data(&frame, nullptr));
  const uint32_t size = gx_frame_get_data_size(&frame, nullptr);
  add("pixels", data != nullptr ? std::string(data, size) : std::string());
  const gx_frame_type type = gx_frame_get_type(&frame, nullptr);
  add("type", std::to_string(type));
  add("format", std::to_string(gx_frame_get_format(&frame, nullptr)));
  add("index", std::to_string(gx_frame_get_index(&frame, nullptr)));
  add("pixel type", std::to_string(gx_video_frame_get_pixel_type(&frame, nullptr)));
  add("bit size", std::to_string(gx_video_frame_get_pixel_available_bit_size(&frame, nullptr)));
  add("value scale", text_of(static_cast<double>(gx_depth_frame_get_value_scale(&frame, nullptr))));
  constexpr gx_metadata_id offset = GX_METADATA_DISPARITY_OFFSET;
  add("disparity offset", gx_frame_has_metadata(&frame, offset, nullptr)
                              ? std::to_string(gx_frame_get_metadata_value(&frame, offset, nullptr))
                              : "none");
  add_profile_parts(frame, prefix, parts);
  if (type != GX_FRAME_SET)
    return;
  const uint32_t count = gexton_frameset_get_count(&frame, nullptr);
  add("members", std::to_string(count));
  for (uint32_t i = 0; i < count; ++i)
    if (const Frame member{gexton_frameset_get_frame(&frame, i, nullptr)})
      add_frame_parts(*member, prefix + "member " + std::to_string(i) + "'s ", parts);
}

} // namespace detail

/// Everything about a frame and its members that the host tells, at the time of the construction.
class FrameState {
 public:
  explicit FrameState(const gx_frame& frame) { detail::add_frame_parts(frame, "", parts_); }

  const std::vector<FramePart>& parts() const { return parts_; }
  /// The bytes of the frame's own pixel buffer.
  const std::string& pixels() const { return parts_.front().value; }

  /// The names of the parts that differ or that one of the two lacks.
  std::vector<std::string> differences(const FrameState& other) const {
    std::vector<std::string> names;
    const auto& longer = parts_.size() < other.parts_.size() ? other.parts_ : parts_;
    for (size_t i = 0; i < longer.size(); ++i)
      if (i >= parts_.size() || i >= other.parts_.size() || !(parts_[i] == other.parts_[i]))
        names.push_back(longer[i].name);
    return names;
  }
  friend bool operator==(const FrameState& left, const FrameState& right) {
    return left.parts_ == right.parts_;
  }
  friend bool operator!=(const FrameState& left, const FrameState& right) {
    return !(left == right);
  }

  /// "name: value" line by line; of pixels, how many bytes.
  std::string text() const {
    std::string text;
    for (const auto& [name, value] : parts_)
      text +=
          name + ": " + (is_pixels(name) ? std::to_string(value.size()) + " bytes" : value) + "\n";
    return text;
  }
  /// The text and, after an empty line, the bytes of all pixels: equal dumps, equal states.
  std::string dump() const {
    std::string dump = text() + "\n";
    for (const auto& [name, value] : parts_)
      if (is_pixels(name))
        dump += value;
    return dump;
  }

 private:
  static bool is_pixels(std::string_view name) {
    constexpr std::string_view pixels = "pixels";
    return name.size() >= pixels.size() && name.substr(name.size() - pixels.size()) == pixels;
  }

  std::vector<FramePart> parts_; ///< the pixels first
};

// ---- what is left over ----

/// The host's objects that were alive at the time of the construction, in the whole process.
class LiveHandles {
 public:
  /// "" where as many are alive as then; otherwise what is alive besides, or no more, and how many
  /// references were given back since that nobody held.
  std::string left_over() const {
    const gexton_live_handles now = gexton_get_live_handles();
    std::string text;
    const auto add = [&text](const std::string& found) {
      text += (text.empty() ? "" : ", ") + found;
    };
    const auto compare = [&add](uint64_t before, uint64_t after, const char* kind) {
      if (after > before)
        add(std::to_string(after - before) + " " + kind + " more alive than before");
      if (after < before)
        add(std::to_string(before - after) + " " + kind + " fewer alive than before");
    };
    compare(live_.frames, now.frames, "frame(s)");
    compare(live_.stream_profiles, now.stream_profiles, "stream profile(s)");
    compare(live_.errors, now.errors, "error(s)");
    if (const uint64_t excess = gexton_get_excess_releases() - excess_releases_)
      add(std::to_string(excess) + " release(s) of a handle that was not held");
    return text;
  }

 private:
  gexton_live_handles live_ = gexton_get_live_handles();
  uint64_t excess_releases_ = gexton_get_excess_releases();
};

} // namespace gexton

#endif // GEXTON_HOST_HPP
