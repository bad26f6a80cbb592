#include "hosting/plugin.h"

#include <algorithm>

#include <fmt/format.h>

namespace hosting {

using namespace recordings;

namespace {

const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

} // namespace

std::filesystem::path Plugin::default_path() {
  const auto names = SharedLibrary::file_names("FilterProcessor");
  for (const auto& folder : library_folders()) {
    for (const auto& name : names) {
      auto candidate = folder / name;
      std::error_code code;
      if (std::filesystem::exists(candidate, code))
        return candidate;
    }
  }
  return names.front();
}

Result<std::shared_ptr<const Plugin>> Plugin::load(const std::filesystem::path& path) {
  auto plugin = std::make_shared<Plugin>();
  plugin->path_ = path;
  auto opened = SharedLibrary::open(path);
  if (!opened) {
    return Error{fmt::format("the plug-in can't be loaded: {}", opened.error().message),
                 ErrorKind::system};
  }
  const SharedLibrary& library = plugin->library_.emplace(std::move(*opened));
  Functions& to = plugin->functions_;
  const char* missing = nullptr;
  const auto resolve = [&]<class Function>(const char* function_name, Function& function) {
    function = reinterpret_cast<Function>(library.symbol(function_name));
    if (function == nullptr && missing == nullptr)
      missing = function_name;
  };
  resolve("gx_get_filter_count", to.get_filter_count);
  resolve("gx_get_filter_name", to.get_filter_name);
  resolve("gx_get_commit_hash", to.get_commit_hash);
  resolve("gx_create_filter", to.create_filter);
  resolve("gx_priv_filter_context_destroy", to.context_destroy);
  resolve("gx_priv_filter_get_config_schema", to.get_config_schema);
  resolve("gx_priv_filter_update_config", to.update_config);
  resolve("gx_priv_filter_set_config_data", to.set_config_data);
  resolve("gx_priv_filter_process", to.process);
  resolve("gx_priv_filter_reset", to.reset);
  if (missing != nullptr) {
    return Error{fmt::format("{}: not a filter plug-in: it has no {}", path.string(), missing),
                 ErrorKind::system};
  }
  return std::shared_ptr<const Plugin>(std::move(plugin));
}

std::shared_ptr<const Plugin> Plugin::linked(const Functions& functions) {
  auto plugin = std::make_shared<Plugin>();
  plugin->functions_ = functions;
  return plugin;
}

std::string Plugin::commit() const {
  return text_or_empty(functions_.get_commit_hash());
}

Result<std::vector<std::string>> Plugin::filter_names() const {
  constexpr uint64_t most_filters = 10'000;
  const uint64_t count = functions_.get_filter_count(nullptr);
  if (count > most_filters)
    return Error{fmt::format("claims to have {} filters", count), ErrorKind::system};
  std::vector<std::string> names(count);
  for (size_t i = 0; i < names.size(); ++i)
    names[i] = text_or_empty(functions_.get_filter_name(static_cast<int32_t>(i), nullptr));
  return names;
}

Error unknown_filter(const std::string& name, const std::vector<std::string>& names) {
  return {fmt::format("unknown filter '{}'; the plug-in offers {}", name, fmt::join(names, ", ")),
          ErrorKind::request};
}

Result<Filter> Filter::create(std::shared_ptr<const Plugin> plugin, const std::string& name) {
  const auto names = plugin->filter_names();
  if (!names)
    return Error{"the plug-in " + names.error().message, names.error().kind};
  const auto found = std::ranges::find(*names, name);
  if (found == names->end())
    return unknown_filter(name, *names);
  const auto index = static_cast<uint64_t>(found - names->begin());
  gx_priv_filter_context* context = plugin->functions().create_filter(index, nullptr);
  if (context == nullptr)
    return Error{fmt::format("{} can't be created", name), ErrorKind::system};
  return Filter(std::move(plugin), context, name);
}

Filter::Filter(std::shared_ptr<const Plugin> plugin, gx_priv_filter_context* context,
               std::string name)
    : plugin_(std::move(plugin)), context_(context, {plugin_->functions().context_destroy}),
      name_(std::move(name)) {
  schema_ =
      gexton::parse_schema(text_or_empty(plugin_->functions().get_config_schema(context_->filter)));
}

Filter::~Filter() = default;

void Filter::update_config(const std::vector<std::string>& values, gexton::ErrorSlot& slot) {
  std::vector<const char*> texts = gexton::argument_texts(values);
  plugin_->functions().update_config(context_->filter, static_cast<int32_t>(texts.size()),
                                     texts.data(), slot.receive());
}

void Filter::set_config_data(std::span<const uint8_t> record, gexton::ErrorSlot& slot) {
  plugin_->functions().set_config_data(context_->filter, record.data(), record.size(),
                                       slot.receive());
}

void Filter::reset() {
  plugin_->functions().reset(context_->filter);
}

gexton::Frame Filter::process(gx_frame& frame, gexton::ErrorSlot& slot) {
  return gexton::Frame(plugin_->functions().process(context_->filter, &frame, slot.receive()));
}

} // namespace hosting
