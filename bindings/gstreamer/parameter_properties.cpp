#include "parameter_properties.h"

#include <algorithm>
#include <deque>
#include <limits>

#include <fmt/format.h>

#include "gxfilter/parameter_text.h"

namespace depth_elements {

namespace {

using gxfilter::read_number;

constexpr auto parameter_flags = static_cast<GParamFlags>(
    G_PARAM_READWRITE | GST_PARAM_CONTROLLABLE | GST_PARAM_MUTABLE_PLAYING);

// ---- properties that take any value of their type ----

gboolean leave_as_it_is(GParamSpec* /*property*/, GValue* /*value*/) {
  return FALSE;
}

void init_open_class(gpointer property_class, gpointer /*data*/) {
  static_cast<GParamSpecClass*>(property_class)->value_validate = leave_as_it_is;
}

/// The kind of property derived from `parent` that corrects no value.
GType open_type(GType parent, const char* name) {
  if (const GType known = g_type_from_name(name))
    return known;
  GTypeQuery query;
  g_type_query(parent, &query);
  GTypeInfo info{};
  info.class_size = static_cast<guint16>(query.class_size);
  info.class_init = init_open_class;
  info.instance_size = static_cast<guint16>(query.instance_size);
  return g_type_register_static(parent, name, &info, GTypeFlags{});
}

template <class Spec>
Spec* make_open(GType parent, const char* type_name, const char* name, const char* nick,
                const char* blurb, GParamFlags flags) {
  return static_cast<Spec*>(
      g_param_spec_internal(open_type(parent, type_name), name, nick, blurb, flags));
}

/// Of a number of this type; a default outside its range widens it, as GObject demands.
template <class Spec, class Number>
GParamSpec* with_range(Spec* property, Number minimum, Number maximum, Number default_value) {
  property->minimum = std::min(minimum, default_value);
  property->maximum = std::max(maximum, default_value);
  property->default_value = default_value;
  return &property->parent_instance;
}

/// The number that a field of the schema holds, or the farthest that the type has.
template <class Number>
Number bound(const std::string& text, Number otherwise) {
  const auto number = read_number(text, false);
  if (!number)
    return otherwise;
  if (*number >= static_cast<double>(std::numeric_limits<Number>::max()))
    return std::numeric_limits<Number>::max();
  if (*number <= static_cast<double>(std::numeric_limits<Number>::lowest()))
    return std::numeric_limits<Number>::lowest();
  return static_cast<Number>(*number);
}

template <class Number, class Spec>
GParamSpec* number_property(Spec* property, const gexton::Parameter& parameter) {
  using Limits = std::numeric_limits<Number>;
  return with_range(property, bound(parameter.min, Limits::lowest()),
                    bound(parameter.max, Limits::max()), bound(parameter.default_value, Number{}));
}

GType enumeration_of(const gexton::Parameter& parameter,
                     const std::vector<gexton::NamedValue>& names, const std::string& owner) {
  std::string type_name = owner + "-" + parameter.name;
  std::ranges::replace_if(
      type_name, [](char c) { return !g_ascii_isalnum(c) && c != '-' && c != '_'; }, '-');
  if (const GType known = g_type_from_name(type_name.c_str()))
    return known;
  static auto& enumerations = *new std::deque<std::vector<GEnumValue>>; // as long as the process
  auto& values = enumerations.emplace_back(names.size() + 1);
  for (size_t i = 0; i < names.size(); ++i) {
    const char* const nick = g_intern_string(names[i].name.c_str());
    values[i] = {static_cast<gint>(*read_number(names[i].value, true)), nick, nick};
  }
  return g_enum_register_static(g_intern_string(type_name.c_str()), values.data());
}

/// A name that GObject takes and that the element's class does not have yet.
std::string free_name(const std::string& wanted, GObjectClass& element_class) {
  std::string name = wanted;
  std::ranges::replace_if(
      name, [](char c) { return !g_ascii_isalnum(c) && c != '-'; }, '-');
  if (name.empty() || !g_ascii_isalpha(name[0]) ||
      g_object_class_find_property(&element_class, name.c_str()) != nullptr)
    name.insert(0, "filter-");
  return name;
}

} // namespace

GParamSpec* property_of(const gexton::Parameter& parameter, const std::string& owner,
                        GObjectClass& element_class) {
  const std::string name_text = free_name(parameter.name, element_class);
  const char* const name = name_text.c_str();
  const char* const nick = parameter.name.c_str();
  const char* const blurb = parameter.description.empty() ? nick : parameter.description.c_str();
  if (const auto names = named_values(parameter); !names.empty()) {
    auto* const property = make_open<GParamSpecEnum>(G_TYPE_PARAM_ENUM, "GstDepthParamEnum", name,
                                                     nick, blurb, parameter_flags);
    const GType type = enumeration_of(parameter, names, owner);
    property->parent_instance.value_type = type;
    property->enum_class = static_cast<GEnumClass*>(g_type_class_ref(type));
    property->default_value = bound<gint>(parameter.default_value, 0);
    return &property->parent_instance;
  }
  if (parameter.type == "bool")
    return g_param_spec_boolean(name, nick, blurb, bound(parameter.default_value, 0) != 0,
                                parameter_flags);
  if (parameter.type.starts_with("int"))
    return number_property<gint>(make_open<GParamSpecInt>(G_TYPE_PARAM_INT, "GstDepthParamInt",
                                                          name, nick, blurb, parameter_flags),
                                 parameter);
  if (parameter.type.starts_with("uint"))
    return number_property<guint>(make_open<GParamSpecUInt>(G_TYPE_PARAM_UINT, "GstDepthParamUInt",
                                                            name, nick, blurb, parameter_flags),
                                  parameter);
  if (parameter.type == "float" || parameter.type == "double")
    return number_property<gfloat>(make_open<GParamSpecFloat>(G_TYPE_PARAM_FLOAT,
                                                              "GstDepthParamFloat", name, nick,
                                                              blurb, parameter_flags),
                                   parameter);
  // Text is no number that could be controlled.
  return g_param_spec_string(
      name, nick, blurb, parameter.default_value.c_str(),
      static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING));
}

