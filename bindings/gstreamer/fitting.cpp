#include "fitting.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>

namespace depth_elements {

using namespace gxfilter;
using namespace recordings;

namespace {

/// All that elements know of what parameters mean, as caps have no other way into a filter: the
/// width and height of the frames that come out, and the ratio of both to those that come in.
/// Whether values go together, only the filter says.
constexpr const char* width_key = "dst_width";
constexpr const char* height_key = "dst_height";
constexpr const char* ratio_key = "scale";

/// Of a filter of the plug-in; empty for others.
const std::vector<gexton::Parameter>& schema_of(const std::string& name) {
  using Schemas = std::map<std::string, std::vector<gexton::Parameter>>;
  static const Schemas& schemas = *[] { // as long as the process
    auto* const all = new Schemas;
    const auto names = linked_plugin()->filter_names();
    for (size_t i = 0; names && i < names->size(); ++i)
      if (const auto filter = hosting::Filter::create(linked_plugin(), (*names)[i]))
        (*all)[(*names)[i]] = filter->schema();
    return all;
  }();
  static const std::vector<gexton::Parameter> none;
  const auto found = schemas.find(name);
  return found != schemas.end() ? found->second : none;
}

/// What comes out for a frame without data.
Result<FrameSize> try_out(const Setup& setup, FrameSize in) {
  const auto line = FilterLine::begin(setup, in);
  if (!line)
    return line.error();
  const std::vector<uint16_t> pixels(in.pixel_count());
  const auto frame = (*line)->process({in, pixels}, {});
  if (!frame)
    return frame.error();
  const auto view = look_at(**frame);
  if (!view)
    return view.error();
  return view->size;
}

std::optional<double> told_value(const FilterRequest& request, const std::string& key) {
  const auto given = request.values.find(key);
  return given != request.values.end() ? read_number(given->second, false) : std::nullopt;
}

/// Setups of one filter to ask it for, in which the values that were left open stand for the wanted
/// size or, without one, for the ratio.
std::vector<Setup> completed(const Setup& setup, FrameSize in, std::optional<FrameSize> wanted) {
  const FilterRequest& request = setup.requests.front();
  const auto ratio = told_value(request, ratio_key);
  const auto told_width = told_value(request, width_key);
  const auto told_height = told_value(request, height_key);
  const double scale = ratio                       ? *ratio
                       : told_width && told_height ? 1
                       : told_width                ? *told_width / in.width
                       : told_height               ? *told_height / in.height
                                                   : 1;
  const auto side = [&](const char* key, uint32_t FrameSize::*length) {
    const double scaled = in.*length * scale + 1e-4; // 0.7 is a little less in binary
    return told_value(request, key).value_or(wanted ? (*wanted).*length : std::floor(scaled));
  };
  const double width = side(width_key, &FrameSize::width);
  const double height = side(height_key, &FrameSize::height);
  // Sizes are whole, so that each of them tells the ratio to within a pixel.
  const std::array ratios{width / in.width, height / in.height, (width + 0.5) / in.width,
                          (height + 0.5) / in.height};
  const auto& schema = schema_of(request.name);
  const bool is_ratio_open = !ratio && find_parameter(schema, ratio_key) != nullptr;
  std::vector<Setup> setups(is_ratio_open ? ratios.size() : 1, setup);
  for (size_t i = 0; i < setups.size(); ++i) {
    auto& values = setups[i].requests.front().values;
    values.try_emplace(width_key, fmt::format("{:.0f}", width));
    values.try_emplace(height_key, fmt::format("{:.0f}", height));
    if (is_ratio_open)
      values[ratio_key] = fmt::format("{}", static_cast<float>(ratios[i]));
  }
  return setups;
}

} // namespace

bool may_resize(const std::vector<FilterRequest>& requests) {
  return std::ranges::any_of(requests, [](const FilterRequest& request) {
    const auto& schema = schema_of(request.name);
    return find_parameter(schema, width_key) != nullptr &&
           find_parameter(schema, height_key) != nullptr;
  });
}

bool has_open_sizes(const std::vector<FilterRequest>& requests) {
  return requests.size() == 1 && may_resize(requests) &&
         !(requests[0].values.contains(width_key) && requests[0].values.contains(height_key));
}

Result<Fitted> fit(const Setup& setup, FrameSize in, std::optional<FrameSize> wanted) {
  if (!may_resize(setup.requests)) {
    if (wanted && *wanted != in)
      return Error{fmt::format("frames of {}x{} keep their size; {}x{} are wanted", in.width,
                               in.height, wanted->width, wanted->height),
                   ErrorKind::request};
    return Fitted{setup, in};
  }
  const auto as_it_is = try_out(setup, in);
  if (as_it_is && (!wanted || *as_it_is == *wanted))
    return Fitted{setup, *as_it_is};
  if (setup.requests.size() == 1)
    for (Setup& candidate : completed(setup, in, wanted))
      if (const auto out = try_out(candidate, in); out && (!wanted || *out == *wanted))
        return Fitted{std::move(candidate), *out};
  if (!as_it_is)
    return as_it_is.error();
  return Error{fmt::format("{}: frames of {}x{} come out as {}x{}, not as {}x{}",
                           setup.requests[0].name, in.width, in.height, as_it_is->width,
                           as_it_is->height, wanted->width, wanted->height),
               ErrorKind::request};
}

Result<Fitted> Order::fit(FrameSize in, std::optional<FrameSize> wanted) const {
  constexpr size_t most_answers = 16; // a stream asks two or three
  const FrameSize size = wanted.value_or(FrameSize{});
  const Question question{in.width, in.height, size.width, size.height};
  {
    const std::lock_guard lock(mutex_);
    if (const auto known = answers_.find(question); known != answers_.end())
      return known->second;
  }
  Result<Fitted> answer = depth_elements::fit(setup_, in, wanted);
  const std::lock_guard lock(mutex_);
  if (answers_.size() >= most_answers)
    answers_.clear();
  answers_.emplace(question, answer);
  return answer;
}

} // namespace depth_elements
