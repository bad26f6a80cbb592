#include "conformance/reports.h"

#include <algorithm>

namespace conformance {
Checks checks_of(Scope scope) {
  if (scope == Scope::plugin)
    return registry_checks();
  Checks all;
  for (const Checks& some :
       {contract_checks(), parameter_checks(), frame_checks(), failure_checks()})
    all.insert(all.end(), some.begin(), some.end());
  return all;
}

namespace {

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

} // namespace

size_t FilterReport::count(Outcome outcome) const {
  return static_cast<size_t>(std::ranges::count(findings, outcome, &Finding::outcome));
}

size_t FilterReport::differences_shown() const {
  return static_cast<size_t>(std::ranges::count_if(
      differences, [](const DifferenceReport& report) { return report.count > 0; }));
}

Totals::Totals(const std::vector<FilterReport>& reports) {
  for (const FilterReport& report : reports) {
    filters += report.name.empty() ? 0U : 1U;
    checks += report.findings.size();
    failed += report.count(Outcome::failed);
    known += report.differences_shown();
    gone += report.differences_gone();
    skipped += report.count(Outcome::skipped);
  }
}

FilterReport check_plugin(const Subject& subject, std::chrono::seconds time_limit) {
  return make_report(subject.filter, run_apart(subject, Scope::plugin, time_limit));
}

FilterReport check_filter(const Subject& subject, std::chrono::seconds time_limit) {
  return make_report(subject.filter, run_apart(subject, Scope::filter, time_limit));
}

} // namespace conformance
