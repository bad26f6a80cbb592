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

struct DepthChain {
  DepthFilter parent;
  std::array<char*, ways.size()> texts;
};

std::array<char*, ways.size()>& texts_of(gpointer object) {
  return static_cast<DepthChain*>(object)->texts;
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* /*property*/) {
  FilterElement& element = element_of(object);
  const size_t way = id - first_own_property();
  const char* const text = g_value_get_string(value);
  auto requests = ways[way].requests(text != nullptr ? text : "");
  Failure failure = requests ? std::nullopt : Failure(requests.error());
  if (!failure)
    failure =
        check_setup({*requests,
                     element.look_at_wishes([](const Wishes& wishes) { return wishes.ranges; }),
                     {}});
  if (failure)
    return element.refuse_filters({std::string(ways[way].name) + ": " + failure->message});
  element.change_wishes([&](Wishes& wishes) {
    wishes.requests = std::move(*requests);
    for (char*& other : texts_of(object))
      g_clear_pointer(&other, g_free);
    texts_of(object)[way] = g_strdup(text);
  });
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* /*property*/) {
  element_of(object).look_at_wishes([&](const Wishes& /*wishes*/) {
    g_value_set_string(value, texts_of(object)[id - first_own_property()]);
  });
}

void finalize(GObject* object) {
  for (char* text : texts_of(object))
    g_free(text);
  static_cast<GObjectClass*>(g_type_class_peek(depth_filter_type()))->finalize(object);
}

void init_class(gpointer element_class, gpointer /*data*/) {
  auto& object = *G_OBJECT_CLASS(element_class);
  object.set_property = set_property;
  object.get_property = get_property;
  object.finalize = finalize;
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
  GTypeInfo info{};
  info.class_size = sizeof(DepthFilterClass);
  info.class_init = init_class;
  info.instance_size = sizeof(DepthChain);
  info.instance_init = init_instance;
  const GType type =
      g_type_register_static(depth_filter_type(), "GstDepthChain", &info, GTypeFlags{});
  return gst_element_register(&plugin, "depthchain", GST_RANK_NONE, type) != FALSE;
}

} // namespace depth_elements
