// Checks of what becomes of frames.
#include <algorithm>

#include <fmt/format.h>

#include "conformance/our_filters.h"
#include "conformance/probes.h"
#include "conformance/settings.h"
#include "gexton_host.h"

namespace conformance {

using namespace hosting;
using namespace recordings;

namespace {

std::string process_function(const Subject& subject) {
  return subject.filter + "::filter_process";
}

/// One setting of the filter with one kind of pixels.
struct Case {
  const Subject& subject;
  Findings& findings;
  Setting setting;
  PixelKind kind;

  void doing(const std::string& what) const {
    findings.doing(fmt::format("{} with {}, {} pixels", what, setting.label, kind.name));
  }
  Filter make_filter() const { return make_configured(subject, setting); }
};

/// A case that can't go on does not keep the others from being tried.
void for_each_case(const Subject& subject, Findings& findings, void (*check)(const Case&)) {
  for (const Setting& setting : working_settings(subject)) {
    for (const PixelKind& kind : pixel_kinds) {
      const Case current{subject, findings, setting, kind};
      current.doing("a new instance");
      try {
        check(current);
      } catch (const Unable& unable) {
        findings.fail(unable.what());
      }
    }
  }
}

// ---- a depth frame ----

std::string size_problem(const gx_frame& frame) {
  const uint64_t width = gx_video_frame_get_width(&frame, nullptr);
  const uint64_t height = gx_video_frame_get_height(&frame, nullptr);
  const uint64_t size = gx_frame_get_data_size(&frame, nullptr);
  if (width == 0 || height == 0 || size != width * height * 2)
    return fmt::format("{} bytes for a profile of {}x{}", size, width, height);
  return {};
}

void try_depth_frame(const Case& current) {
  Findings& findings = current.findings;
  Filter filter = current.make_filter();
  const Input input(current.kind, usual_size, 7);
  const FrameState before(input.frame());
  gexton::ErrorSlot slot;
  current.doing("a depth frame");
  const Output given = try_frame(filter, input.frame(), slot);
  findings.expect("a new frame and no error", describe(given, slot.get()));
  if (given.frame == nullptr)
    return;
  const gx_frame& output = *given.frame;
  current.doing("the input of a depth frame");
  findings.expect(unchanged, before.changes_to(FrameState(input.frame())));
  current.doing("the type of the new frame");
  findings.expect(std::to_string(GX_FRAME_DEPTH),
                  std::to_string(gx_frame_get_type(&output, nullptr)));
  current.doing("the index of the new frame");
  findings.expect("7", std::to_string(gx_frame_get_index(&output, nullptr)));
  current.doing("the size of the new frame");
  const std::string problem = size_problem(output);
  findings.expect(problem.empty(), "2 bytes for each pixel of its profile", problem);
  current.doing("the pixels of the new frame");
  findings.expect(gx_frame_get_data(&output, nullptr) != gx_frame_get_data(input.get(), nullptr),
                  "a buffer of their own", "the input's buffer");
}

void check_depth_frames(const Subject& subject, Findings& findings) {
  for_each_case(subject, findings, try_depth_frame);
}

// ---- frame sets ----

void try_frame_set(const Case& current) {
  Findings& findings = current.findings;
  const Input depth(current.kind);
  const Input color(current.kind, {8, 8}, 0, GX_FRAME_COLOR);
  const gexton::Frame set = make_set({color.get(), depth.get()});
  const FrameState before(depth.frame());
  const FrameState color_before(color.frame());
  Filter lone_filter = current.make_filter();
  const gexton::Frame lone_output = process(lone_filter, depth);

  Filter filter = current.make_filter();
  gexton::ErrorSlot slot;
  current.doing("a frame set");
  const Output output = try_frame(filter, *set, slot);
  findings.expect("a new frame and no error", describe(output, slot.get()));
  if (output.frame == nullptr)
    return;
  current.doing("the type of what a frame set gives");
  const gx_frame_type type = gx_frame_get_type(output.frame.get(), nullptr);
  findings.expect(std::to_string(GX_FRAME_SET), std::to_string(type));
  const gexton::Frame member =
      type == GX_FRAME_SET ? gexton::depth_frame_of(*output.frame) : nullptr;
  current.doing("the depth frame of the new set");
  findings.expect(member != nullptr && member.get() != depth.get(), "a new frame",
                  member == nullptr ? "none" : "the input's own");
  if (member != nullptr) {
    current.doing("the pixels of the new set's depth frame");
    findings.expect(FrameState(*member).same_pixels(FrameState(*lone_output)),
                    "those that the depth frame alone gives", "others");
  }
  current.doing("the depth frame of the set that went in");
  findings.expect(unchanged, before.changes_to(FrameState(depth.frame())));
  current.doing("the colour frame of the set that went in");
  findings.expect(unchanged, color_before.changes_to(FrameState(color.frame())));
  current.doing("the members of the set that went in");
  const gexton::Frame same_member = gexton::depth_frame_of(*set);
  findings.expect(gexton_frameset_get_count(set.get(), nullptr) == 2 &&
                      same_member.get() == depth.get(),
                  "the two that it had", "others");
}

void check_frame_sets(const Subject& subject, Findings& findings) {
  for_each_case(subject, findings, try_frame_set);
}

// ---- the same again ----

/// The pixels that these frames give one after the other.
std::vector<FrameState> results(Filter& filter, PixelKind kind, uint32_t frames) {
  std::vector<FrameState> states;
  for (uint32_t number = 0; number < frames; ++number)
    states.emplace_back(*process(filter, Input(kind, usual_size, number)));
  return states;
}

void expect_same_results(Findings& findings, const std::vector<FrameState>& expected,
                         const std::vector<FrameState>& came) {
  std::string text = "the same pixels";
  for (size_t i = expected.size(); i-- > 0;)
    if (!came[i].same_pixels(expected[i]))
      text = fmt::format("other pixels in frame {}", i + 1);
  findings.expect("the same pixels", text);
}

void try_repetition(const Case& current) {
  Filter first = current.make_filter();
  const auto expected = results(first, current.kind, 3);
  Filter second = current.make_filter();
  current.doing("three frames through a second instance");
  expect_same_results(current.findings, expected, results(second, current.kind, 3));

  current.doing("reset and the same parameters, then these frames");
  first.reset();
  if (const std::string came = update(first, current.setting.values); came != no_error)
    throw Unable(fmt::format("after reset, the parameters were refused with {}", came));
  expect_same_results(current.findings, expected, results(first, current.kind, 3));
}

void check_repetition(const Subject& subject, Findings& findings) {
  for_each_case(subject, findings, try_repetition);
}

// ---- reset alone ----

/// Margins and limits scale with the frame: in small ones they vanish and tell nothing.
constexpr FrameSize roomy_size{320, 200};

/// Parameters that may change what comes out: all at those bounds that are not their defaults, as
/// far as they are accepted together, and each alone at both of its bounds.
std::vector<std::vector<std::string>> disturbing_values(Filter probe) {
  const auto& schema = probe.schema();
  const auto defaults = default_values(schema);
  std::vector<std::vector<std::string>> all{defaults};
  for (size_t i = 0; i < defaults.size(); ++i) {
    const gexton::Parameter& parameter = schema[i];
    auto more = all.front();
    more[i] = parameter.min == parameter.default_value ? parameter.max : parameter.min;
    if (update(probe, more) == no_error)
      all.front() = more;
    for (const std::string& bound : {parameter.min, parameter.max}) {
      all.push_back(defaults);
      all.back()[i] = bound;
    }
  }
  return all;
}

/// The pixels of these frames, none where there is no frame.
std::vector<std::string> pixels_of_results(Filter& filter, PixelKind kind) {
  std::vector<std::string> pixels;
  for (uint32_t number = 0; number < 2; ++number) {
    const Input input(kind, roomy_size, number);
    gexton::ErrorSlot slot;
    pixels.push_back(pixels_of(try_frame(filter, input.frame(), slot)));
  }
  return pixels;
}

class ResetCheck {
 public:
  explicit ResetCheck(const Case& current) : case_(current) {
    Filter fresh = current.make_filter();
    expected_ = pixels_of_results(fresh, current.kind);
    if (const ResetValue* reset = find_reset_value(current.subject.filter)) {
      Setting setting = current.setting;
      set_value(fresh, setting.values, reset->parameter, reset->value);
      Filter other = make_configured(current.subject, setting);
      otherwise_ = pixels_of_results(other, current.kind);
      otherwise_text_ = fmt::format("the pixels of {} = {}", reset->parameter, reset->value);
    }
  }

