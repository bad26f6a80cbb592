#include <algorithm>
#include <map>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "conformance/our_filters.h"
#include "conformance/run.h"
#include "gxfilter/commands.h"
#include "gxfilter/plugin_option.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

namespace {

using namespace conformance;

struct ValidateOptions {
  std::filesystem::path plugin; // empty: the one that belongs to this program
  std::string filter;           // empty: all
  bool verbose = false;
  bool json = false;
  uint32_t time_limit = 60; // seconds for a single item
};

/// A known difference of a filter and how often it showed. One that did not show at all is told
/// too: somebody may have "corrected" what hosts rely on.
struct DifferenceReport {
  const KnownDifference* difference;
  std::string example; // the first sentence
  size_t count = 0;
};

struct FilterReport {
  std::string name; // empty: the plug-in as a whole
  std::vector<Finding> findings;
  std::vector<DifferenceReport> differences;

  size_t count(Outcome outcome) const {
    return static_cast<size_t>(std::ranges::count(findings, outcome, &Finding::outcome));
  }
  size_t differences_shown() const {
    return static_cast<size_t>(std::ranges::count_if(
        differences, [](const DifferenceReport& report) { return report.count > 0; }));
  }
  size_t differences_gone() const { return differences.size() - differences_shown(); }
};

FilterReport make_report(const std::string& name, std::vector<Finding> findings) {
  FilterReport report{name, std::move(findings), {}};
  const auto table = known_differences();
  for (size_t i = 0; i < table.size(); ++i) {
    if (name != table[i].filter)
      continue;
    DifferenceReport difference{&table[i], "", 0};
    for (const Finding& finding : report.findings)
      if (finding.difference == static_cast<int>(i) && difference.count++ == 0)
        difference.example = finding.sentence;
    report.differences.push_back(std::move(difference));
  }
  return report;
}

std::string plural(size_t count, const char* noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

// ---- plain words ----

const char* title(Outcome outcome) {
  switch (outcome) {
  case Outcome::passed:
    return "passed";
  case Outcome::failed:
    return "FAILED";
  case Outcome::known:
    return "known";
  case Outcome::skipped:
    return "skipped";
  }
  return "";
}

void print_differences(const FilterReport& report) {
  for (const auto& [difference, example, count] : report.differences) {
    if (count == 0) {
      fmt::print("  {:<7}  {}: a known difference did not show: {}\n", "GONE", difference->check,
                 difference->why);
    } else {
      fmt::print("  {:<7}  {}: {}{}; {}\n", title(Outcome::known), difference->check, example,
                 count > 1 ? fmt::format(" ({} such)", count) : "", difference->why);
    }
  }
}

void print_filter(const FilterReport& report, bool verbose) {
  std::string line = plural(report.findings.size(), "check");
  const auto mention = [&line](size_t count, const std::string& text) {
    if (count != 0)
      line += ", " + text;
  };
  mention(report.count(Outcome::failed), fmt::format("{} FAILED", report.count(Outcome::failed)));
  mention(report.differences_shown(), plural(report.differences_shown(), "known difference"));
  mention(report.differences_gone(),
          plural(report.differences_gone(), "known difference") + " gone");
  mention(report.count(Outcome::skipped),
          fmt::format("{} skipped", report.count(Outcome::skipped)));
  fmt::print("{}: {}\n", report.name.empty() ? "the plug-in" : report.name, line);
  for (const Finding& finding : report.findings)
    if (verbose || finding.outcome == Outcome::failed)
      fmt::print("  {:<7}  {}: {}\n", title(finding.outcome), finding.check, finding.sentence);
  print_differences(report);
}

struct Totals {
  size_t filters = 0;
  size_t checks = 0;
  size_t failed = 0;
  size_t known = 0;
  size_t gone = 0;
  size_t skipped = 0;

  explicit Totals(const std::vector<FilterReport>& reports) {
    for (const FilterReport& report : reports) {
      filters += report.name.empty() ? 0U : 1U;
      checks += report.findings.size();
      failed += report.count(Outcome::failed);
      known += report.differences_shown();
      gone += report.differences_gone();
      skipped += report.count(Outcome::skipped);
    }
  }
};

void print_summary(const Totals& totals) {
  fmt::print("{}, {}: {} failed, {}", plural(totals.filters, "filter"),
             plural(totals.checks, "check"), totals.failed,
             plural(totals.known, "known difference"));
  if (totals.gone != 0)
    fmt::print(", {} gone", plural(totals.gone, "known difference"));
  fmt::print("{}\n", totals.skipped != 0 ? fmt::format(", {} skipped", totals.skipped) : "");
}

// ---- JSON ----

void print_json(const Plugin& plugin, const Listing& listing,
                const std::vector<FilterReport>& reports) {
  using Json = nlohmann::ordered_json;
  Json filters = Json::array();
  for (const FilterReport& report : reports) {
    Json checks = Json::array();
    for (const Finding& finding : report.findings) {
      std::string outcome = title(finding.outcome);
      std::ranges::transform(outcome, outcome.begin(),
                             [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      Json check{{"check", finding.check}, {"outcome", outcome}, {"text", finding.sentence}};
      if (finding.outcome == Outcome::known)
        check["why"] = known_differences()[static_cast<size_t>(finding.difference)].why;
      checks.push_back(std::move(check));
    }
    Json gone = Json::array();
    for (const DifferenceReport& difference : report.differences)
      if (difference.count == 0)
        gone.push_back(difference.difference->why);
    filters.push_back({{"filter", report.name.empty() ? Json(nullptr) : Json(report.name)},
                       {"checks", std::move(checks)},
                       {"known_differences_gone", std::move(gone)}});
  }
  const Totals totals(reports);
  const Json result{{"plugin", plugin.path().string()},
                    {"commit", listing.commit},
                    {"filters", std::move(filters)},
                    {"summary",
                     {{"filters", totals.filters},
                      {"checks", totals.checks},
                      {"failed", totals.failed},
                      {"known_differences", totals.known},
                      {"known_differences_gone", totals.gone},
                      {"skipped", totals.skipped}}}};
  fmt::print("{}\n", result.dump(2, ' ', false, Json::error_handler_t::replace));
}

// ---- the run ----

Checks filter_checks() {
  Checks all;
  for (const Checks& some :
       {contract_checks(), parameter_checks(), frame_checks(), failure_checks()})
    all.insert(all.end(), some.begin(), some.end());
  return all;
}

Result<ExitStatus> validate_plugin(const ValidateOptions& options) {
  const auto plugin = load_plugin(options.plugin);
  if (!plugin)
    return plugin.error();
  const std::chrono::seconds time_limit(options.time_limit);
  const Listing listing = conformance::list_filters(**plugin, time_limit);
  if (!listing.problem.empty()) {
    return Error{fmt::format("{}: asked for its filters, the plug-in {}",
                             (*plugin)->path().string(), listing.problem),
                 ErrorKind::contract};
  }
  if (!options.filter.empty() &&
      std::ranges::find(listing.filters, options.filter) == listing.filters.end())
    return unknown_filter(options.filter, listing.filters);
  std::vector<FilterReport> reports;
  const auto add = [&](const Subject& subject, const Checks& checks) {
    reports.push_back(make_report(subject.filter, run_apart(subject, checks, time_limit)));
    if (!options.json)
      print_filter(reports.back(), options.verbose);
  };
  add({*plugin, 0, ""}, registry_checks());
  for (size_t i = 0; i < listing.filters.size(); ++i)
    if (options.filter.empty() || options.filter == listing.filters[i])
      add({*plugin, i, listing.filters[i]}, filter_checks());
  if (options.json)
    print_json(**plugin, listing, reports);
  else
    print_summary(Totals(reports));
  return Totals(reports).failed == 0 ? ExitStatus::ok : ExitStatus::nonconforming;
}

} // namespace

Action add_validate_options(CLI::App& command) {
  const auto options = std::make_shared<ValidateOptions>();
  add_plugin_option(command, options->plugin);
  command.add_option("--filter", options->filter, "Check this filter alone")->type_name("NAME");
  command.add_flag("--verbose", options->verbose, "Tell every check, not just those that failed");
  command.add_flag("--json", options->json, "Print JSON");
  command
      .add_option("--time-limit", options->time_limit,
                  "Seconds after which a single check counts as hung")
      ->capture_default_str()
      ->check(CLI::Range(1U, 86'400U));
  return [options] { return validate_plugin(*options); };
}

} // namespace gxfilter
