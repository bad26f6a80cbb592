#include "filter_call.h"

#include <stdexcept>

#include "gexton_host.h"

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

gx_priv_filter_context* create(const std::string& filter) {
  for (uint64_t i = 0; i < gx_get_filter_count(nullptr); ++i)
    if (gx_get_filter_name(static_cast<int32_t>(i), nullptr) == filter)
      return gx_create_filter(i, nullptr);
  throw std::runtime_error("no filter " + filter);
}

void configure(gx_priv_filter_context& context, const Configuration& configuration, Size size) {
  if (configuration.parameters.empty())
    return;
  std::vector<std::string> texts;
  for (const std::string& parameter : configuration.parameters)
    texts.push_back(parameter_text(parameter, size));
  std::vector<const char*> values;
  values.reserve(texts.size());
  for (const std::string& text : texts)
    values.push_back(text.c_str());
  gx_error* error = nullptr;
  context.update_config(context.filter, static_cast<int32_t>(values.size()), values.data(), &error);
  if (error != nullptr) {
    gx_delete_error(error);
    throw std::runtime_error(configuration.name() + " refuses its parameters");
  }
}

} // namespace

Frame make_frame(Size size, const uint16_t* pixels, gx_pixel_type type) {
  const std::unique_ptr<gx_stream_profile, Release> profile{
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
    : context_(create(configuration.filter)) {
  configure(*context_, configuration, size);
}

bool FilterCall::run(gx_frame* input) {
  return Frame{context_->process(context_->filter, input, nullptr)} != nullptr;
}

} // namespace bench
