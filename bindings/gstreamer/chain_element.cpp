// depthchain: filters one behind the other, told as text, as a file or as a preset's name.
#include "elements.h"

#include <array>

#include <dlfcn.h>

#include "chain_text.h"
#include "depth_filter.h"
#include "gxfilter/presets.h"

namespace depth_elements {

using namespace gxfilter;
using namespace recordings;

namespace {

using Requests = Result<std::vector<FilterRequest>>;

Requests chain_of(Result<Preset> preset) {
  if (!preset)
    return preset.error();
  return std::move(preset->chain);
}

Requests read_chain(const std::string& path) {
  return path.empty() ? Requests(std::vector<FilterRequest>()) : chain_of(read_preset(path));
}

/// Beside this library, in an installed tree as in a build tree.
std::vector<std::filesystem::path> preset_folders() {
  Dl_info library{};
  dladdr(reinterpret_cast<const void*>(&preset_folders), &library);
  const auto folder = std::filesystem::path(library.dli_fname).parent_path();
  return {folder / DEPTH_ELEMENTS_PRESETS, folder / "../../share/filter_processor/presets"};
}

Requests find_chain(const std::string& name) {
  if (name.empty())
    return std::vector<FilterRequest>();
  const auto presets = read_presets(preset_folders());
  if (!presets)
    return presets.error();
  return chain_of(find_preset(*presets, name));
}

/// The ways to tell a chain, in the order of the properties; the one that is set last counts.
struct Way {
  const char* name;
  const char* blurb;
  Requests (*requests)(const std::string& text);
};

constexpr std::array ways{
    Way{"chain",
        "Filters, NAME:key=value,key=value with blanks or '!' between, or a JSON list of "
        "{\"filter\": NAME, \"params\": {key: value}}",
        parse_chain},
    Way{"chain-file", "File with a chain or a preset as JSON", read_chain},
    Way{"preset", "Name of a preset that is installed with the filters", find_chain},
};

/// Requests without filters where the text has none. Empty text takes back what this way told, and
/// nothing else. Records are read once, here.
Failure tell(FilterElement& element, const Way& way, const std::string& text) {
  const bool is_told_otherwise = element.look_at_wishes(
      [&](const Wishes& wishes) { return !wishes.way.empty() && wishes.way != way.name; });
  if (text.empty() && is_told_otherwise)
    return std::nullopt;
  auto requests = way.requests(text);
  if (!requests)
    return requests.error();
  for (FilterRequest& request : *requests)
    if (auto failure = read_record(request))
      return failure;
  element.change_wishes({filters_key, way.name,
                         [requests = std::move(*requests), name = way.name, text](Wishes& wishes) {
                           wishes.requests = requests;
                           wishes.way = name;
                           wishes.text = text;
                         }});
  return std::nullopt;
}

const Way& way_of(guint id) {
  return ways[id - first_own_property()];
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* /*property*/) {
  guarded(object, [&] {
    const Way& way = way_of(id);
    const char* const text = g_value_get_string(value);
    const auto failure = tell(element_of(object), way, text != nullptr ? text : "");
    if (failure)
      element_of(object).refuse_filters(
          {{std::string(way.name) + ": " + failure->message}, {way.name}});
  });
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* /*property*/) {
  guarded(object, [&] {
    element_of(object).look_at_wishes([&](const Wishes& wishes) {
      const bool is_told = wishes.way == way_of(id).name;
      g_value_set_string(value, is_told ? wishes.text.c_str() : nullptr);
    });
  });
}

void init_class(gpointer element_class, gpointer /*data*/) {
  auto& object = *G_OBJECT_CLASS(element_class);
  object.set_property = set_property;
  object.get_property = get_property;
  guint id = first_own_property();
  for (const Way& way : ways)
    g_object_class_install_property(
        &object, id++,
        g_param_spec_string(
            way.name, way.name, way.blurb, nullptr,
            static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING)));
  gst_element_class_set_static_metadata(
      GST_ELEMENT_CLASS(element_class), "Chain of depth filters", "Filter/Effect/Video",
      "Applies filters to depth images, one behind the other", "FilterProcessor");
}

void init_instance(GTypeInstance* instance, gpointer /*element_class*/) {
  gst_base_transform_set_passthrough(reinterpret_cast<GstBaseTransform*>(instance), TRUE);
}

} // namespace

bool register_chain(GstPlugin& plugin) {
  return register_element(plugin, {depth_filter_type(), "GstDepthChain", "depthchain",
                                   sizeof(DepthFilter), init_class, init_instance}) != 0;
}

} // namespace depth_elements
