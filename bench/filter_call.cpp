#include "filter_call.h"

#include <algorithm>
#include <stdexcept>

namespace bench {
namespace {

D2DParameters stereo_record() {
  D2DParameters record{};
  record.baseline = 50.0F;
  record.fx = 400.0;
  record.bitSize = 16;
  record.unit = 1.0F;
  record.packMode = 2;
  record.dispIntPlace = 8;
  record.isDualCamera = 1;
  return record;
}

std::string parameter_text(const std::string& parameter, Size size) {
  const uint32_t factor = parameter[0] == '2' ? 2 : 1;
  if (parameter.back() == 'W')
    return std::to_string(factor * size.width);
  return parameter.back() == 'H' ? std::to_string(factor * size.height) : parameter;
}

} // namespace

Frame make_frame(Size size, const uint16_t* pixels, gx_pixel_type type) {
  const gexton::Profile profile{
      gexton_create_stream_profile(GX_FORMAT_Y16, size.width, size.height, nullptr)};
  const D2DParameters record = stereo_record();
  gexton_stream_profile_set_disparity_param(profile.get(), &record, nullptr);
  Frame frame{gexton_create_video_frame(GX_FRAME_DEPTH, profile.get(), pixels, nullptr)};
  gx_video_frame_set_pixel_type(frame.get(), type, nullptr);
  gx_video_frame_set_pixel_available_bit_size(frame.get(), record.bitSize, nullptr);
  gexton_frame_set_metadata(frame.get(), GX_METADATA_DISPARITY_OFFSET, 8, nullptr);
  return frame;
}

FilterCall::FilterCall(const Configuration& configuration, Size size)
    : filter_(gexton::Filter::create(configuration.filter)) {
  if (!filter_)
    throw std::runtime_error("no filter " + configuration.filter);
  if (configuration.parameters.empty())
    return;
  std::vector<std::string> values;
  for (const std::string& parameter : configuration.parameters)
    values.push_back(parameter_text(parameter, size));
  gexton::ErrorSlot error;
  filter_.update_config(values, error);
  if (error)
    throw std::runtime_error(configuration.name() + " refuses its parameters: " + error.text());
}

Frame FilterCall::process(gx_frame& input) {
  gexton::ErrorSlot error;
  return filter_.process(input, error);
}

ChainCall ChainCall::usual(Size size) {
  ChainCall chain;
  for (const char* name : {"NoiseRemovalFilter/noisy", "TemporalFilter/default",
                           "SpatialFastFilter/3x3", "HoleFillingFilter/nearest"}) {
    const auto& all = configurations();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Configuration& each) { return each.name() == name; });
    if (found == all.end())
      throw std::runtime_error(std::string("no configuration ") + name);
    chain.filters_.emplace_back(*found, size);
  }
  return chain;
}

bool ChainCall::run(gx_frame* input) {
  Frame frame = gexton::share(*input);
  for (FilterCall& filter : filters_)
    if (frame != nullptr)
      frame = filter.process(*frame);
  return frame != nullptr;
}

} // namespace bench
