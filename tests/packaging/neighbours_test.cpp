// neighbours_test PLUGIN FOREIGN_PLUGIN
// Two copies of the plug-in and another one of the same exported names share a process, opened in
// every order and scope: each copy stays itself. Built a second time, this program is linked with
// the other plug-in, whose functions then come before all others.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "filter_processor.h"

namespace {

constexpr uint64_t foreign_count = 5;

/// The record's words in its order, named as the functions are; one of them is none.
const std::array<std::string, 7> words{
    "context_destroy", "",       "reset", "get_config_schema", "update_config",
    "set_config_data", "process"};

template <typename Function>
Function* function_of(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

bool stays_itself(void* library) {
  const auto count = function_of<decltype(gx_get_filter_count)>(library, "gx_get_filter_count");
  const auto name = function_of<decltype(gx_get_filter_name)>(library, "gx_get_filter_name");
  const auto create = function_of<decltype(gx_create_filter)>(library, "gx_create_filter");
  const auto is_ours = [](std::string_view text) { return text != "foreign"; };

  bool right = count(nullptr) > 0 && count(nullptr) != foreign_count;
  for (uint64_t index = 0; index < count(nullptr); ++index) {
    gx_priv_filter_context* context = create(index, nullptr);
    if (context == nullptr)
      return false;
    const auto record = std::bit_cast<std::array<void*, words.size()>>(*context);
    for (size_t i = 0; i < words.size(); ++i)
      right &=
          words[i].empty() || record[i] == dlsym(library, ("gx_priv_filter_" + words[i]).c_str());
    right = right && is_ours(context->get_config_schema(context->filter)) &&
            is_ours(name(static_cast<int32_t>(index), nullptr));
    context->destroy(context);
  }
  return right;
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3)
    return 2;
  // Beside the plug-in, where the host's library is looked for.
  const std::string program = std::filesystem::path(argv[0]).filename();
  const std::string copy = std::filesystem::path(argv[1]).replace_filename(program + ".copy.so");
  std::filesystem::copy_file(argv[1], copy, std::filesystem::copy_options::overwrite_existing);
  const std::array files{std::string(argv[1]), copy, std::string(argv[2])};
  std::array order{0U, 1U, 2U};
  int failures = 0;
  do {
    for (unsigned global = 0; global < 8; ++global) {
      // What has once been in the global scope may stay there: each case has its own process.
      const pid_t child = fork();
      if (child == 0) {
        std::array<void*, 3> libraries{};
        for (const unsigned file : order)
          libraries[file] = dlopen(files[file].c_str(),
                                   RTLD_LAZY | (global >> file & 1U ? RTLD_GLOBAL : RTLD_LOCAL));
        const bool right = libraries[0] != libraries[1] && libraries[2] != nullptr &&
                           stays_itself(libraries[0]) && stays_itself(libraries[1]);
        _exit(right ? 0 : 1);
      }
      int status = 0;
      if (waitpid(child, &status, 0) != child || status != 0) {
        std::printf("FAILED: opened in the order %u %u %u, in the global scope: %#x\n", order[0],
                    order[1], order[2], global);
        ++failures;
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
  std::filesystem::remove(copy);
  return failures == 0 ? 0 : 1;
}
