// One element for each filter, with properties made of its schema.
#include "elements.h"

#include <algorithm>

#include "depth_filter.h"
#include "parameter_properties.h"

namespace depth_elements {

using namespace gxfilter;

namespace {

/// What the class of one filter's elements is made of; as long-lived as the class.
struct FilterKind {
  std::string filter;
  std::string type_name;
  std::vector<gexton::Parameter> schema;
};

/// Of classes by their type.
GQuark kind_quark() {
  return g_quark_from_static_string("depth-filter-kind");
}

const FilterKind& kind_of(gpointer object) {
  return *static_cast<const FilterKind*>(g_type_get_qdata(G_OBJECT_TYPE(object), kind_quark()));
}

const gexton::Parameter& parameter_of(const FilterKind& kind, guint id) {
  return kind.schema[id - first_own_property()];
}

/// Whether the value is in its range is asked once all are known that are set in one call:
/// `unchecked` may be among them.
void set_property(GObject* object, guint id, const GValue* value, GParamSpec* property) {
  guarded(object, [&] {
    const gexton::Parameter& parameter = parameter_of(kind_of(object), id);
    const std::string text = text_of(*value);
    // A default is one even where the schema has it outside its range, and where the value is open
    // without one it is open again.
    const bool is_default = same_value(parameter, text, parameter.default_value);
    element_of(object).change_wishes(
        {id, property->name, [name = parameter.name, text, is_default](Wishes& wishes) {
           auto& values = wishes.requests.front().values;
           if (is_default)
             values.erase(name);
           else
             values[name] = text;
         }});
  });
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* /*property*/) {
  guarded(object, [&] {
    const gexton::Parameter& parameter = parameter_of(kind_of(object), id);
    element_of(object).look_at_wishes([&](const Wishes& wishes) {
      const auto& values = wishes.requests.front().values;
      const auto given = values.find(parameter.name);
      set_value(*value, parameter, given != values.end() ? given->second : parameter.default_value);
    });
  });
}

void init_class(gpointer element_class, gpointer data) {
  const auto& kind = *static_cast<const FilterKind*>(data);
  auto& object = *G_OBJECT_CLASS(element_class);
  object.set_property = set_property;
  object.get_property = get_property;
  guint id = first_own_property();
  for (const gexton::Parameter& parameter : kind.schema) {
    gexton::Parameter shown = parameter;
    if (is_open_by_default(kind.filter, parameter.name))
      shown.description += " (default: as it fits the frames and the elements around)";
    GParamSpec* const property = property_of(shown, kind.type_name, object);
    g_object_class_install_property(&object, id++, property);
    if (G_IS_PARAM_SPEC_ENUM(property))
      gst_type_mark_as_plugin_api(property->value_type, GstPluginAPIFlags{});
  }
  const std::string description = "Applies " + kind.filter + " to depth images";
  gst_element_class_set_metadata(GST_ELEMENT_CLASS(element_class), kind.filter.c_str(),
                                 "Filter/Effect/Video", description.c_str(), "FilterProcessor");
}

void init_instance(GTypeInstance* instance, gpointer element_class) {
  const GType type = G_TYPE_FROM_CLASS(element_class);
  const auto* const kind = static_cast<const FilterKind*>(g_type_get_qdata(type, kind_quark()));
  or_abort([&] {
    Wishes wishes;
    wishes.requests = {{kind->filter, {}, {}}};
    element_of(instance).begin_with(std::move(wishes));
  });
}

} // namespace

std::string element_name(const std::string& filter) {
  std::string name = filter;
  std::ranges::transform(name, name.begin(), [](char c) { return g_ascii_tolower(c); });
  return name.starts_with("depth") ? name : "depth" + name;
}

bool register_filter(GstPlugin& plugin, const std::string& filter) {
  const auto instance = hosting::Filter::create(linked_plugin(), filter);
  if (!instance)
    return false;
  const std::string type_name = filter.starts_with("Depth") ? "Gst" + filter : "GstDepth" + filter;
  auto* const kind = new FilterKind{filter, type_name, instance->schema()}; // as long as the type
  const std::string name = element_name(filter);
  const GType type =
      register_element(plugin, {depth_filter_type(), kind->type_name.c_str(), name.c_str(),
                                sizeof(DepthFilter), init_class, init_instance, kind});
  g_type_set_qdata(type, kind_quark(), kind);
  return type != 0;
}

} // namespace depth_elements
