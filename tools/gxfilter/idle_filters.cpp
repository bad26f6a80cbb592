#include "gxfilter/idle_filters.h"

#include <algorithm>

#include <fmt/format.h>

#include "gxfilter/interruption.h"
#include "recordings/host_frame.h"
#include "recordings/synth.h"
#include "recordings/system.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

namespace {

/// What a filter may look for in a frame.
struct FrameKind {
  gx_pixel_type type;
  bool has_offset; ///< the metadata's disparity offset

  bool operator==(const FrameKind&) const = default;
};

constexpr uint32_t tried_frames = 3; // filters with history begin to act with the second

const char* name_of(gx_pixel_type type) {
  switch (type) {
  case GX_PIXEL_DEPTH:
    return "depth";
  case GX_PIXEL_DISPARITY:
    return "disparity";
  case GX_PIXEL_TOF_DEPTH:
    return "tof";
  default:
    return "unknown pixels";
  }
}

/// A scene with something for every filter, seen by a camera with the recording's unit.
SceneSettings busy_scene(FrameSize size, float unit, FrameKind kind) {
  SceneSettings settings;
  settings.size = size;
  settings.depth_unit = unit;
  settings.pixel_type = kind.type == GX_PIXEL_DISPARITY ? GX_PIXEL_DISPARITY : GX_PIXEL_DEPTH;
  settings.streaks = 0.2;
  settings.phantoms = 5;
  settings.fringe = 2;
  settings.disparity_offset = kind.has_offset ? 4 : 0;
  return settings;
}

bool is_same_frame(const PixelView& left, const PixelView& right) {
  return left.pixel_type == right.pixel_type && left.value_scale == right.value_scale &&
         left.size == right.size && std::ranges::equal(left.pixels, right.pixels);
}

/// The number of the first generated frame of that kind that the filter changes; null where it
/// changes none or fails.
std::optional<uint32_t> first_change(Filter& filter, FrameSize size, float unit, FrameKind kind) {
  const SceneSettings settings = busy_scene(size, unit, kind);
  auto camera = make_camera(scene_facts(settings), size);
  if (!camera)
    return std::nullopt;
  camera->pixel_type = kind.type;
  const auto profile = make_profile(size, *camera);
  if (!profile)
    return std::nullopt;
  for (uint32_t i = 0; i < tried_frames; ++i) {
    const auto frame = make_frame(render_scene(settings, i), i, **profile, *camera);
    if (!frame)
      return std::nullopt;
    gexton::ErrorSlot slot;
    const gexton::Frame filtered = filter.process(**frame, slot);
    const auto before = look_at(**frame);
    if (slot || !filtered || !before)
      return std::nullopt;
    const auto after = look_at(*filtered);
    if (after && !is_same_frame(*before, *after))
      return i;
  }
  return std::nullopt;
}

/// The kinds that a filter with this request acts on, with the number of the first frame that it
/// changes. Null where that can't be found out, or nobody wants to wait for it any more.
std::optional<std::vector<std::pair<FrameKind, uint32_t>>>
try_kinds(const std::shared_ptr<const Plugin>& plugin, const FilterRequest& request,
          const PixelView& input) {
  // Some filters depend on the size, so it is the recording's, but for frames that take long to
  // make.
  constexpr uint64_t most_pixels = uint64_t{1} << 20;
  const FrameSize size =
      input.size.pixel_count() <= most_pixels ? input.size : FrameSize{1280, 800};
  std::vector<std::pair<FrameKind, uint32_t>> changed;
  const recordings::system::RedirectedOutput silent;
  for (const bool has_offset : {false, true}) {
    for (const gx_pixel_type type : {GX_PIXEL_DEPTH, GX_PIXEL_DISPARITY, GX_PIXEL_TOF_DEPTH}) {
      auto filter = make_filter(plugin, request, Ranges::left_to_the_filter);
      if (!filter || InterruptionGuard::interrupted())
        return std::nullopt;
      const FrameKind kind{type, has_offset};
      if (const auto first = first_change(*filter, size, input.value_scale, kind))
        changed.emplace_back(kind, *first);
    }
  }
  return changed;
}

/// "disparity, or depth with a disparity offset"
std::string list_kinds(const std::vector<std::pair<FrameKind, uint32_t>>& changed) {
  const auto acts_on = [&](FrameKind kind) {
    return std::ranges::any_of(changed, [&](const auto& entry) { return entry.first == kind; });
  };
  std::string text;
  for (const auto& [kind, first] : changed) {
    if (kind.has_offset && acts_on({kind.type, false}))
      continue;
    text += fmt::format("{}{}{}", text.empty() ? "" : " or ", name_of(kind.type),
                        kind.has_offset ? " with a disparity offset" : "");
  }
  return text;
}

std::string reason(const std::vector<std::pair<FrameKind, uint32_t>>& changed, FrameKind own,
                   size_t frames) {
  if (changed.empty())
    return "with these parameters it changes no generated frame either";
  for (const auto& [kind, first] : changed) {
    if (kind == own && first >= frames)
      return fmt::format("it begins to act with frame {} of a recording", first + 1);
    if (kind == own)
      return "it acts on such frames, but found nothing to change in these";
  }
  return "it acts on " + list_kinds(changed);
}

} // namespace

std::string describe_situation(const PixelView& frame, const FilterRequest& request,
                               const std::vector<gexton::Parameter>& schema) {
  std::string text = fmt::format("{}x{} {}, {:g} mm a unit", frame.size.width, frame.size.height,
                                 name_of(frame.pixel_type), static_cast<double>(frame.value_scale));
  if (!request.record.empty())
    return text + "; configured by " + request.record.string();
  for (const gexton::Parameter& parameter : schema) {
    const auto given = request.values.find(parameter.name);
    text += fmt::format("{} {}={}", &parameter == schema.data() ? ";" : ",", parameter.name,
                        given != request.values.end() ? given->second : parameter.default_value);
  }
  return text;
}

std::string explain_idleness(const std::shared_ptr<const Plugin>& plugin,
                             const FilterRequest& request, const Camera& camera,
                             const FilterStatistics& statistics) {
  if (!statistics.idle())
    return {};
  const auto filter = make_filter(plugin, request, Ranges::left_to_the_filter);
  if (!filter)
    return {};
  const PixelView& input = statistics.last_input();
  const FrameKind own{input.pixel_type, camera.disparity_offset.value_or(0) != 0};
  const size_t frames = statistics.frames();
  const auto kinds = try_kinds(plugin, request, input);
  return fmt::format("{} changed nothing in {} frame{}{} (it got {})", request.name, frames,
                     frames == 1 ? "" : "s", kinds ? ": " + reason(*kinds, own, frames) : "",
                     describe_situation(input, request, filter->schema()));
}

} // namespace gxfilter
