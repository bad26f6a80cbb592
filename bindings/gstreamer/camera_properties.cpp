#include "camera_properties.h"

#include <array>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "gxfilter/parameter_text.h"
#include "parameter_properties.h"

namespace depth_elements {

using namespace recordings;

const char* const camera_tag = "depth-camera";

namespace {

constexpr auto fact_flags = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING);
constexpr double unset = std::numeric_limits<double>::quiet_NaN();
constexpr int32_t unset_offset = std::numeric_limits<int32_t>::min();
constexpr double any = std::numeric_limits<float>::max();

enum class Kind { number, whole, pixel_type, file, record };

/// Properties in the order of their ids. What nobody sets is told by the stream or has its default.
struct FactProperty {
  const char* name;
  const char* key; ///< of camera facts
  Kind kind;
  const char* blurb;
  double minimum = 0;
  double maximum = 0;
  double default_value = 0;
  bool default_is_a_fact = true; ///< false: it says that nobody told the fact
};

constexpr std::array properties{
    FactProperty{"depth-unit", "depth_unit", Kind::number, "Millimetres per unit of a depth pixel",
                 1e-6, 1e6, 1},
    FactProperty{"fx", "fx", Kind::number, "Focal length, pixels (0: 0.9 * width)", 0, any, 0,
                 false},
    FactProperty{"fy", "fy", Kind::number, "Focal length, pixels (0: fx)", 0, any, 0, false},
    FactProperty{"cx", "cx", Kind::number, "Principal point, pixels (nan: the centre)", -any, any,
                 unset, false},
    FactProperty{"cy", "cy", Kind::number, "Principal point, pixels (nan: the centre)", -any, any,
                 unset, false},
    FactProperty{"baseline", "baseline", Kind::number, "Baseline, millimetres", 0, any, 50},
    FactProperty{"bit-size", "bit_size", Kind::whole, "Significant bits of a pixel", 8, 16, 16},
    FactProperty{"disparity-offset", "disparity_offset", Kind::whole,
                 "Frame metadata disparity offset (the least number: none)", unset_offset,
                 std::numeric_limits<int32_t>::max(), unset_offset, false},
    FactProperty{"pixel-type", "pixel_type", Kind::pixel_type, "What pixels hold"},
    FactProperty{"d2d", "d2d", Kind::record,
                 "Fields of the disparity record, FIELD=NUMBER,...: zpd, zpps, baseline, fx, "
                 "bitSize, unit, minDisparity, packMode, dispOffset, invalidDisp, dispIntPlace, "
                 "isDualCamera"},
    FactProperty{"camera", "", Kind::file,
                 "File of camera facts, JSON or a ROS camera_info YAML; the other properties win "
                 "over it"},
};

constexpr std::array pixel_types{"depth", "disparity", "tof"};

GType pixel_type_enumeration() {
  static const GEnumValue values[] = {{0, "Depth", pixel_types[0]},
                                      {1, "Disparity codes", pixel_types[1]},
                                      {2, "Depth by time of flight", pixel_types[2]},
                                      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("GstDepthPixelType", values);
  return type;
}

GParamSpec* make_property(const FactProperty& property) {
  const auto& [name, key, kind, blurb, minimum, maximum, default_value, is_a_fact] = property;
  switch (kind) {
  case Kind::number:
    return open_double(name, name, blurb, minimum, maximum, default_value, fact_flags);
  case Kind::whole:
    return open_int(name, name, blurb, static_cast<int32_t>(minimum), static_cast<int32_t>(maximum),
                    static_cast<int32_t>(default_value), fact_flags);
  case Kind::pixel_type:
    return g_param_spec_enum(name, name, blurb, pixel_type_enumeration(), 0, fact_flags);
  default:
    return g_param_spec_string(name, name, blurb, nullptr, fact_flags);
  }
}

const char* text_or_empty(const GValue& value) {
  const char* const text = g_value_get_string(&value);
  return text != nullptr ? text : "";
}

/// Null where the value says that the fact is not told.
nlohmann::json fact_of(const FactProperty& property, const GValue& value) {
  if (property.kind == Kind::pixel_type)
    return pixel_types[static_cast<size_t>(g_value_get_enum(&value))];
  const double number =
      property.kind == Kind::whole ? g_value_get_int(&value) : g_value_get_double(&value);
  const bool is_told =
      property.default_is_a_fact || !(number == property.default_value || std::isnan(number));
  return is_told ? nlohmann::json(number) : nlohmann::json();
}

Failure check_facts(const CameraFacts& facts) {
  return KnownFacts().add("properties", facts);
}

/// The number that reads as the same float32, with the fewest digits.
nlohmann::json shortest(float number) {
  return nlohmann::json::parse(fmt::format("{}", number), nullptr, false);
}

} // namespace

guint install_camera_properties(GObjectClass& element_class) {
  guint id = first_camera_property;
  for (const FactProperty& property : properties)
    g_object_class_install_property(&element_class, id++, make_property(property));
  gst_type_mark_as_plugin_api(pixel_type_enumeration(), GstPluginAPIFlags{});
  return id;
}

Result<CameraProperties::Change> CameraProperties::change_of(guint id, const GValue& value) {
  const FactProperty& property = properties[id - first_camera_property];
  if (property.kind == Kind::file)
    return change_of_file(text_or_empty(value));
  if (property.kind == Kind::record)
    return change_of_record(text_or_empty(value));
  return change_of_fact(property.key, fact_of(property, value));
}

/// `fact` is null where nobody tells it any more.
Result<CameraProperties::Change> CameraProperties::change_of_fact(const std::string& key,
                                                                  const nlohmann::json& fact) {
  if (!fact.is_null())
    if (auto failure = check_facts({{key, fact}}))
      return *failure;
  return Change([key, fact](CameraProperties& camera) {
    if (fact.is_null())
      camera.facts_.erase(key);
    else
      camera.facts_[key] = fact;
  });
}

Result<CameraProperties::Change> CameraProperties::change_of_file(const std::string& path) {
  CameraFacts facts = CameraFacts::object();
  if (!path.empty()) {
    auto read = read_camera_file(path);
    if (!read)
      return read.error();
    if (auto failure = KnownFacts().add(path, *read))
      return *failure;
    facts = std::move(*read);
  }
  return Change([path, facts](CameraProperties& camera) {
    camera.file_ = path;
    camera.file_facts_ = facts;
  });
}

Result<CameraProperties::Change> CameraProperties::change_of_record(const std::string& fields) {
  nlohmann::json record;
  for (size_t begin = 0; begin < fields.size();) {
    const size_t end = std::min(fields.find(',', begin), fields.size());
    const std::string pair = fields.substr(begin, end - begin);
    const size_t equals = std::min(pair.find('='), pair.size());
    const auto number = gxfilter::read_number(
        std::string_view(pair).substr(std::min(equals + 1, pair.size())), false);
    if (!number)
      return Error{fmt::format("d2d: '{}' is not field=number", pair), ErrorKind::request};
    record[std::string(gexton::trim(pair.substr(0, equals)))] = *number;
    begin = end + 1;
  }
  auto change = change_of_fact("d2d", record);
  if (!change)
    return change.error();
  return Change([change = std::move(*change), fields](CameraProperties& camera) {
    change(camera);
    camera.record_ = fields;
  });
}

void CameraProperties::get(guint id, GValue& value) const {
  const FactProperty& property = properties[id - first_camera_property];
  const auto fact = facts_.find(property.key);
  switch (property.kind) {
  case Kind::file:
    return g_value_set_string(&value, file_.empty() ? nullptr : file_.c_str());
  case Kind::record:
    return g_value_set_string(&value, record_.empty() ? nullptr : record_.c_str());
  case Kind::pixel_type:
    for (size_t i = 0; i < pixel_types.size(); ++i)
      if (fact != facts_.end() && *fact == pixel_types[i])
        return g_value_set_enum(&value, static_cast<gint>(i));
    return g_value_set_enum(&value, 0);
  case Kind::whole:
    return g_value_set_int(&value, fact != facts_.end()
                                       ? fact->get<int32_t>()
                                       : static_cast<int32_t>(property.default_value));
  case Kind::number:
    return g_value_set_double(&value,
                              fact != facts_.end() ? fact->get<double>() : property.default_value);
  }
}

void CameraProperties::add_to(KnownFacts& known) const {
  // Both were checked when they were set.
  static_cast<void>(known.add(file_, file_facts_));
  static_cast<void>(known.add("properties", facts_));
}

void register_camera_tag() {
  gst_tag_register(camera_tag, GST_TAG_FLAG_META, G_TYPE_STRING, "depth camera",
                   "What is known of the depth camera, as a JSON object", gst_tag_merge_use_first);
}

Result<std::optional<CameraFacts>> facts_of(const GstTagList& tags) {
  const char* text = nullptr;
  if (gst_tag_list_get_scope(&tags) != GST_TAG_SCOPE_STREAM ||
      gst_tag_list_peek_string_index(&tags, camera_tag, 0, &text) == FALSE)
    return std::optional<CameraFacts>();
  const std::string_view json = text;
  auto facts = parse_camera_facts({reinterpret_cast<const uint8_t*>(json.data()), json.size()});
  if (!facts)
    return Error{fmt::format("{}: {}", tag_origin(), facts.error().message)};
  if (auto failure = KnownFacts().add(tag_origin(), *facts))
    return *failure;
  return std::optional(std::move(*facts));
}

std::string tag_origin() {
  return fmt::format("tag {}", camera_tag);
}

Failure misfit_of(const CameraFacts& stream_facts, FrameSize size) {
  KnownFacts known;
  static_cast<void>(known.add(tag_origin(), stream_facts));
  if (auto failure = known.check_size_of(size))
    return Error{failure->message + "; what it says of its camera is left aside"};
  const auto camera = make_camera(stream_facts, size, tag_origin());
  return camera ? std::nullopt : Failure(camera.error());
}

CameraFacts facts_of(const Camera& camera) {
  // The record has no padding: copies of its numbers stand where such numbers may.
  const D2DParameters& d2d = camera.d2d;
  CameraFacts facts{{"depth_unit", shortest(camera.depth_unit)},
                    {"pixel_type", camera.pixel_type == GX_PIXEL_DISPARITY ? "disparity"
                                   : camera.pixel_type == GX_PIXEL_DEPTH   ? "depth"
                                                                           : "tof"},
                    {"bit_size", camera.bit_size},
                    {"fx", shortest(camera.intrinsic.fx)},
                    {"fy", shortest(camera.intrinsic.fy)},
                    {"cx", shortest(camera.intrinsic.cx)},
                    {"cy", shortest(camera.intrinsic.cy)},
                    {"baseline", shortest(d2d.baseline)},
                    {"d2d",
                     {{"zpd", double{d2d.zpd}},
                      {"zpps", double{d2d.zpps}},
                      {"baseline", shortest(d2d.baseline)},
                      {"fx", double{d2d.fx}},
                      {"bitSize", d2d.bitSize},
                      {"unit", shortest(d2d.unit)},
                      {"minDisparity", shortest(d2d.minDisparity)},
                      {"packMode", d2d.packMode},
                      {"dispOffset", shortest(d2d.dispOffset)},
                      {"invalidDisp", int32_t{d2d.invalidDisp}},
                      {"dispIntPlace", int32_t{d2d.dispIntPlace}},
                      {"isDualCamera", d2d.isDualCamera}}}};
  if (camera.disparity_offset)
    facts["disparity_offset"] = *camera.disparity_offset;
  return facts;
}

} // namespace depth_elements
