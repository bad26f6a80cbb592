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

/// More pixels than any camera has are not tried: a trial needs memory for them.
constexpr double most_pixels = 1 << 26;

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

/// Null where it is open: nobody told it or, in filters that have it as their default, 0.
std::optional<double> told_side(const FilterRequest& request, const char* key) {
  const auto side = told_value(request, key);
  return side && *side > 0 ? side : std::nullopt;
}

bool has_one_side(const std::vector<FilterRequest>& requests) {
  return requests.size() == 1 && told_side(requests[0], width_key).has_value() !=
                                     told_side(requests[0], height_key).has_value();
}

/// Setups of one filter to ask it for, in which the values that were left open stand for the wanted
/// size or, without one, for the ratio.
std::vector<Setup> completed(const Setup& setup, FrameSize in, std::optional<FrameSize> wanted) {
  const FilterRequest& request = setup.requests.front();
  const auto ratio = told_value(request, ratio_key);
  const auto told_width = told_side(request, width_key);
  const auto told_height = told_side(request, height_key);
  const double scale = ratio                       ? *ratio
                       : told_width && told_height ? 1
                       : told_width                ? *told_width / in.width
                       : told_height               ? *told_height / in.height
                                                   : 1;
  const auto side = [&](const char* key, uint32_t FrameSize::*length) {
    const double scaled = in.*length * scale + 1e-4; // 0.7 is a little less in binary
    return told_side(request, key).value_or(wanted ? (*wanted).*length : std::floor(scaled));
  };
  const double width = side(width_key, &FrameSize::width);
  const double height = side(height_key, &FrameSize::height);
  // Sizes are whole, so that each of them tells the ratio to within a pixel.
  const std::array ratios{width / in.width, height / in.height, (width + 0.5) / in.width,
                          (height + 0.5) / in.height};
  const auto& schema = schema_of(request.name);
  const bool is_ratio_open = !ratio && find_parameter(schema, ratio_key) != nullptr;
  if (width * height > most_pixels)
    return {};
  // The last with the filter's own ratio: with margins, the sides may tell another one.
  std::vector<Setup> setups(is_ratio_open ? ratios.size() + 1 : 1, setup);
  for (size_t i = 0; i < setups.size(); ++i) {
    auto& values = setups[i].requests.front().values;
    values[width_key] = fmt::format("{:.0f}", width);
    values[height_key] = fmt::format("{:.0f}", height);
    if (is_ratio_open && i < ratios.size())
      values[ratio_key] = fmt::format("{}", static_cast<float>(ratios[i]));
  }
  return setups;
}

/// What the filters were told, `otherwise` for what they were not.
FrameSize told_size(const Setup& setup, FrameSize otherwise) {
  FrameSize size = otherwise;
  for (const FilterRequest& request : setup.requests) {
    size.width = static_cast<uint32_t>(
        std::clamp(told_side(request, width_key).value_or(size.width), 1.0, double{max_side}));
    size.height = static_cast<uint32_t>(
        std::clamp(told_side(request, height_key).value_or(size.height), 1.0, double{max_side}));
  }
  return size;
}

/// What can change a size, or whether a filter works at all: of the camera, what pixels mean.
bool has_same_sizes(const Setup& left, const Setup& right) {
  const auto meaning = [](const Setup& setup) {
    CameraFacts facts = setup.facts.facts();
    for (const char* lens : {"fx", "fy", "cx", "cy", "baseline", "depth_unit"})
      facts.erase(lens);
    return facts;
  };
  return Setup{left.requests, left.ranges, {}} == Setup{right.requests, right.ranges, {}} &&
         meaning(left) == meaning(right);
}

constexpr size_t most_answers = 16; // a stream asks two or three

template <class Map>
void remember(Map& answers, const typename Map::key_type& question,
              const typename Map::mapped_type& answer) {
  if (answers.size() >= most_answers)
    answers.clear();
  answers.insert_or_assign(question, answer);
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
         !(told_side(requests[0], width_key) && told_side(requests[0], height_key));
}

bool is_open_by_default(const std::string& filter, const std::string& parameter) {
  return may_resize({{filter, {}, {}}}) &&
         (parameter == width_key || parameter == height_key || parameter == ratio_key);
}