GParamSpec* open_double(const char* name, const char* nick, const char* blurb, double minimum,
                        double maximum, double default_value, GParamFlags flags) {
  auto* const property = make_open<GParamSpecDouble>(G_TYPE_PARAM_DOUBLE, "GstDepthParamDouble",
                                                     name, nick, blurb, flags);
  return with_range(property, minimum, maximum, default_value);
}

GParamSpec* open_int(const char* name, const char* nick, const char* blurb, int32_t minimum,
                     int32_t maximum, int32_t default_value, GParamFlags flags) {
  auto* const property =
      make_open<GParamSpecInt>(G_TYPE_PARAM_INT, "GstDepthParamInt", name, nick, blurb, flags);
  return with_range(property, minimum, maximum, default_value);
}

std::string text_of(const GValue& value) {
  if (G_VALUE_HOLDS_BOOLEAN(&value))
    return g_value_get_boolean(&value) != FALSE ? "1" : "0";
  if (G_VALUE_HOLDS_ENUM(&value))
    return fmt::format("{}", g_value_get_enum(&value));
  if (G_VALUE_HOLDS_INT(&value))
    return fmt::format("{}", g_value_get_int(&value));
  if (G_VALUE_HOLDS_UINT(&value))
    return fmt::format("{}", g_value_get_uint(&value));
  if (G_VALUE_HOLDS_FLOAT(&value)) // the fewest digits that read as the same number
    return fmt::format("{}", g_value_get_float(&value));
  const char* const text = g_value_get_string(&value);
  return text != nullptr ? text : "";
}

void set_value(GValue& value, const gexton::Parameter& parameter, const std::string& text) {
  std::string number_text = text;
  for (const auto& [name, number] : named_values(parameter))
    if (name == text)
      number_text = number;
  if (G_VALUE_HOLDS_BOOLEAN(&value))
    g_value_set_boolean(&value, bound(number_text, 0) != 0 ? TRUE : FALSE);
  else if (G_VALUE_HOLDS_ENUM(&value))
    g_value_set_enum(&value, bound<gint>(number_text, 0));
  else if (G_VALUE_HOLDS_INT(&value))
    g_value_set_int(&value, bound<gint>(number_text, 0));
  else if (G_VALUE_HOLDS_UINT(&value))
    g_value_set_uint(&value, bound<guint>(number_text, 0));
  else if (G_VALUE_HOLDS_FLOAT(&value))
    g_value_set_float(&value, bound<gfloat>(number_text, 0));
  else
    g_value_set_string(&value, text.c_str());
}

} // namespace depth_elements
