#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plugin/base/i_priv_filter.h"

namespace filter_processor {

/// The registry: which filters the library offers, in which order, and which class stands behind
/// each name. The order is part of the plug-in's interface. Never changes once it is built.
class FilterFactory {
 public:
  FilterFactory();

  /// 14.
  int getFilterCount() const;

  /// "UnknownFilter" outside the list; the text lives as long as the registry.
  const char* getFilterName(int index) const;

  /// A new filter of the class named at `index`, holding its construction values; empty outside the
  /// list.
  std::shared_ptr<IPrivFilter> createFilter(int index) const;

 private:
  std::vector<std::string> names_;
};

/// The registry of the process, made on the first call and kept until the library is unloaded.
/// [thread-safe]
std::shared_ptr<FilterFactory> getFilterFactory();

} // namespace filter_processor