Result<Fitted> fit(const Setup& setup, FrameSize in, std::optional<FrameSize> wanted) {
  if (!may_resize(setup.requests)) {
    if (wanted && *wanted != in)
      return Error{fmt::format("frames of {}x{} keep their size; {}x{} are wanted", in.width,
                               in.height, wanted->width, wanted->height),
                   ErrorKind::request};
    return Fitted{setup, in};
  }
  for (const auto& [key, side] : {std::pair("frames that come in", in),
                                  std::pair("frames that are wanted", wanted.value_or(in)),
                                  std::pair("frames that are told", told_size(setup, in))})
    if (static_cast<double>(side.width) * side.height > most_pixels)
      return Error{fmt::format("{} have {}x{} pixels; sizes are tried up to {:.0f} pixels", key,
                               side.width, side.height, most_pixels),
                   ErrorKind::request};
  const auto is_wanted = [&](const Result<FrameSize>& out) {
    return out && (!wanted || *out == *wanted);
  };
  const auto try_completed = [&]() -> std::optional<Fitted> {
    for (Setup& candidate : completed(setup, in, wanted))
      if (const auto out = try_out(candidate, in); is_wanted(out))
        return Fitted{std::move(candidate), *out};
    return std::nullopt;
  };
  // A filter may leave a single side aside.
  const bool is_completed_first = has_one_side(setup.requests);
  if (is_completed_first)
    if (auto fitted = try_completed())
      return std::move(*fitted);
  const auto as_it_is = try_out(setup, in);
  if (is_wanted(as_it_is))
    return Fitted{setup, *as_it_is};
  if (setup.requests.size() == 1 && !is_completed_first)
    if (auto fitted = try_completed())
      return std::move(*fitted);
  if (!as_it_is)
    return as_it_is.error();
  return Error{fmt::format("{}: frames of {}x{} come out as {}x{}, not as {}x{}",
                           setup.requests[0].name, in.width, in.height, as_it_is->width,
                           as_it_is->height, wanted->width, wanted->height),
               ErrorKind::request};
}

std::optional<FrameSize> find_input(const Setup& setup, FrameSize out) {
  double ratio = 1;
  for (const FilterRequest& request : setup.requests)
    ratio *= told_value(request, ratio_key).value_or(1);
  if (!(ratio > 0) || (setup.requests.size() == 1 && told_size(setup, out) != out))
    return std::nullopt;
  std::vector<FrameSize> candidates;
  for (const int wider : {0, 1, -1})
    for (const int higher : {0, 1, -1}) {
      const double width = std::round(out.width / ratio) + wider;
      const double height = std::round(out.height / ratio) + higher;
      if (std::min(width, height) >= 1 && std::max(width, height) <= max_side)
        candidates.push_back({static_cast<uint32_t>(width), static_cast<uint32_t>(height)});
    }
  candidates.push_back(out);
  for (const FrameSize in : candidates)
    if (fit(setup, in, out))
      return in;
  return std::nullopt;
}

Order::Order(Setup setup, const Order* before)
    : setup_(std::move(setup)), may_resize_(depth_elements::may_resize(setup_.requests)),
      has_open_sizes_(depth_elements::has_open_sizes(setup_.requests)),
      answers_(before != nullptr && has_same_sizes(setup_, before->setup_)
                   ? before->answers_
                   : std::make_shared<Answers>()) {}

Result<Fitted> Order::fit(FrameSize in, std::optional<FrameSize> wanted) const {
  const FrameSize size = wanted.value_or(FrameSize{});
  const Question question{in.width, in.height, size.width, size.height};
  {
    const std::lock_guard lock(answers_->mutex);
    if (const auto known = answers_->of_fit.find(question); known != answers_->of_fit.end())
      return Fitted{{known->second.requests, setup_.ranges, setup_.facts}, known->second.out};
  }
  {
    const std::lock_guard lock(mutex_);
    if (const auto known = refusals_.find(question); known != refusals_.end())
      return known->second;
  }
  Result<Fitted> answer = depth_elements::fit(setup_, in, wanted);
  if (!answer) {
    const std::lock_guard lock(mutex_);
    remember(refusals_, question, answer.error());
    return answer;
  }
  const std::lock_guard lock(answers_->mutex);
  const Question next{in.width, in.height, answer->out.width, answer->out.height};
  for (const Question& asked : {question, next}) // whoever asked openly asks for this size then
    remember(answers_->of_fit, asked, Answer{answer->setup.requests, answer->out});
  return answer;
}

std::optional<FrameSize> Order::find_input(FrameSize out) const {
  const std::array question{out.width, out.height};
  {
    const std::lock_guard lock(answers_->mutex);
    if (const auto known = answers_->of_inputs.find(question); known != answers_->of_inputs.end())
      return known->second;
  }
  const auto in = depth_elements::find_input(setup_, out);
  const std::lock_guard lock(answers_->mutex);
  remember(answers_->of_inputs, question, in);
  return in;
}

} // namespace depth_elements