  void run() {
    Findings& findings = case_.findings;
    case_.doing("other parameters, two frames, reset alone, then two frames");
    size_t disturbed = 0;
    std::string came = same;
    for (const auto& values : disturbing_values(case_.subject.make_filter())) {
      Filter filter = case_.subject.make_filter();
      if (update(filter, values) != no_error)
        continue;
      const auto before = pixels_of_results(filter, case_.kind);
      if (before == expected_)
        continue;
      ++disturbed;
      filter.reset();
      const std::string after = compare(pixels_of_results(filter, case_.kind), before);
      // What is known already must not hide what is not.
      came = came == same || came == otherwise_text_ ? (after == same ? came : after) : came;
    }
    if (disturbed == 0)
      findings.skip("no parameters were found that change these frames");
    else
      findings.expect(same, came);
  }

 private:
  static constexpr const char* same = "the same pixels";

  std::string compare(const std::vector<std::string>& came,
                      const std::vector<std::string>& before) const {
    if (came == expected_)
      return same;
    if (!otherwise_.empty() && came == otherwise_)
      return otherwise_text_;
    if (came == before)
      return "the pixels of before";
    const size_t number = came[0] == expected_[0] ? 1 : 0;
    return came[number].empty() ? fmt::format("no frame {}", number + 1)
                                : fmt::format("other pixels in frame {}", number + 1);
  }

