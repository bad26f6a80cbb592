// The plug-in library, reached only through its ten exported functions.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "gexton_host.hpp"
#include "hosting/shared_library.h"
#include "recordings/result.h"

namespace hosting {

/// A loaded library with its functions resolved; unloaded when the last user goes.
class Plugin {
 public:
  /// Fails with kind `system` where the library or one of its functions is missing.
  static recordings::Result<std::shared_ptr<const Plugin>> load(const std::filesystem::path& path);

  /// The library that belongs to this executable, in a build tree as in an installed tree; just its
  /// name where none is found, for the loader to look up.
  static std::filesystem::path default_path();

  /// Texts that are null come out empty. Fails where the plug-in claims more filters than any has.
  recordings::Result<std::vector<std::string>> filter_names() const;
  std::string commit() const;
  const std::filesystem::path& path() const { return path_; }

  /// The exported functions themselves, for calls that a well-meaning host doesn't make.
  struct Functions {
    decltype(&gx_get_filter_count) get_filter_count;
    decltype(&gx_get_filter_name) get_filter_name;
    decltype(&gx_get_commit_hash) get_commit_hash;
    decltype(&gx_create_filter) create_filter;
    decltype(&gx_priv_filter_context_destroy) context_destroy;
    decltype(&gx_priv_filter_get_config_schema) get_config_schema;
    decltype(&gx_priv_filter_update_config) update_config;
    decltype(&gx_priv_filter_set_config_data) set_config_data;
    decltype(&gx_priv_filter_process) process;
    decltype(&gx_priv_filter_reset) reset;
  };
  const Functions& functions() const { return functions_; }

  /// A plug-in that the program is linked with.
  static std::shared_ptr<const Plugin> linked(const Functions& functions);

 private:
  std::filesystem::path path_;
  std::optional<SharedLibrary> library_;
  Functions functions_{};
};

/// What to tell a user who asks for a filter that the plug-in does not have.
recordings::Error unknown_filter(const std::string& name, const std::vector<std::string>& names);

/// One filter instance. Not for several threads at once.
class Filter {
 public:
  /// By class name; an unknown one is a `request` error that lists the names.
  static recordings::Result<Filter> create(std::shared_ptr<const Plugin> plugin,
                                           const std::string& name);

  Filter(Filter&&) = default;
  Filter& operator=(Filter&&) = delete;
  ~Filter();

  const std::string& name() const { return name_; }
  const std::vector<gexton::Parameter>& schema() const { return schema_; }

  /// Values in schema order; a rejection is left in `slot`.
  void update_config(const std::vector<std::string>& values, gexton::ErrorSlot& slot);
  void set_config_data(std::span<const uint8_t> record, gexton::ErrorSlot& slot);
  void reset();

  /// The record that belongs to this instance.
  const gx_priv_filter_context& context() const { return *context_; }

  /// The filtered frame; null with the reason in `slot` on failure. A frame and an error may come
  /// together.
  gexton::Frame process(gx_frame& frame, gexton::ErrorSlot& slot);

 private:
  Filter(std::shared_ptr<const Plugin> plugin, gx_priv_filter_context* context, std::string name);

  struct ContextDestroyer {
    decltype(&gx_priv_filter_context_destroy) destroy;
    void operator()(gx_priv_filter_context* context) const { destroy(context); }
  };

  std::shared_ptr<const Plugin> plugin_; ///< outlives the context
  std::unique_ptr<gx_priv_filter_context, ContextDestroyer> context_;
  std::string name_;
  std::vector<gexton::Parameter> schema_;
};

} // namespace hosting
