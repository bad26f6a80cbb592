#pragma once

// Running the program as a user does, and looking at what came of it.

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace test {

struct Outcome {
  int status;
  std::string out, err;
};

#if !defined(_WIN32)
/// Runs a command of the shell and takes its standard output, until nothing holds that open.
inline Outcome run_shell(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "r");
  Outcome outcome{};
  std::array<char, 4096> bytes;
  while (const size_t count = std::fread(bytes.data(), 1, bytes.size(), pipe))
    outcome.out.append(bytes.data(), count);
  const int status = pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}
#endif

inline bool says(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

/// The program ended with this status and named each of the parts on its error stream.
inline void expect_end(const Outcome& outcome, int status, const std::vector<std::string>& parts) {
  EXPECT_EQ(outcome.status, status) << outcome.err;
  for (const std::string& part : parts)
    EXPECT_PRED2(says, outcome.err, part);
}

} // namespace test
