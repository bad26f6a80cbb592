// A plug-in that shows what the command-line host hands over: its filters write what they were
// given into the frame's first pixels, or fail on purpose.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "gexton_host.hpp"

namespace {

const gexton::LiveHandles at_load;

enum class Kind { probe, failing, silent, schemaless, record };
constexpr const char* names[] = {"ProbeFilter", "FailingFilter", "SilentFilter", "SchemalessFilter",
                                 "RecordFilter"};

} // namespace

struct gx_priv_filter {
  Kind kind;
  std::vector<int> values{};
  uint64_t record_size = 0;
  int resets = 0;
  int configurations = 0;
};

namespace {

void reject(const char* message, const char* function, const char* args, gx_error** error) {
  *error =
      gx_create_error(GX_STATUS_ERROR, message, function, args, GX_EXCEPTION_TYPE_INVALID_VALUE);
}

/// What the filter learned about the frame and itself, one number for each pixel.
std::vector<int> observations(const gx_priv_filter& filter, const gx_frame* frame) {
  const gexton::Profile profile(gx_frame_get_stream_profile(frame, nullptr));
  const auto intrinsic = gx_video_stream_profile_get_intrinsic(profile.get(), nullptr);
  const auto d2d = gx_disparity_based_stream_profile_get_disparity_param(profile.get(), nullptr);
  std::vector<int> seen{
      static_cast<int>(gx_frame_get_index(frame, nullptr)),
      gx_video_frame_get_pixel_type(frame, nullptr),
      gx_video_frame_get_pixel_available_bit_size(frame, nullptr),
      static_cast<int>(gx_depth_frame_get_value_scale(frame, nullptr) * 1000),
      static_cast<int>(intrinsic.fx),
      static_cast<int>(d2d.baseline),
      d2d.packMode,
      static_cast<int>(gx_frame_get_metadata_value(frame, GX_METADATA_DISPARITY_OFFSET, nullptr)),
      static_cast<int>(filter.record_size),
      filter.resets,
      filter.configurations};
  seen.insert(seen.end(), filter.values.begin(), filter.values.end());
  return seen;
}

} // namespace

uint64_t gx_get_filter_count(gx_error**) {
  return std::size(names);
}

const char* gx_get_filter_name(int32_t index, gx_error**) {
  return names[index];
}

const char* gx_get_commit_hash() {
  return "probe";
}

gx_priv_filter_context* gx_create_filter(uint64_t index, gx_error**) {
  auto* context = new gx_priv_filter_context{};
  context->filter = new gx_priv_filter{static_cast<Kind>(index)};
  return context;
}

void gx_priv_filter_context_destroy(gx_priv_filter_context* context) {
  // The host must have given everything back before it lets its last filter go.
  if (!at_load.left_over().empty())
    std::printf("LEAK\n");
  delete context->filter;
  delete context;
}

const char* gx_priv_filter_get_config_schema(gx_priv_filter* filter) {
  return filter->kind == Kind::schemaless ? ""
                                          : "first,integer, 0,100, 1,7 , a value, with a comma\n "
                                            "second , float,-5, 5, 1, 3, x\n";
}

void gx_priv_filter_update_config(gx_priv_filter* filter, int32_t argc, const char** argv,
                                  gx_error** error) {
  std::vector<int> values(static_cast<size_t>(argc));
  std::transform(argv, argv + argc, values.begin(),
                 [](const char* text) { return std::atoi(text); });
  if (argc == 2 && values[1] > 5) {
    reject("params out of range", "probe::update", "second", error);
    return;
  }
  ++filter->configurations;
  filter->values = values;
}

void gx_priv_filter_set_config_data(gx_priv_filter* filter, const uint8_t*, uint64_t size,
                                    gx_error** error) {
  if (filter->kind != Kind::record) {
    reject("no record wanted", "probe::record", "data", error);
    return;
  }
  filter->record_size = size;
}

gx_frame* gx_priv_filter_process(gx_priv_filter* filter, gx_frame* frame, gx_error** error) {
  if (filter->kind == Kind::silent)
    return nullptr;
  if (filter->kind == Kind::failing && gx_frame_get_index(frame, nullptr) == 2) {
    reject("probe message", "probe::process", "probe args", error);
    return nullptr;
  }
  gx_frame* output = gx_create_frame_from_other_frame(frame, true, nullptr);
  uint8_t* data = gx_frame_get_data(output, nullptr);
  for (const int value : observations(*filter, frame)) {
    const auto pixel = static_cast<uint16_t>(value);
    std::memcpy(data, &pixel, sizeof pixel);
    data += sizeof pixel;
  }
  return output;
}

void gx_priv_filter_reset(gx_priv_filter* filter) {
  ++filter->resets;
}
