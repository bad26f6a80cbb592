#include "hosting/shared_library.h"

#include <dlfcn.h>

namespace hosting {

using namespace recordings;

Result<SharedLibrary> SharedLibrary::open(const std::filesystem::path& path) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library != nullptr)
    return SharedLibrary(library);
  const char* const reason = dlerror();
  return Error{reason != nullptr ? reason : "", ErrorKind::system};
}

std::vector<std::filesystem::path> SharedLibrary::file_names(const std::string& name) {
  const std::string link = "lib" + name + ".so";
  return {link + "." GXFILTER_INTERFACE_VERSION, link};
}

void* SharedLibrary::symbol(const char* name) const {
  return dlsym(library_.get(), name);
}

void SharedLibrary::Close::operator()(void* library) const {
  dlclose(library);
}

std::vector<std::filesystem::path> library_folders() {
  const std::filesystem::path prefix = executable_path().parent_path().parent_path();
  if (prefix.empty())
    return {};
  return {prefix / GXFILTER_LIBRARY_DIRECTORY, prefix / "lib", prefix / "lib/" GXFILTER_MULTIARCH};
}

std::filesystem::path executable_path() {
  std::error_code code;
  return std::filesystem::read_symlink("/proc/self/exe", code);
}

} // namespace hosting
