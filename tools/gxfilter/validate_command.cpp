#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "conformance/reports.h"
#include "conformance/run.h"
#include "gxfilter/command_line.h"
#include "gxfilter/plugin_option.h"

namespace gxfilter {

using namespace conformance;
using namespace hosting;
using namespace recordings;

namespace {

struct ValidateOptions {
  std::filesystem::path plugin; ///< empty: the one that belongs to this program
  std::string filter;           ///< empty: all
  bool verbose = false;
  bool json = false;
  bool child = false;       ///< started by another one, for a part of its work
  uint32_t time_limit = 60; ///< seconds for a single item
};

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

Result<ExitStatus> validate_plugin(const ValidateOptions& options) {
  if (options.child)
    serve_parent();
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
  const auto add = [&](FilterReport report) {
    reports.push_back(std::move(report));
    if (!options.json)
      print_filter(reports.back(), options.verbose);
  };
  add(check_plugin({*plugin, 0, ""}, time_limit));
  for (size_t i = 0; i < listing.filters.size(); ++i)
    if (options.filter.empty() || options.filter == listing.filters[i])
      add(check_filter({*plugin, i, listing.filters[i]}, time_limit));
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
  command.add_option("--filter", options->filter, "Check this filter alone")
      ->type_name(value_kind::filter);
  command.add_flag("--verbose", options->verbose, "Tell every check, not just those that failed");
  command.add_flag("--json", options->json, "Print JSON");
  command
      .add_option("--time-limit", options->time_limit,
                  "Seconds after which a single check counts as hung")
      ->capture_default_str()
      ->check(CLI::Range(1U, 86'400U));
  add_child_option(command, options->child);
  return [options] { return validate_plugin(*options); };
}

} // namespace gxfilter
