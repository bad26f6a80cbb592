// Runs a fuzz target on every file of the directories given: what fuzzing has found before stays
// found in builds without a fuzzer.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>

#include "fuzz/fuzzing.h"

int main(int argc, char** argv) {
  if (std::freopen("/dev/null", "w", stdout) == nullptr) // for traces of failures
    return 1;
  std::set<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i)
    for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
      files.insert(entry.path());
  for (const std::filesystem::path& path : files) {
    std::cerr << path.filename().string() << '\n';
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::cerr << files.size() << " inputs replayed\n";
  return files.empty() ? 1 : 0;
}
