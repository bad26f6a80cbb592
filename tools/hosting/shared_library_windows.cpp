#include "hosting/shared_library.h"

#include <array>
#include <system_error>

#include <windows.h>

namespace hosting {

using namespace recordings;

Result<SharedLibrary> SharedLibrary::open(const std::filesystem::path& path) {
  // What the library needs is looked for beside it too.
  std::error_code code;
  const bool has_folder = path.has_parent_path();
  const std::filesystem::path place = has_folder ? std::filesystem::absolute(path, code) : path;
  const HMODULE library =
      LoadLibraryExW(place.c_str(), nullptr, has_folder ? LOAD_WITH_ALTERED_SEARCH_PATH : 0);
  if (library != nullptr)
    return SharedLibrary(library);
  const auto number = static_cast<int>(GetLastError());
  return Error{path.string() + ": " + std::system_category().message(number), ErrorKind::system};
}

std::vector<std::filesystem::path> SharedLibrary::file_names(const std::string& name) {
  return {name + ".dll"};
}

void* SharedLibrary::symbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library_.get()), name));
}

void SharedLibrary::Close::operator()(void* library) const {
  FreeLibrary(static_cast<HMODULE>(library));
}

std::vector<std::filesystem::path> library_folders() {
  return {executable_path().parent_path()};
}

std::filesystem::path executable_path() {
  std::array<wchar_t, 32768> name{};
  const DWORD length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
  return std::filesystem::path(name.data(), name.data() + length);
}

} // namespace hosting
