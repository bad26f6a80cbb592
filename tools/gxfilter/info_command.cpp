#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/commands.h"
#include "gxfilter/input_options.h"

namespace gxfilter {

using namespace recordings;

namespace {

struct InfoOptions {
  InputOptions input;
  bool json = false;
};

/// How many frames are decoded to see their values: enough to tell a scene, few enough to wait for.
constexpr uint64_t looked_at_frames = 30;

/// What the frames themselves say.
struct Survey {
  uint64_t frames = 0;
  uint64_t looked_at = 0;
  std::optional<FrameSize> size; ///< of the first
  uint64_t other_sizes = 0;      ///< frames that have another
  uint16_t smallest = 65535;     ///< of the pixels other than 0
  uint16_t largest = 0;          ///< 0 without such pixels
  double valid_share = 0;        ///< of all pixels that were looked at
  std::vector<std::string> unreadable;
  std::optional<int64_t> first_time_ns;
  std::optional<int64_t> last_time_ns;
};

void look(const Image& image, Survey& survey) {
  uint64_t valid = 0;
  for (const uint16_t pixel : image.pixels) {
    if (pixel == 0)
      continue;
    ++valid;
    survey.smallest = std::min(survey.smallest, pixel);
    survey.largest = std::max(survey.largest, pixel);
  }
  survey.valid_share += static_cast<double>(valid) / static_cast<double>(image.pixels.size());
  survey.size = survey.size.value_or(image.size);
  survey.other_sizes += image.size != *survey.size ? 1U : 0U;
  ++survey.looked_at;
}

Result<Survey> survey_frames(const Input& input) {
  FrameSource& source = *input.source;
  Survey survey;
  while (true) {
    const auto next = source.next();
    if (!next)
      return next.error();
    if (!*next)
      break;
    ++survey.frames;
    if (const auto& time = (*next)->info.time_ns) {
      survey.first_time_ns = survey.first_time_ns.value_or(*time);
      survey.last_time_ns = time;
    }
    if (survey.frames > looked_at_frames)
      continue;
    auto image = (*next)->decode();
    if (image) {
      input.decoder.apply(*image);
      look(*image, survey);
    } else
      survey.unreadable.push_back(image.error().message);
  }
  if (survey.looked_at > 0)
    survey.valid_share /= static_cast<double>(survey.looked_at);
  return survey;
}

/// Frames a second, null without time stamps that grow.
std::optional<double> rate_of(const Survey& survey) {
  if (!survey.first_time_ns || survey.frames < 2 || *survey.last_time_ns <= *survey.first_time_ns)
    return std::nullopt;
  const double seconds =
      (static_cast<double>(*survey.last_time_ns) - static_cast<double>(*survey.first_time_ns)) /
      1e9;
  return static_cast<double>(survey.frames - 1) / seconds;
}

std::vector<std::string> remarks_of(const Input& input, const Survey& survey) {
  std::vector<std::string> remarks = input.source->remarks();
  if (survey.other_sizes > 0)
    remarks.push_back(fmt::format("{} of {} frames have another size than the first",
                                  survey.other_sizes, survey.looked_at));
  return remarks;
}

nlohmann::ordered_json to_json(const Input& input, const Survey& survey,
                               const std::vector<FactInForce>& facts) {
  nlohmann::ordered_json result{{"frames", survey.frames}};
  if (survey.size) {
    result["width"] = survey.size->width;
    result["height"] = survey.size->height;
    result["looked_at"] = survey.looked_at;
    result["smallest"] = survey.largest == 0 ? nlohmann::json() : nlohmann::json(survey.smallest);
    result["largest"] = survey.largest == 0 ? nlohmann::json() : nlohmann::json(survey.largest);
    result["valid_share"] = survey.valid_share;
  }
  if (const auto rate = rate_of(survey))
    result["rate"] = *rate;
  result["topic"] = input.source->topic();
  result["topics"] = nlohmann::json::array();
  for (const Topic& topic : input.source->topics()) {
    result["topics"].push_back({{"name", topic.name},
                                {"type", topic.type},
                                {"messages", topic.messages},
                                {"depth", topic.depth}});
  }
  for (const FactInForce& fact : facts)
    result["camera"][fact.key] = {
        {"value", fact.value}, {"unit", fact.unit}, {"from", fact.origin}};
  result["unreadable"] = survey.unreadable;
  result["remarks"] = remarks_of(input, survey);
  return result;
}

std::string range_text(const Survey& survey, const Camera& camera) {
  if (survey.largest == 0)
    return "no valid pixel";
  std::string text = fmt::format("{} to {}", survey.smallest, survey.largest);
  if (camera.pixel_type != GX_PIXEL_DISPARITY) {
    const double unit = static_cast<double>(camera.depth_unit);
    text += fmt::format(" ({:g} to {:g} mm)", survey.smallest * unit, survey.largest * unit);
  }
  return text + fmt::format(", {:.1f} % of the pixels valid", 100 * survey.valid_share);
}

void print_text(const Input& input, const Survey& survey, const Camera& camera,
                const std::vector<FactInForce>& facts) {
  for (const Topic& topic : input.source->topics()) {
    const std::string count = topic.messages > 0 ? fmt::format("{} ", topic.messages) : "";
    const char* mark = topic.name == input.source->topic() ? "  <- depth, read"
                       : topic.depth                       ? "  <- depth"
                                                           : "";
    fmt::print("topic   {}: {}{}{}\n", topic.name, count, topic.type, mark);
  }
  fmt::print("frames  {}\n", survey.frames);
  if (const auto rate = rate_of(survey))
    fmt::print("rate    {:.4g} a second\n", *rate);
  if (survey.size) {
    fmt::print("size    {}x{}\n", survey.size->width, survey.size->height);
    fmt::print("values  {}\n", range_text(survey, camera));
    if (survey.looked_at < survey.frames)
      fmt::print("        (of the first {} frames)\n", survey.looked_at);
    fmt::print("camera{}\n", format_facts(facts));
  }
  for (const std::string& reason : survey.unreadable)
    fmt::print("can't be read: {}\n", reason);
  for (const std::string& remark : remarks_of(input, survey))
    fmt::print("remark: {}\n", remark);
}

Result<ExitStatus> show_info(const InfoOptions& options) {
  auto input = open_input(options.input);
  if (!input)
    return input.error();
  const auto survey = survey_frames(*input);
  if (!survey)
    return survey.error();
  Camera camera;
  std::vector<FactInForce> facts;
  if (survey->size) {
    if (auto failure = settle_size(*input, *survey->size))
      return *failure;
    const auto made = make_camera(input->facts.facts(), *survey->size);
    if (!made)
      return made.error();
    camera = *made;
    facts = facts_in_force(input->facts, camera, *survey->size);
  }
  if (options.json)
    fmt::print("{}\n", json_text(to_json(*input, *survey, facts)));
  else
    print_text(*input, *survey, camera, facts);
  if (!survey->unreadable.empty() && survey->looked_at == 0)
    return Error{"no frame could be read"};
  return survey->unreadable.empty() ? ExitStatus::ok : ExitStatus::left_out;
}

} // namespace

Action add_info_options(CLI::App& command) {
  const auto options = std::make_shared<InfoOptions>();
  add_input_options(command, options->input);
  command
      .add_option("--format", options->input.source.format,
                  "Format of what comes from - (npy, ...)")
      ->type_name("NAME");
  command.add_flag("--json", options->json, "Print JSON");
  return [options] { return show_info(*options); };
}

} // namespace gxfilter
