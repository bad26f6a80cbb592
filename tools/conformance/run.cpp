#include "conformance/run.h"

#include <stdexcept>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "conformance/child_process.h"
#include "gexton_host.h"

namespace conformance {

using namespace hosting;

namespace {

using Json = nlohmann::json;

constexpr const char* own_command = "validate"; // whose children call serve_parent

/// One line, whatever bytes the plug-in's texts hold.
std::string to_line(const Json& json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

void tell_list(const Plugin& plugin, const LineReceiver& tell) {
  const auto names = plugin.filter_names();
  tell(names ? to_line({{"commit", plugin.commit()}, {"filters", *names}})
             : to_line({{"problem", names.error().message}}));
}

void tell_findings(const Subject& subject, const Checks& checks, size_t first,
                   const LineReceiver& tell) {
  gexton_guard_buffers(true);
  const Findings::Listener listener{[&tell](const std::string& doing) {
                                      tell(to_line({{"doing", doing}}));
                                    },
                                    [&tell](const Finding& finding) {
                                      tell(to_line({{"outcome", finding.outcome},
                                                    {"sentence", finding.sentence},
                                                    {"difference", finding.difference}}));
                                    }};
  Findings findings(subject.filter, listener);
  for (size_t i = first; i < checks.size(); ++i) {
    tell(to_line({{"check", i}}));
    run_check(subject, checks[i], findings);
  }
}

/// One child: it runs checks from `first` on, and this keeps what it tells.
class ChildRun {
 public:
  ChildRun(const Subject& subject, Scope scope, const Checks& checks, size_t first)
      : subject_(subject), scope_(scope), checks_(checks), first_(first), index_(first) {}

  ChildEnd run(std::vector<Finding>& findings, std::chrono::seconds time_limit) {
    const Json request{{"plugin", subject_.plugin->path().string()},
                       {"scope", scope_},
                       {"index", subject_.index},
                       {"filter", subject_.filter},
                       {"first", first_}};
    const auto work = [this](const LineReceiver& tell) {
      tell_findings(subject_, checks_, first_, tell);
    };
    return run_in_child(
        {work, own_command, to_line(request)},
        [&](const std::string& line) { receive(line, findings); }, time_limit);
  }

  /// Of the check that was begun last.
  size_t index() const { return index_; }
  const std::string& doing() const { return doing_; }

 private:
  void receive(const std::string& line, std::vector<Finding>& findings) {
    const Json told = Json::parse(line);
    if (told.contains("check")) {
      index_ = told["check"];
    } else if (told.contains("doing")) {
      doing_ = told["doing"];
    } else {
      findings.push_back({checks_[index_].name, told["outcome"].get<Outcome>(), told["sentence"],
                          told["difference"]});
    }
  }

  const Subject& subject_;
  Scope scope_;
  const Checks& checks_;
  size_t first_;
  size_t index_;
  std::string doing_ = "beginning";
};

} // namespace

Listing list_filters(const Plugin& plugin, std::chrono::seconds time_limit) {
  Listing listing;
  const ChildEnd end = run_in_child(
      {[&plugin](const LineReceiver& tell) { tell_list(plugin, tell); }, own_command,
       to_line({{"plugin", plugin.path().string()}})},
      [&listing](const std::string& line) {
        const Json told = Json::parse(line);
        if (told.contains("problem")) {
          listing.problem = told["problem"];
          return;
        }
        listing.commit = told["commit"];
        listing.filters = told["filters"].get<std::vector<std::string>>();
      },
      time_limit);
  if (!end.complete)
    listing.problem = end.description;
  return listing;
}

std::vector<Finding> run_apart(const Subject& subject, Scope scope,
                               std::chrono::seconds time_limit) {
  const Checks checks = checks_of(scope);
  std::vector<Finding> findings;
  for (size_t first = 0; first < checks.size();) {
    ChildRun child(subject, scope, checks, first);
    const ChildEnd end = child.run(findings, time_limit);
    if (end.complete)
      break;
    findings.push_back({checks[child.index()].name, Outcome::failed,
                        fmt::format("{}: {}", child.doing(), end.description), -1});
    first = child.index() + 1;
    for (; end.timed_out && first < checks.size(); ++first)
      findings.push_back({checks[first].name, Outcome::skipped, "after the one that hung", -1});
  }
  return findings;
}

void serve_parent() {
  run_as_child([](const std::string& line, const LineReceiver& tell) {
    const Json request = Json::parse(line);
    const auto plugin = Plugin::load(request["plugin"].get<std::string>());
    if (!plugin)
      throw std::runtime_error(plugin.error().message);
    if (!request.contains("scope")) {
      tell_list(**plugin, tell);
      return;
    }
    tell_findings({*plugin, request["index"], request["filter"]},
                  checks_of(request["scope"].get<Scope>()), request["first"], tell);
  });
}

} // namespace conformance
