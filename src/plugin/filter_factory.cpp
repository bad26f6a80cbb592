#include "plugin/filter_factory.h"

#include <iterator>
#include <mutex>

#include "filters/depth/DepthResize.h"
#include "filters/depth/DisparityTransform.h"
#include "filters/depth/HardwareD2DCorrectionFilter.h"
#include "filters/depth/OpenNIDisparityTransform.h"
#include "filters/noise/EdgeNoiseRemovalFilter.h"
#include "filters/noise/FalsePositiveFilter.h"
#include "filters/noise/LutNoiseRemovalFilter.h"
#include "filters/noise/MgcNoiseRemovalFilter.h"
#include "filters/noise/NoiseRemovalFilter.h"
#include "filters/smoothing/HoleFillingFilter.h"
#include "filters/smoothing/SpatialAdvancedFilter.h"
#include "filters/smoothing/SpatialFastFilter.h"
#include "filters/smoothing/SpatialModerateFilter.h"
#include "filters/smoothing/TemporalFilter.h"

namespace filter_processor {
namespace {

struct Entry {
  const char* name;
  std::shared_ptr<IPrivFilter> (*create)();
};

template <typename Filter>
constexpr Entry entry() {
  return {Filter::class_name,
          []() -> std::shared_ptr<IPrivFilter> { return std::make_shared<Filter>(); }};
}

/// By index, which hosts use.
constexpr Entry entries[] = {
    entry<DisparityTransform>(),          // 0
    entry<HoleFillingFilter>(),           // 1
    entry<NoiseRemovalFilter>(),          // 2
    entry<SpatialAdvancedFilter>(),       // 3
    entry<TemporalFilter>(),              // 4
    entry<DepthResize>(),                 // 5
    entry<EdgeNoiseRemovalFilter>(),      // 6
    entry<HardwareD2DCorrectionFilter>(), // 7
    entry<OpenNIDisparityTransform>(),    // 8
    entry<SpatialFastFilter>(),           // 9
    entry<SpatialModerateFilter>(),       // 10
    entry<FalsePositiveFilter>(),         // 11
    entry<LutNoiseRemovalFilter>(),       // 12
    entry<MgcNoiseRemovalFilter>(),       // 13
};

std::mutex registry_mutex;
std::shared_ptr<FilterFactory> registry;

} // namespace

FilterFactory::FilterFactory() {
  names_.reserve(std::size(entries));
  for (const Entry& each : entries)
    names_.emplace_back(each.name);
}

int FilterFactory::getFilterCount() const {
  return static_cast<int>(names_.size());
}

const char* FilterFactory::getFilterName(int index) const {
  const auto position = static_cast<size_t>(index); // negative: above every size
  return position < names_.size() ? names_[position].c_str() : "UnknownFilter";
}

std::shared_ptr<IPrivFilter> FilterFactory::createFilter(int index) const {
  const auto position = static_cast<size_t>(index); // negative: above every size
  if (position >= names_.size())
    return nullptr;
  return entries[position].create();
}

std::shared_ptr<FilterFactory> getFilterFactory() {
  const std::lock_guard guard(registry_mutex);
  if (registry == nullptr)
    registry = std::make_shared<FilterFactory>();
  return registry;
}

} // namespace filter_processor
