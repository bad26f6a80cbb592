#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <utility>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "golden/hosted_filter.h"
#include "golden/table.h"
#include "gxfilter/commands.h"
#include "gxfilter/plugin_option.h"
#include "recordings/system.h"
#include "simd/level.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;
namespace simd = filter_processor::simd;

namespace {

struct SelftestOptions {
  std::filesystem::path plugin; ///< empty: the one that belongs to this program
  bool json = false;
};

/// What the cases of a plug-in came to.
struct Findings {
  size_t cases = 0, filters = 0;      ///< that were looked at
  std::vector<std::string> missing;   ///< filters that the plug-in lacks, or can't make
  std::vector<std::string> differing; ///< cases
  double seconds = 0;

  bool all_right() const { return missing.empty() && differing.empty(); }
};

/// A plug-in may take this process down with it; whoever runs this wants to know in which case.
namespace last_words {

std::atomic<const char*> case_under_way = nullptr;

void say(int signal) {
  if (const char* const name = case_under_way)
    for (const char* part : {"gxfilter: the plug-in crashed in ", name, "\n"})
      recordings::system::write_error(part);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void prepare() {
  for (const int signal : {SIGILL, SIGSEGV, SIGFPE, SIGABRT})
    std::signal(signal, say);
}

} // namespace last_words

/// A new filter; empty where there is none of that name.
gexton::Filter make_filter(const Plugin& plugin, const std::vector<std::string>& names,
                           const std::string& name) {
  const auto index = static_cast<uint64_t>(std::ranges::find(names, name) - names.begin());
  return gexton::Filter(index < names.size() ? plugin.functions().create_filter(index, nullptr)
                                             : nullptr);
}

Findings run_cases(const Plugin& plugin, const std::vector<std::string>& names) {
  const recordings::system::RedirectedOutput silence; // of filters that trace their errors
  last_words::prepare();
  const auto start = std::chrono::steady_clock::now();
  Findings findings;
  std::string before;
  for (const golden::Case& each : golden::all_cases()) {
    const std::string name = each.name();
    last_words::case_under_way = name.c_str();
    const bool is_next_filter = std::exchange(before, each.filter) != each.filter;
    gexton::Filter filter = make_filter(plugin, names, each.filter);
    if (!filter) {
      if (is_next_filter)
        findings.missing.push_back(each.filter);
      continue;
    }
    findings.filters += is_next_filter;
    ++findings.cases;
    golden::HostedFilter subject(std::move(filter));
    if (golden::expected_digest(name) != golden::digest_of(steps_of(each), subject))
      findings.differing.push_back(name);
  }
  last_words::case_under_way = nullptr;
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  findings.seconds = time.count();
  return findings;
}

std::vector<std::string> level_names(std::span<const simd::Level> levels) {
  std::vector<std::string> names;
  for (const simd::Level level : levels)
    names.emplace_back(simd::level_name(level));
  return names;
}

/// A plug-in does not tell which level it chose; one's own chooses by the same source as this
/// program.
std::string describe_level(bool own_plugin) {
  const std::string best = fmt::format("{}, the best of {} that this processor has",
                                       simd::level_name(simd::active_level()),
                                       fmt::join(level_names(simd::all_levels), ", "));
  return own_plugin
             ? "instruction level: " + best
             : "instruction level: the plug-in's own choice (gxfilter's would be " + best + ")";
}

void print_findings(const Findings& findings, bool own_plugin) {
  for (const std::string& name : findings.missing)
    fmt::print("missing: {}\n", name);
  for (const std::string& name : findings.differing)
    fmt::print("differs: {}\n", name);
  fmt::print("{} cases of {} filters in {:.1f} s: {}\n", findings.cases, findings.filters,
             findings.seconds,
             findings.all_right()
                 ? "every bit as it must be"
                 : fmt::format("{} differ, {} filters are missing", findings.differing.size(),
                               findings.missing.size()));
  fmt::print("{}\n", describe_level(own_plugin));
}

Result<ExitStatus> test_plugin(const SelftestOptions& options) {
  const auto plugin = load_plugin(options.plugin);
  if (!plugin)
    return plugin.error();
  const auto names = names_of_filters(**plugin);
  if (!names)
    return names.error();
  const bool own_plugin = options.plugin.empty();
  const Findings findings = run_cases(**plugin, *names);
  if (options.json) {
    const nlohmann::ordered_json level(own_plugin ? simd::level_name(simd::active_level())
                                                  : nullptr);
    const nlohmann::ordered_json result{{"plugin", (*plugin)->path().string()},
                                        {"level", level},
                                        {"levels", level_names(simd::all_levels)},
                                        {"filters", findings.filters},
                                        {"cases", findings.cases},
                                        {"seconds", findings.seconds},
                                        {"missing", findings.missing},
                                        {"differing", findings.differing}};
    fmt::print("{}\n", json_text(result));
  } else {
    print_findings(findings, own_plugin);
  }
  return findings.all_right() ? ExitStatus::ok : ExitStatus::other;
}

} // namespace

Action add_selftest_options(CLI::App& command) {
  const auto options = std::make_shared<SelftestOptions>();
  add_plugin_option(command, options->plugin);
  command.add_flag("--json", options->json, "Print JSON");
  return [options] { return test_plugin(*options); };
}

} // namespace gxfilter
