// The plug-in that is linked into this module, for code that opens plug-ins by name; and what else
// such code asks of a system that a browser does not have.
#include "hosting/shared_library.h"

#include <string_view>

#include "filter_processor.h"
#include "recordings/image_file.h"

namespace hosting {

using namespace recordings;

Result<SharedLibrary> SharedLibrary::open(const std::filesystem::path&) {
  static char linked;
  return SharedLibrary(&linked);
}

std::vector<std::filesystem::path> SharedLibrary::file_names(const std::string& name) {
  return {name};
}

void* SharedLibrary::symbol(const char* name) const {
  static const std::pair<std::string_view, void*> functions[] = {
#define LINKED(function) {#function, reinterpret_cast<void*>(function)}
      LINKED(gx_get_filter_count),
      LINKED(gx_get_filter_name),
      LINKED(gx_get_commit_hash),
      LINKED(gx_create_filter),
      LINKED(gx_priv_filter_context_destroy),
      LINKED(gx_priv_filter_get_config_schema),
      LINKED(gx_priv_filter_update_config),
      LINKED(gx_priv_filter_set_config_data),
      LINKED(gx_priv_filter_process),
      LINKED(gx_priv_filter_reset)
#undef LINKED
  };
  for (const auto& [known, function] : functions)
    if (known == name)
      return function;
  return nullptr;
}

void SharedLibrary::Close::operator()(void*) const {}

std::vector<std::filesystem::path> library_folders() {
  return {};
}

} // namespace hosting

namespace recordings {

Result<std::vector<uint8_t>> read_file(const std::filesystem::path& path) {
  return Error{path.string() + ": the page can't read configuration records"};
}

} // namespace recordings
