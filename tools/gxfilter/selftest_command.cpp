#include <algorithm>
#include <chrono>
#include <set>
#include <stdexcept>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "conformance/child_process.h"
#include "golden/hosted_filter.h"
#include "golden/table.h"
#include "gxfilter/commands.h"
#include "gxfilter/instruction_levels.h"
#include "gxfilter/plugin_option.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

namespace {

struct SelftestOptions {
  std::filesystem::path plugin; ///< empty: the one that belongs to this program
  bool json = false;
  bool child = false; ///< of a selftest that was started before
};

/// What the cases of a plug-in came to.
struct Findings {
  size_t cases = 0;                   ///< that were looked at
  std::set<std::string> filters;      ///< theirs
  std::set<std::string> missing;      ///< filters that the plug-in lacks, or can't make
  std::vector<std::string> differing; ///< cases
  std::string early_end;              ///< the case in which the plug-in gave up, and how; else ""
  double seconds = 0;

  bool all_right() const { return missing.empty() && differing.empty() && early_end.empty(); }
};

/// A new filter; empty where there is none of that name.
gexton::Filter make_filter(const Plugin& plugin, const std::vector<std::string>& names,
                           const std::string& name) {
  const auto index = static_cast<uint64_t>(std::ranges::find(names, name) - names.begin());
  return gexton::Filter(index < names.size() ? plugin.functions().create_filter(index, nullptr)
                                             : nullptr);
}

// A plug-in may take its process along: the cases run in a child, which tells of each "tries" and
// then how it went, with the filter and the setting behind.
constexpr std::string_view tries = "tries";
constexpr std::string_view agrees = "agrees";
constexpr std::string_view differs = "differs";
constexpr std::string_view lacks = "lacks";

void tell_cases(const Plugin& plugin, const conformance::LineReceiver& tell) {
  const auto names = names_of_filters(plugin);
  if (!names)
    throw std::runtime_error(names.error().message);
  const auto outcome_of = [&](const golden::Case& each) {
    gexton::Filter filter = make_filter(plugin, *names, each.filter);
    if (!filter)
      return lacks;
    golden::HostedFilter subject(std::move(filter));
    const uint64_t digest = golden::digest_of(steps_of(each), subject);
    return golden::expected_digest(each.name()) == digest ? agrees : differs;
  };
  for (const golden::Case& each : golden::all_cases()) {
    tell(fmt::format("{} {}", tries, each.name()));
    tell(fmt::format("{} {}", outcome_of(each), each.name()));
  }
}

/// Adds up what the child tells.
class Listener {
 public:
  void hear(const std::string& line) {
    const size_t word_end = line.find(' ');
    const std::string word = line.substr(0, word_end);
    case_ = line.substr(word_end + 1);
    const std::string filter = case_.substr(0, case_.find(' '));
    if (word == tries)
      return;
    (word == lacks ? findings_.missing : findings_.filters).insert(filter);
    if (word == differs)
      findings_.differing.push_back(case_);
    findings_.cases += word != lacks;
  }

  Findings findings(const conformance::ChildEnd& end) const {
    Findings findings = findings_;
    if (!end.complete)
      findings.early_end = case_ + ": " + end.description;
    return findings;
  }

 private:
  Findings findings_;
  std::string case_ = "asked for its filters"; ///< or what was heard of last
};

Findings run_cases(const Plugin& plugin) {
  constexpr std::chrono::seconds patience(60); // for a case, which takes milliseconds
  const auto start = std::chrono::steady_clock::now();
  Listener listener;
  const auto end = conformance::run_in_child(
      {.run = [&plugin](const auto& tell) { tell_cases(plugin, tell); },
       .command = "selftest",
       .request = plugin.path().string()},
      [&listener](const std::string& line) { listener.hear(line); }, patience);
  Findings findings = listener.findings(end);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  findings.seconds = time.count();
  return findings;
}

/// What a child does that is a program of its own.
void tell_parent() {
  conformance::run_as_child([](const std::string& path, const conformance::LineReceiver& tell) {
    const auto plugin = Plugin::load(path);
    if (!plugin)
      throw std::runtime_error(plugin.error().message);
    tell_cases(**plugin, tell);
  });
}

/// A plug-in does not tell which level it chose; one's own chooses by the same source as this
/// program.
std::string describe_level(bool own_plugin) {
  const std::string best = fmt::format("{}, the best of {} that this processor has", chosen_level(),
                                       fmt::join(all_levels(), ", "));
  return own_plugin
             ? "instruction level: " + best
             : "instruction level: the plug-in's own choice (gxfilter's would be " + best + ")";
}

void print_findings(const Findings& findings, bool own_plugin) {
  for (const std::string& name : findings.missing)
    fmt::print("missing: {}\n", name);
  for (const std::string& name : findings.differing)
    fmt::print("differs: {}\n", name);
  if (!findings.early_end.empty())
    fmt::print("ended early: {}\n", findings.early_end);
  fmt::print("{} cases of {} filters in {:.1f} s: {}{}\n", findings.cases, findings.filters.size(),
             findings.seconds,
             findings.all_right() ? "every bit as it must be"
                                  : fmt::format("{} differ, {} filters are missing",
                                                findings.differing.size(), findings.missing.size()),
             findings.early_end.empty() ? "" : "; what the others do is not known");
  fmt::print("{}\n", describe_level(own_plugin));
}

Result<ExitStatus> test_plugin(const SelftestOptions& options) {
  if (options.child)
    tell_parent();
  const auto plugin = load_plugin(options.plugin);
  if (!plugin)
    return plugin.error();
  const bool own_plugin = options.plugin.empty();
  const Findings findings = run_cases(**plugin);
  if (options.json) {
    const auto level = own_plugin ? nlohmann::ordered_json(chosen_level()) : nullptr;
    const nlohmann::ordered_json result{{"plugin", (*plugin)->path().string()},
                                        {"level", level},
                                        {"levels", all_levels()},
                                        {"filters", findings.filters.size()},
                                        {"cases", findings.cases},
                                        {"seconds", findings.seconds},
                                        {"missing", findings.missing},
                                        {"differing", findings.differing},
                                        {"early_end", findings.early_end}};
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
  add_child_option(command, options->child);
  return [options] { return test_plugin(*options); };
}

} // namespace gxfilter
