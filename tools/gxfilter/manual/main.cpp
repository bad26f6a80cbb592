// gxfilter_manual OUTPUT_DIRECTORY [DATE]
// Writes the manual pages of gxfilter and its commands (man/), and what bash and zsh complete
// (bash/, zsh/), from the description of its command line. The date is what the pages show at their
// foot; without it they show none, so that the same sources always give the same pages.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "gxfilter/manual/completions.h"
#include "gxfilter/manual/pages.h"

namespace {

void write(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file.exceptions(std::ios::failbit | std::ios::badbit);
  file << text;
  file.close();
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fputs("usage: gxfilter_manual OUTPUT_DIRECTORY [DATE]\n", stderr);
    return 2;
  }
  try {
    const std::filesystem::path output = argv[1];
    const std::string date = argc == 3 ? argv[2] : "";
    const gxfilter::CommandLine line;
    write(output / "man" / "gxfilter.1", manual::program_page(line.app, date));
    for (const CLI::App* command : manual::commands_of(line.app)) {
      const std::string file = manual::page_name(*command) + ".1";
      write(output / "man" / file, manual::command_page(line.app, *command, date));
    }
    write(output / "bash" / "gxfilter", manual::bash_completion(line.app));
    write(output / "zsh" / "_gxfilter", manual::zsh_completion(line.app));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "gxfilter_manual: %s\n", exception.what());
    return 1;
  }
  return 0;
}
