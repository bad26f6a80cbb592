// bench_report RESULTS.json
// Writes the benchmarks' results as Markdown tables. Every time stands beside its ratio to the
// memcpy of the same run and size.

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "configurations.h"
#include "simd/level_list.h"

namespace {

using bench::Size;

/// Median times in nanoseconds by benchmark name.
using Times = std::map<std::string, double>;

using filter_processor::simd::level_names;
constexpr const char* nothing = "–";

Times read_times(const nlohmann::json& results) {
  Times times;
  for (const auto& each : results.at("benchmarks")) {
    const bool measured = !each.value("error_occurred", false) && each.contains("real_time");
    const bool median = each.value("aggregate_name", std::string("median")) == "median";
    if (!measured || !median)
      continue;
    // Names end with "/manual_time" where the benchmark takes the time itself.
    std::string name = each.at("run_name");
    name = name.substr(0, name.find("/manual_time"));
    const std::string unit = each.at("time_unit");
    const double factor = unit == "ns" ? 1 : unit == "us" ? 1e3 : unit == "ms" ? 1e6 : 1e9;
    times.insert_or_assign(name, each.at("real_time").get<double>() * factor);
  }
  return times;
}

/// With three significant digits.
std::string number(double value) {
  char digits[32];
  const int decimals = value < 0.1 ? 4 : value < 1 ? 3 : value < 10 ? 2 : value < 100 ? 1 : 0;
  std::snprintf(digits, sizeof digits, "%.*f", decimals, value);
  return digits;
}

class Tables {
 public:
  Tables(Times times, Size size)
      : times_(std::move(times)), size_(bench::text(size)), dimensions_(size) {}

  /// False where this run has no memcpy of the size to compare with.
  bool write() {
    if (!time("memcpy"))
      return false;
    std::cout << "\n### " << size_ << "\n\nM = " << number(*time("memcpy") / 1e3) << " µs.\n";
    write_filters();
    write_kernels();
    write_others();
    return true;
  }

 private:
  std::optional<double> time(const std::string& name, const std::string& level = "") const {
    const auto found = times_.find(name + "/" + size_ + (level.empty() ? "" : "/" + level));
    return found == times_.end() ? std::nullopt : std::optional(found->second);
  }

  /// The ratio of two times, "–" if one was not measured.
  static std::string ratio(std::optional<double> a, std::optional<double> b) {
    return a && b ? number(*a / *b) : nothing;
  }

  /// "ms at each level | ratio to M at each level"
  std::string columns_by_level(const std::string& name) const {
    std::string cells;
    for (const char* level : level_names) {
      const auto ns = time(name, level);
      cells += " | " + (ns ? number(*ns / 1e6) : nothing);
    }
    for (const char* level : level_names)
      cells += " | " + ratio(time(name, level), time("memcpy"));
    return cells;
  }

  /// At the highest level that was measured.
  std::optional<double> best(const std::string& name) const {
    std::optional<double> found;
    for (const char* level : level_names)
      if (const auto ns = time(name, level))
        found = ns;
    return found;
  }

  /// The head of a table with `more` columns after those of all levels.
  static std::string table_head(const std::string& what, const std::vector<std::string>& more) {
    std::string head = "\n| " + what;
    for (const char* level : level_names)
      head += std::string(" | ") + level + " ms";
    for (const char* level : level_names)
      head += std::string(" | ") + level + " ÷ M";
    for (const std::string& column : more)
      head += " | " + column;
    head += " |\n|---";
    for (size_t i = 0; i < 2 * std::size(level_names) + more.size(); ++i)
      head += "|--:";
    return head + "|\n";
  }

  void write_filters() {
    std::cout << table_head("whole call", {"target ÷ M", "naive ÷ filter", "OpenCV ÷ filter"});
    for (const auto& each : bench::configurations()) {
      const std::string name = "filters/" + each.name();
      if (!best(name))
        continue;
      std::cout << "| " << each.name() << columns_by_level(name) << " | " << target(each) << " | "
                << ratio(time("naive/" + each.naive), best(name)) << " | " << peer(each) << " |\n";
    }
  }

  /// The target, and whether the highest level misses it.
  std::string target(const bench::Configuration& each) const {
    const double limit = each.targets.at(dimensions_);
    const auto ns = best("filters/" + each.name());
    if (limit == 0 || !ns)
      return nothing;
    const bool missed = *ns / *time("memcpy") > limit;
    return number(limit) + (missed ? " missed" : "");
  }

  std::string peer(const bench::Configuration& each) const {
    const auto ns = time("opencv/" + each.peer);
    if (!ns)
      return nothing;
    return ratio(ns, best("filters/" + each.name())) + " " + each.peer;
  }

  /// The middle parts of all names "<group>/<part>/<size>...".
  std::set<std::string> members(const std::string& group) const {
    std::set<std::string> found;
    for (const auto& [name, ns] : times_) {
      const auto end = name.find("/" + size_);
      if (name.starts_with(group + "/") && end != std::string::npos)
        found.insert(name.substr(group.size() + 1, end - group.size() - 1));
    }
    return found;
  }

  void write_kernels() {
    // What the first wider registers gain.
    const std::string lowest = level_names[0];
    const std::string next = level_names[std::size(level_names) > 1 ? 1 : 0];
    std::cout << table_head("kernel alone", {lowest + " ÷ " + next});
    for (const std::string& kernel : members("kernels")) {
      const std::string name = "kernels/" + kernel;
      std::cout << "| " << kernel << columns_by_level(name) << " | "
                << ratio(time(name, lowest), time(name, next)) << " |\n";
    }
  }

  void write_others() {
    std::cout << "\n| other | ms | ÷ M |\n|---|--:|--:|\n";
    for (const char* group : {"naive", "opencv"}) {
      for (const std::string& each : members(group)) {
        const auto ns = time(std::string(group) + "/" + each);
        std::cout << "| " << group << " " << each << " | " << number(*ns / 1e6) << " | "
                  << ratio(ns, time("memcpy")) << " |\n";
      }
    }
  }

  Times times_;
  std::string size_;
  Size dimensions_;
};

} // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::cerr << "usage: filter_processor_bench_report RESULTS.json\n";
    return 2;
  }
  std::ifstream file(argv[1]);
  const auto results = nlohmann::json::parse(file);
  const auto& context = results.at("context");
  std::cout << "Measured on " << context.value("date", "an unknown day").substr(0, 10) << ": "
            << context.value("processor", "unknown processor") << " at "
            << context.at("mhz_per_cpu") << " MHz, compiler "
            << context.value("compiler", "unknown") << ".\n";
  const Times times = read_times(results);
  bool any = false;
  for (const Size size : bench::sizes)
    any = Tables(times, size).write() || any;
  if (!any)
    std::cerr << "no memcpy in the results\n";
  return any ? 0 : 1;
} catch (const std::exception& error) {
  std::cerr << error.what() << "\n";
  return 1;
}
