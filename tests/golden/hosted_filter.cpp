#include "golden/hosted_filter.h"

#include <cstring>

namespace golden {
namespace {

std::string text_of(const gexton::ErrorSlot& slot) {
  const gx_error* error = slot.get();
  if (error == nullptr)
    return "";
  return std::string(gx_error_get_message(error)) + " | " + gx_error_get_function(error) + " | " +
         gx_error_get_args(error) + " | " + std::to_string(gx_error_get_exception_type(error));
}

/// What the host says of a frame; a profile that is missing or contradicts it goes to `error`.
test::CameraFrame seen(const gx_frame* frame, std::string& error) {
  test::CameraFrame seen;
  seen.type = gx_frame_get_type(frame, nullptr);
  seen.format = gx_frame_get_format(frame, nullptr);
  seen.index = gx_frame_get_index(frame, nullptr);
  seen.width = gx_video_frame_get_width(frame, nullptr);
  seen.height = gx_video_frame_get_height(frame, nullptr);
  seen.pixel_type = gx_video_frame_get_pixel_type(frame, nullptr);
  seen.bits = gx_video_frame_get_pixel_available_bit_size(frame, nullptr);
  seen.scale = gx_depth_frame_get_value_scale(frame, nullptr);
  constexpr gx_metadata_id offset = GX_METADATA_DISPARITY_OFFSET;
  if (gx_frame_has_metadata(frame, offset, nullptr))
    seen.offset = gx_frame_get_metadata_value(frame, offset, nullptr);
  seen.pixels.resize(gx_frame_get_data_size(frame, nullptr) / 2);
  if (const uint8_t* data = gx_frame_get_data(frame, nullptr))
    std::memcpy(seen.pixels.data(), data, 2 * seen.pixels.size());
  const gexton::Profile profile(gx_frame_get_stream_profile(frame, nullptr));
  if (profile == nullptr || gx_stream_profile_get_format(profile.get(), nullptr) != seen.format) {
    error += "the stream profile is missing or of another format";
    return seen;
  }
  seen.intrinsic = gx_video_stream_profile_get_intrinsic(profile.get(), nullptr);
  seen.record = gx_disparity_based_stream_profile_get_disparity_param(profile.get(), nullptr);
  return seen;
}

} // namespace

std::string HostedFilter::update(const Values& values) {
  gexton::ErrorSlot error;
  filter_.update_config(values, error);
  return text_of(error);
}

std::string HostedFilter::set_record(const Record& record) {
  gexton::ErrorSlot error;
  filter_.set_config_data(record.data(), record.size(), error);
  return text_of(error);
}

Outcome HostedFilter::process(const Step& step) {
  gexton::Frame input = step.frame.make();
  if (step.in_set) {
    const gexton::Frame color = color_frame().make();
    input = gexton::make_frame_set({color.get(), input.get()});
    gexton_frame_set_index(input.get(), step.frame.index, nullptr);
  }
  gexton::ErrorSlot error;
  const gexton::Frame output = filter_.process(*input, error);
  Outcome outcome{.error = text_of(error)};
  if (output == nullptr)
    return outcome;
  outcome.is_set = gx_frame_get_type(output.get(), nullptr) == GX_FRAME_SET;
  if (!outcome.is_set) {
    outcome.frames.push_back(seen(output.get(), outcome.error));
    return outcome;
  }
  outcome.set_index = gx_frame_get_index(output.get(), nullptr);
  for (uint32_t i = 0; i < gexton_frameset_get_count(output.get(), nullptr); ++i)
    if (const gexton::Frame member{gexton_frameset_get_frame(output.get(), i, nullptr)})
      outcome.frames.push_back(seen(member.get(), outcome.error));
  return outcome;
}

} // namespace golden
