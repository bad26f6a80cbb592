#include "conformance/checks.h"

#include "conformance/probes.h"

namespace conformance {

using namespace hosting;

Filter Subject::make_filter() const {
  auto result = Filter::create(plugin, filter);
  if (!result)
    throw Unable(result.error().message);
  return std::move(*result);
}

void run_check(const Subject& subject, const Check& check, Findings& findings) {
  findings.begin_check(check.name);
  const gexton::LiveHandles before;
  try {
    check.run(subject, findings);
  } catch (const Inapplicable& reason) {
    findings.skip(reason.what());
  } catch (const Unable& unable) {
    findings.fail(unable.what());
  }
  findings.doing("after this check");
  findings.expect(nothing_left, left_over_since(before));
}

} // namespace conformance
