#include "golden/plan.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "golden/digest.h"
#include "golden/scenes.h"
#include "golden/table.h"
#include "naive/depth_resize.h"
#include "support/false_positive_records.h"

namespace golden {
namespace {

using test::CameraFrame;
using test::one_of;
using test::Random;

constexpr int random_settings = 20;

// ---- what filters are told ----

/// A number of a schema in thousandths, which hold all of them exactly.
using Thousandths = int64_t;

Thousandths parse(const std::string& text) {
  const size_t point = text.find('.');
  std::string digits = point == std::string::npos ? "" : text.substr(point + 1);
  digits.resize(3, '0');
  const bool negative = text[0] == '-';
  const Thousandths size = std::abs(std::atoll(text.c_str())) * 1000 + std::atoll(digits.c_str());
  return negative ? -size : size;
}

std::string text_of(Thousandths number, bool whole) {
  const std::string digits = std::to_string(1000 + std::abs(number) % 1000);
  return (number < 0 ? "-" : "") + std::to_string(std::abs(number) / 1000) +
         (whole ? "" : "." + digits.substr(1));
}

struct Parameter {
  std::string name;
  bool whole;
  Thousandths min, max, step;
  std::string default_value;

  std::string text(Thousandths number) const { return text_of(number, whole); }
};

struct FilterPlan {
  std::string name;
  std::vector<Parameter> parameters;
};

/// Filter by filter, as the compiled-in schemas have them.
std::vector<FilterPlan> read_schemas() {
  std::vector<FilterPlan> plans;
  const std::string all = schema_texts;
  const std::string mark = "---- ";
  for (size_t at = all.find(mark); at != std::string::npos;) {
    const size_t name = at + mark.size();
    const size_t line_end = all.find('\n', at);
    at = all.find("\n" + mark, line_end);
    at = at == std::string::npos ? at : at + 1;
    FilterPlan plan{all.substr(name, line_end - name), {}};
    for (const auto& line : gexton::parse_schema(all.substr(line_end, at - line_end)))
      plan.parameters.push_back({line.name, line.type != "float", parse(line.min), parse(line.max),
                                 parse(line.step), line.default_value});
    plans.push_back(std::move(plan));
  }
  return plans;
}

bool converts_disparity(const std::string& filter) {
  return filter.find("DisparityTransform") != std::string::npos;
}

/// The values that those of a case differ from: the defaults, but where frames as small as the
/// plan's would see nothing of them.
Values usual_values(const FilterPlan& plan) {
  const struct {
    const char* filter;
    Values values;
  } others[] = {
      {"NoiseRemovalFilter", {"20", "256", "160", "120"}},
      {"DepthResize", {"160", "120", "1.250", "-3", "4", "5", "-2"}},
      {"EdgeNoiseRemovalFilter", {"6", "5", "30", "20", "1", "160", "120"}},
      {"OpenNIDisparityTransform",
       {"9000", "100", "0.500", "48", "20", "1.500", "2", "1", "3", "1"}},
      {"FalsePositiveFilter",
       {"1", "0.000", "1.000", "0.000", "1.000", "1", "0.000", "1.000", "0.000", "1.000", "6000",
        "5000", "1", "0.000", "1.000", "0.000", "1.000", "6000", "9000"}},
      {"LutNoiseRemovalFilter",
       {"90", "9", "30", "60", "20", "90", "9", "30", "60", "20", "90", "9", "30", "60", "20", "50",
        "192", "160", "120"}},
      {"MgcNoiseRemovalFilter", {"20", "30", "90", "4", "3", "30", "20", "160", "120"}},
  };
  for (const auto& [filter, values] : others)
    if (plan.name == filter)
      return values;
  Values values;
  for (const Parameter& parameter : plan.parameters)
    values.push_back(parameter.default_value);
  return values;
}

/// The lowest value that the filter takes.
Thousandths least(const FilterPlan& plan, const Parameter& parameter) {
  const bool resamples = plan.name == "DepthResize" || plan.name == "OpenNIDisparityTransform";
  return resamples && parameter.name == "scale" ? 100 : parameter.min; // less is refused
}

/// What belongs together with `name` as its upper bound, or "".
std::string upper_bound_of(const std::string& name) {
  for (const auto& [low, high] : {std::pair{"Min", "Max"}, {"min_", "max_"}, {"margin_", "limit_"}})
    if (const size_t at = name.find(low); at != std::string::npos)
      return std::string(name).replace(at, std::string(low).size(), high);
  return "";
}

/// Swaps bounds that exclude all, and makes sizes smaller that leave nothing of the plan's frames.
void tame(const FilterPlan& plan, Values& values) {
  for (size_t low = 0; low < values.size(); ++low) {
    const std::string& name = plan.parameters[low].name;
    for (size_t high = 0; high < values.size(); ++high)
      if (plan.parameters[high].name == upper_bound_of(name) &&
          parse(values[low]) > parse(values[high]))
        std::swap(values[low], values[high]);
    if (!converts_disparity(plan.name))
      continue;
    const Thousandths number = parse(values[low]) / 1000;
    if (name == "min_depth")
      values[low] = std::to_string(1 + number % 300);
    if (name == "dst_width" || name == "dst_height")
      values[low] = std::to_string(number % 150);
    if (name.find("_cut") == 1 || name.find("_set") == 1)
      values[low] = std::to_string(number % 12);
  }
}

struct Size {
  uint32_t width, height;
};

/// What DepthResize makes of a frame; nothing where it would be empty, or larger than a test needs.
std::optional<Size> resized(const Values& values, Size size) {
  naive::DepthResize resize;
  resize.update(values);
  const int64_t width = resize.out_width(size.width);
  const int64_t height = resize.out_height(size.height);
  if (width <= 0 || height <= 0 || width * height >= 1'000'000)
    return std::nullopt;
  return Size{static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

/// Whether the filter takes these values with the plan's frames of usual sizes.
bool is_usable(const FilterPlan& plan, const Values& values) {
  return plan.name != "DepthResize" || (resized(values, {101, 67}) && resized(values, {320, 200}));
}

/// Small numbers as often as large ones: frames are small.
Values random_values(const FilterPlan& plan, Random& random) {
  Values values = usual_values(plan);
  for (size_t i = 0; i < values.size(); ++i) {
    const Parameter& parameter = plan.parameters[i];
    const Thousandths low = least(plan, parameter);
    const Thousandths step = parameter.step;
    const auto steps = static_cast<uint32_t>((parameter.max - low) / step + 1);
    const bool keep = random() % 4 == 0;
    const Thousandths number = low + step * (random() % steps);
    const Thousandths origin = std::max<Thousandths>(low, 0);
    const Thousandths near = origin + (number - origin) / step / (1 << random() % 8) * step;
    if (!keep)
      values[i] = parameter.text(near);
  }
  tame(plan, values);
  return is_usable(plan, values) ? values : random_values(plan, random);
}

Random random_for(const std::string& text) {
  return Random(static_cast<uint32_t>(Digest().add(text).value()));
}

std::string numbered(const char* text, int number) {
  return text + std::to_string(100 + number).substr(1);
}

void add_cases(const FilterPlan& plan, std::vector<Case>& cases) {
  const auto add = [&](const std::string& setting, const Values& values) {
    cases.push_back({plan.name, setting, values, {}});
  };
  add("as_made", {});
  Values defaults;
  for (const Parameter& parameter : plan.parameters)
    defaults.push_back(parameter.default_value);
  if (!defaults.empty())
    add("defaults", defaults);
  for (size_t i = 0; i < plan.parameters.size(); ++i) {
    const Parameter& parameter = plan.parameters[i];
    for (const Thousandths bound : {least(plan, parameter), parameter.max}) {
      Values values = usual_values(plan);
      values[i] = parameter.text(bound);
      if (parameter.min < 0 && bound < 0) // what one side loses the other gains: something is left
        values[i % 2 == 1 ? i + 1 : i - 1] = parameter.text(-bound);
      add(parameter.name + "=" + values[i], values);
    }
  }
  for (int i = 1; i <= random_settings; ++i) {
    const std::string setting = numbered("random_", i);
    Random random = random_for(plan.name + setting);
    add(setting, random_values(plan, random));
  }
}

/// Records switch what has no parameter.
Record random_record(Random& random) {
  const int width = one_of(random, {160, 101, 45});
  auto record = test::random_record(width, one_of(random, {120, 67, 31}), random);
  if (record.u8(50) != 0) // other turns are refused
    record.u8(51, 1 + record.u8(51) % 3);
  Record bytes(1 + record.bytes.size()); // the first byte means nothing
  std::copy(record.bytes.begin(), record.bytes.end(), bytes.begin() + 1);
  return bytes;
}

// ---- what filters see ----

gx_pixel_type random_pixel_type(const std::string& filter, bool first, Random& random) {
  const bool other = random() % 4 == 0 && !first; // which some pass on
  if (converts_disparity(filter))
    return other ? GX_PIXEL_DEPTH : GX_PIXEL_DISPARITY;
  if (filter == "HardwareD2DCorrectionFilter")
    return other ? GX_PIXEL_TOF_DEPTH : GX_PIXEL_DEPTH;
  return one_of(random, {GX_PIXEL_DEPTH, GX_PIXEL_DEPTH, GX_PIXEL_DISPARITY, GX_PIXEL_TOF_DEPTH});
}

/// All that a camera says of its frames, but for their size.
CameraFrame random_camera(const std::string& filter, bool first, Random& random) {
  CameraFrame camera;
  camera.pixel_type = random_pixel_type(filter, first, random);
  camera.scale = one_of(random, {1.0F, 1.0F, 0.1F, 0.25F, 0.05F, 2.0F});
  camera.bits = one_of<uint8_t>(random, {12, 12, 14, 16});
  if (random() % 4 != 0)
    camera.offset = one_of<int64_t>(random, {20, 8, 7, 3});
  const bool shifted = random() % 3 == 0;
  if (shifted && filter == "DisparityTransform")
    camera.format = GX_FORMAT_Y12_SHIFTED;
  D2DParameters& record = camera.record;
  record.zpd = one_of(random, {600.0, 1000.0});
  record.zpps = 0.5;
  record.baseline = one_of(random, {50.0F, 50.0F, 75.25F});
  record.fx = one_of(random, {400.0, 400.0, 580.5});
  record.bitSize = one_of<uint8_t>(random, {12, 12, 12, 14, 10});
  record.unit = one_of(random, {1.0F, 1.0F, 0.5F});
  record.minDisparity = one_of(random, {0.0F, 100.5F});
  record.dispOffset = one_of(random, {0.0F, 0.25F, -3.0F});
  record.invalidDisp = one_of(random, {0, 5});
  record.dispIntPlace = one_of(random, {8, 8, 9, 256 + 7});
  record.isDualCamera = one_of<uint8_t>(random, {0, 1});
  record.packMode = one_of<uint8_t>(random, {1, 2, 3});
  if (record.isDualCamera == 0 && record.packMode == 3)
    record.packMode = 4;
  const bool own_bits = random() % 4 != 0;
  if (own_bits && camera.pixel_type == GX_PIXEL_DISPARITY)
    camera.bits = record.bitSize;
  return camera;
}

/// The calls of one case, in their order.
class Script {
 public:
  Script(std::string filter, uint32_t seed) : filter_(std::move(filter)), seed_(seed) {}

  void update(const Values& values) {
    values_ = values;
    fitted_ = {};
    if (!values.empty() && filter_ != "DepthResize")
      add({.kind = Step::Kind::update, .values = values});
  }
  void set_record(const Record& record) {
    if (!record.empty())
      add({.kind = Step::Kind::set_record, .record = record});
  }
  void reset() {
    values_ = fitted_ = {};
    add({.kind = Step::Kind::reset});
  }
  void process(const CameraFrame& camera, Size size, bool in_set) {
    fit_values(size);
    Step step{.kind = Step::Kind::process, .frame = camera, .in_set = in_set};
    step.frame.width = size.width;
    step.frame.height = size.height;
    step.frame.index = 1000 + moment_;
    step.frame.intrinsic = {300,
                            301,
                            static_cast<float>(size.width) / 2,
                            static_cast<float>(size.height) / 2,
                            static_cast<int16_t>(size.width),
                            static_cast<int16_t>(size.height)};
    step.frame.pixels = draw_scene(size.width, size.height, seed_, moment_++);
    add_what_the_camera_writes(step.frame);
    add(std::move(step));
  }

  std::vector<Step> take() { return std::move(steps_); }

 private:
  void add(Step step) { steps_.push_back(std::move(step)); }

  /// Codes of as many bits as the camera has, and depths as it writes them where it had none.
  void add_what_the_camera_writes(CameraFrame& frame) const {
    const D2DParameters& record = frame.record;
    const bool codes = converts_disparity(filter_) && frame.format == GX_FORMAT_Y16;
    const bool depths = filter_ == "HardwareD2DCorrectionFilter" && frame.offset.has_value();
    const double depth = double{record.baseline} * record.fx /
                         static_cast<double>(frame.offset.value_or(1)) /
                         static_cast<double>(frame.scale);
    for (size_t i = 0; i < frame.pixels.size(); ++i) {
      uint16_t& pixel = frame.pixels[i];
      if (codes && i % 16 != 0)
        pixel = static_cast<uint16_t>(pixel & ((1U << record.bitSize) - 1));
      if (depths && i % 7 < 3)
        pixel = static_cast<uint16_t>(static_cast<uint32_t>(depth) + i % 64 - 32);
    }
  }

  /// DepthResize refuses frames from which its values make another size than they say.
  void fit_values(Size size) {
    if (filter_ != "DepthResize" || values_.empty())
      return;
    Values fitted = values_;
    if (const auto to = resized(values_, size)) {
      fitted[0] = std::to_string(to->width);
      fitted[1] = std::to_string(to->height);
    }
    if (fitted != fitted_)
      add({.kind = Step::Kind::update, .values = fitted});
    fitted_ = fitted;
  }

  std::string filter_;
  uint32_t seed_, moment_ = 0;
  Values values_, fitted_;
  std::vector<Step> steps_;
};

} // namespace

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const FilterPlan& plan : read_schemas()) {
    add_cases(plan, cases);
    for (int i = 1; i <= random_settings && plan.name == "FalsePositiveFilter"; ++i) {
      const std::string setting = numbered("record_", i);
      Random random = random_for(plan.name + setting);
      cases.push_back({plan.name, setting, {}, random_record(random)});
    }
  }
  return cases;
}

std::vector<Step> steps_of(const Case& of) {
  static const std::vector<FilterPlan> plans = read_schemas();
  const auto plan = std::find_if(plans.begin(), plans.end(),
                                 [&](const FilterPlan& each) { return each.name == of.filter; });
  Random random = random_for(of.name());
  const CameraFrame camera = random_camera(of.filter, true, random);
  const CameraFrame other_camera = random_camera(of.filter, false, random);
  const auto size = one_of<Size>(random, {{160, 120}, {160, 120}, {101, 67}, {320, 200}});
  const auto other_size = one_of<Size>(
      random, {{45, 31}, {7, 9}, {5, 40}, {64, 24}, {640, 6}, {size.width - 2, size.height}});
  Script script(of.filter, random());
  const auto configure = [&] {
    script.update(of.values);
    script.set_record(of.record);
  };
  configure();
  script.process(camera, size, false);
  script.process(camera, size, true);
  script.process(other_camera, size, false);
  script.process(other_camera, other_size, false);
  script.update(random_values(*plan, random));
  script.process(other_camera, other_size, true);
  script.reset();
  script.process(camera, other_size, false);
  configure();
  script.process(camera, size, false);
  return script.take();
}

test::CameraFrame color_frame() {
  CameraFrame frame{.width = 1, .height = 1, .pixel_type = GX_PIXEL_UNKNOWN, .pixels = {7}};
  frame.type = GX_FRAME_COLOR;
  return frame;
}

uint64_t digest_of(const std::vector<Step>& steps, Subject& subject) {
  Digest digest;
  for (const Step& step : steps) {
    if (step.kind == Step::Kind::update) {
      digest.add(subject.update(step.values));
    } else if (step.kind == Step::Kind::set_record) {
      digest.add(subject.set_record(step.record));
    } else if (step.kind == Step::Kind::reset) {
      subject.reset();
    } else {
      const Outcome outcome = subject.process(step);
      digest.add(outcome.error).add(outcome.is_set).add(outcome.set_index);
      digest.add(outcome.frames.size());
      for (const CameraFrame& frame : outcome.frames)
        digest.add(frame);
    }
  }
  return digest.value();
}

} // namespace golden
