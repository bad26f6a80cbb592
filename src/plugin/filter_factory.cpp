#include "plugin/filter_factory.h"

#include <iterator>
#include <mutex>

#include "filters/noise/FalsePositiveFilter.h"
#include "filters/smoothing/HoleFillingFilter.h"
#include "plugin/unbuilt_filter.h"

namespace filter_processor {
namespace {

struct Entry {
  const char* name;
  std::shared_ptr<IPrivFilter> (*create)(const char* name);
};

template <typename Filter>
constexpr Entry entry() {
  return {Filter::class_name,
          [](const char*) -> std::shared_ptr<IPrivFilter> { return std::make_shared<Filter>(); }};
}

constexpr Entry unbuilt(const char* name) {
  return {name, [](const char* class_name) -> std::shared_ptr<IPrivFilter> {
            return std::make_shared<UnbuiltFilter>(class_name);
          }};
}

constexpr Entry entries[] = {
    unbuilt("DisparityTransform"),       entry<HoleFillingFilter>(),
    unbuilt("NoiseRemovalFilter"),       unbuilt("SpatialAdvancedFilter"),
    unbuilt("TemporalFilter"),           unbuilt("DepthResize"),
    unbuilt("EdgeNoiseRemovalFilter"),   unbuilt("HardwareD2DCorrectionFilter"),
    unbuilt("OpenNIDisparityTransform"), unbuilt("SpatialFastFilter"),
    unbuilt("SpatialModerateFilter"),    entry<FalsePositiveFilter>(),
    unbuilt("LutNoiseRemovalFilter"),    unbuilt("MgcNoiseRemovalFilter"),
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

// A negative index, widened with its sign, lies above every size.

const char* FilterFactory::getFilterName(int index) const {
  const auto position = static_cast<std::size_t>(index);
  return position < names_.size() ? names_[position].c_str() : "UnknownFilter";
}

std::shared_ptr<IPrivFilter> FilterFactory::createFilter(int index) const {
  const auto position = static_cast<std::size_t>(index);
  if (position >= names_.size())
    return nullptr;
  return entries[position].create(entries[position].name);
}

std::shared_ptr<FilterFactory> getFilterFactory() {
  const std::lock_guard guard(registry_mutex);
  if (registry == nullptr)
    registry = std::make_shared<FilterFactory>();
  return registry;
}

} // namespace filter_processor