  const Case& case_;
  std::vector<std::string> expected_;
  std::vector<std::string> otherwise_;
  std::string otherwise_text_;
};

void check_reset(const Subject& subject, Findings& findings) {
  const Filter filter = subject.make_filter();
  const Setting defaults = settings_of(filter).front();
  if (defaults.values != default_values(filter.schema())) {
    findings.doing("reset alone");
    findings.skip("the defaults fit no frame of the usual size");
    return;
  }
  for (const PixelKind& kind : pixel_kinds) {
    const Case current{subject, findings, defaults, kind};
    ResetCheck(current).run();
  }
}

// ---- frames to refuse ----

void check_refusals(const Subject& subject, Findings& findings) {
  const Setting setting = working_settings(subject).front();
  Filter filter = make_configured(subject, setting);
  const Input color(pixel_kinds[0], usual_size, 0, GX_FRAME_COLOR);
  const gexton::Frame empty_set = make_set({});
  const gexton::Frame color_set = make_set({color.get()});
  const std::string refusal =
      "no frame and " +
      describe_error("invalid frame type error", process_function(subject), "frameType");
  const std::pair<const char*, gx_frame*> frames[] = {
      {"a colour frame", color.get()},
      {"an empty frame set", empty_set.get()},
      {"a frame set with a colour frame alone", color_set.get()},
  };
  for (const auto& [name, frame] : frames) {
    findings.doing(name);
    gexton::ErrorSlot slot;
    const Output output = try_frame(filter, *frame, slot);
    findings.expect(refusal, describe(output, slot.get()));
  }
  findings.doing("a null frame");
  MarkedSlot slot;
  const gx_priv_filter_context& context = filter.context();
  const gexton::Frame output(context.process(context.filter, nullptr, slot.receive()));
  findings.expect(output == nullptr, "null", "a frame");
  findings.doing("the error slot of a null frame");
  findings.expect("untouched", slot.state());
}

// ---- short and small frames ----

void try_short_frames(const Case& current) {
  constexpr uint32_t row = usual_size.width * 2;
  constexpr uint32_t whole = row * usual_size.height;
  const std::string refusal =
      "no frame and " + describe_error("invalid frame data size error",
                                       process_function(current.subject), "frameData");
  for (const uint32_t bytes : {uint32_t{0}, row, whole - row, whole - 1}) {
    Filter filter = current.make_filter();
    const Input input(current.kind);
    input.shorten(bytes);
    current.doing(fmt::format("a frame of {} bytes instead of {}", bytes, whole));
    gexton::ErrorSlot slot;
    const Output output = try_frame(filter, input.frame(), slot);
    std::string came = describe(output, slot.get());
    if (output.frame != nullptr && pixels_of(output) == FrameState(input.frame()).pixels())
      came = "a copy of the frame and " + describe(slot.get());
    current.findings.expect(refusal, came);
  }
}

void check_short_frames(const Subject& subject, Findings& findings) {
  for_each_case(subject, findings, try_short_frames);
}

/// Sizes at which kernels that work in groups of pixels go astray. Where the height is a multiple
/// of 32, guarded buffers end exactly with the last pixel.
constexpr FrameSize odd_sizes[] = {{0, 0},   {0, 4},  {4, 0},  {1, 1},   {2, 2},   {5, 3},
                                   {1, 32},  {2, 32}, {3, 32}, {7, 32},  {15, 32}, {17, 64},
                                   {33, 32}, {64, 1}, {64, 2}, {640, 1}, {65, 64}};

void check_small_frames(const Subject& subject, Findings& findings) {
  for (const FrameSize& size : odd_sizes) {
    for (const Setting& setting : settings_of(
             subject.make_filter(), {std::max(size.width, 1U), std::max(size.height, 1U)})) {
      for (const PixelKind& kind : pixel_kinds) {
        findings.doing(fmt::format("a frame of {}x{} with {}, {} pixels", size.width, size.height,
                                   setting.label, kind.name));
        Filter filter = make_configured(subject, setting);
        const Input input(kind, size);
        for (int i = 0; i < 2; ++i) {
          gexton::ErrorSlot slot;
          const Output output = try_frame(filter, input.frame(), slot);
          findings.expect(output.is_nothing() == static_cast<bool>(slot), "a frame or an error",
                          describe(output, slot.get()));
        }
      }
    }
  }
}

} // namespace

Checks frame_checks() {
  return {{"depth frames", check_depth_frames}, {"frame sets", check_frame_sets},
          {"repetition", check_repetition},     {"reset", check_reset},
          {"refusals", check_refusals},         {"short frames", check_short_frames},
          {"small frames", check_small_frames}};
}

} // namespace conformance
