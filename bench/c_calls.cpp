// Calls of filters without Python, to be timed in Python's process (python_calls.py).

#include <chrono>

#include "gexton_host.hpp"

/// Microseconds for one of `calls` calls of a filter with its defaults, each with the giving back
/// of its result, on a frame of width * height pixels; below 0 where a call fails.
extern "C" GEXTON_API double time_c_calls(const char* name, const uint16_t* pixels, uint32_t width,
                                          uint32_t height, uint32_t calls) {
  gexton::ErrorSlot error;
  gexton::Filter filter = gexton::Filter::create(name);
  std::vector<std::string> values;
  for (const gexton::Parameter& parameter : filter.schema())
    values.push_back(parameter.default_value);
  filter.update_config(values, error);
  const gexton::Profile profile(
      gexton_create_stream_profile(GX_FORMAT_Y16, width, height, error.receive()));
  D2DParameters record{};
  record.baseline = 50;
  record.fx = 0.9 * width;
  record.dispIntPlace = 8;
  record.packMode = 2;
  record.isDualCamera = 1;
  record.bitSize = 16;
  record.unit = 1;
  gexton_stream_profile_set_disparity_param(profile.get(), &record, nullptr);
  const gexton::Frame frame(
      gexton_create_video_frame(GX_FRAME_DEPTH, profile.get(), pixels, error.receive()));
  filter.process(*frame, error); // derives its tables
  const auto begin = std::chrono::steady_clock::now();
  for (uint32_t i = 0; i < calls; ++i)
    if (!filter.process(*frame, error))
      return -1;
  const std::chrono::duration<double, std::micro> elapsed =
      std::chrono::steady_clock::now() - begin;
  return elapsed.count() / calls;
}
