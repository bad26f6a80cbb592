// Libraries that are opened while the program runs.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "recordings/result.h"

namespace hosting {

/// An opened library; closed at its end.
class SharedLibrary {
 public:
  /// Fails with the system's words. Everything that the library needs must be there.
  static recordings::Result<SharedLibrary> open(const std::filesystem::path& path);

  /// What its file may be called, in the order in which to look: "lib<name>.so.<major version>",
  /// which is there wherever programs run, and "lib<name>.so", or what stands for them.
  static std::vector<std::filesystem::path> file_names(const std::string& name);

  /// Null where the library has no such symbol.
  void* symbol(const char* name) const;

 private:
  struct Close {
    void operator()(void* library) const;
  };

  explicit SharedLibrary(void* library) : library_(library) {}

  std::unique_ptr<void, Close> library_;
};

/// Where the libraries of this program's own tree lie, be it built or installed, in the order in
/// which to look; none where the system does not tell.
std::vector<std::filesystem::path> library_folders();

/// The running program's file; empty where the system does not tell.
std::filesystem::path executable_path();

} // namespace hosting
