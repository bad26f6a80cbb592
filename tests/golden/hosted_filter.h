#pragma once

#include "golden/plan.h"

namespace golden {

/// A filter of a plug-in, driven by the host.
class HostedFilter final : public Subject {
 public:
  explicit HostedFilter(gexton::Filter filter) : filter_(std::move(filter)) {}

  std::string update(const Values& values) override;
  std::string set_record(const Record& record) override;
  void reset() override { filter_.reset(); }
  Outcome process(const Step& step) override;

 private:
  gexton::Filter filter_;
};

} // namespace golden
