// Checks of the plug-in as a whole.
#include <cstdint>
#include <limits>
#include <set>

#include <fmt/format.h>

#include "conformance/checks.h"
#include "conformance/probes.h"

namespace conformance {
namespace {

void check_commit(const Subject& subject, Findings& findings) {
  findings.doing("the commit text");
  const char* commit = subject.functions().get_commit_hash();
  findings.expect(commit != nullptr && *commit != '\0', "some text",
                  commit == nullptr ? "null" : "an empty text");
  findings.doing("the commit text a second time");
  findings.expect(subject.functions().get_commit_hash() == commit, "the same pointer",
                  "another pointer");
}

void check_count(const Subject& subject, Findings& findings) {
  MarkedSlot slot;
  findings.doing("the number of filters");
  const uint64_t count = subject.functions().get_filter_count(slot.receive());
  findings.expect(count > 0, "at least one", "0");
  findings.doing("the number of filters a second time");
  findings.expect(std::to_string(count),
                  std::to_string(subject.functions().get_filter_count(nullptr)));
  findings.doing("the error slot of the number of filters");
  findings.expect("untouched", slot.state());
}

void check_names(const Subject& subject, Findings& findings) {
  const auto& functions = subject.functions();
  const auto count = static_cast<int32_t>(functions.get_filter_count(nullptr));
  MarkedSlot slot;
  std::set<std::string> seen;
  for (int32_t index = 0; index < count; ++index) {
    findings.doing(fmt::format("the name of filter {}", index));
    const char* name = functions.get_filter_name(index, slot.receive());
    if (name == nullptr) {
      findings.fail("null, expected a text");
      continue;
    }
    findings.expect(*name != '\0' && seen.insert(name).second, "a name of its own",
                    *name == '\0' ? "an empty text" : fmt::format("{} once more", name));
    findings.doing(fmt::format("the name of filter {} a second time", index));
    findings.expect(functions.get_filter_name(index, nullptr) == name, "the same pointer",
                    "another pointer");
  }
  for (const int32_t index :
       {count, -1, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()}) {
    findings.doing(fmt::format("the name of filter {}, outside the list", index));
    const char* name = functions.get_filter_name(index, slot.receive());
    findings.expect("UnknownFilter", name != nullptr ? name : "null");
  }
  findings.doing("the error slot of the names");
  findings.expect("untouched", slot.state());
}

void check_indices(const Subject& subject, Findings& findings) {
  const auto& functions = subject.functions();
  const uint64_t count = functions.get_filter_count(nullptr);
  MarkedSlot slot;
  // The second one is an index of the list once it is cut to 32 bits.
  for (const uint64_t index : {count, uint64_t{1} << 32, std::numeric_limits<uint64_t>::max()}) {
    findings.doing(fmt::format("creating filter {}, outside the list", index));
    gx_priv_filter_context* context = functions.create_filter(index, slot.receive());
    findings.expect(context == nullptr, "null", "a filter");
    functions.context_destroy(context);
  }
  findings.doing("the error slot of the creations");
  findings.expect("untouched", slot.state());
}

} // namespace

Checks registry_checks() {
  return {{"commit", check_commit},
          {"number of filters", check_count},
          {"names", check_names},
          {"indices", check_indices}};
}

} // namespace conformance
