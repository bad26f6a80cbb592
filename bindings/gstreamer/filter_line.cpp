#include "filter_line.h"

#include <algorithm>

#include <fmt/format.h>

namespace depth_elements {

using namespace gxfilter;
using namespace recordings;

namespace {

Result<gexton::Frame> wrap(ImageView image, uint64_t index, gx_stream_profile& profile,
                           const Camera& camera) {
  gexton::ErrorSlot slot;
  gexton::Frame frame(gexton_wrap_video_frame(GX_FRAME_DEPTH, &profile, image.pixels.data(),
                                              nullptr, nullptr, slot.receive()));
  if (slot)
    return Error{slot.text(), ErrorKind::processing};
  if (auto failure = describe_frame(*frame, index, camera))
    return *failure;
  return frame;
}

Result<gexton::Frame> apply(hosting::Filter& filter, gx_frame& frame) {
  gexton::ErrorSlot slot;
  gexton::Frame filtered = filter.process(frame, slot);
  if (filtered && !slot)
    return filtered;
  return Error{
      fmt::format("{} fails: {}", filter.name(), slot ? slot.text() : "no frame and no error"),
      ErrorKind::processing};
}

} // namespace

const std::shared_ptr<const hosting::Plugin>& linked_plugin() {
  // Never destroyed: filters may live as long as the process.
  static const auto& plugin = *new std::shared_ptr(hosting::Plugin::linked(
      {gx_get_filter_count, gx_get_filter_name, gx_get_commit_hash, gx_create_filter,
       gx_priv_filter_context_destroy, gx_priv_filter_get_config_schema,
       gx_priv_filter_update_config, gx_priv_filter_set_config_data, gx_priv_filter_process,
       gx_priv_filter_reset}));
  return plugin;
}

namespace {

/// With another record, frames mean something else.
bool is_same_filter(const FilterRequest& left, const FilterRequest& right) {
  return left.name == right.name && left.record == right.record &&
         left.record_bytes == right.record_bytes;
}

} // namespace

bool Setup::operator==(const Setup& other) const {
  return ranges == other.ranges && facts.facts() == other.facts.facts() &&
         std::ranges::equal(requests, other.requests, [](const auto& left, const auto& right) {
           return is_same_filter(left, right) && left.values == right.values;
         });
}

Failure check_setup(const Setup& setup) {
  const auto chain = make_chain(linked_plugin(), setup.requests, setup.ranges);
  return chain ? std::nullopt : Failure(chain.error());
}

Result<std::unique_ptr<FilterLine>> FilterLine::begin(Setup setup, FrameSize size) {
  if (auto failure = check_size(size.width, size.height))
    return *failure;
  if (auto failure = setup.facts.check_size_of(size))
    return *failure;
  const auto camera = make_camera(setup.facts.facts(), size);
  if (!camera)
    return camera.error();
  auto profile = make_profile(size, *camera);
  if (!profile)
    return profile.error();
  auto chain = make_chain(linked_plugin(), setup.requests, setup.ranges);
  if (!chain)
    return chain.error();
  return std::unique_ptr<FilterLine>(
      new FilterLine(std::move(setup), size, *camera, std::move(*profile), std::move(*chain)));
}

bool FilterLine::has_history_of(const Setup& setup) const {
  return setup.facts.facts() == setup_.facts.facts() &&
         std::ranges::equal(setup.requests, setup_.requests, is_same_filter);
}

Failure FilterLine::configure_again(const Setup& setup) {
  for (size_t i = 0; i < setup.requests.size(); ++i) {
    if (setup.requests[i].values == setup_.requests[i].values)
      continue;
    // A filter without parameters is reset by being configured.
    if (auto failure = configure(chain_.filters[i], setup.requests[i], setup.ranges))
      return failure;
  }
  return std::nullopt;
}

Failure FilterLine::become(Setup setup) {
  if (has_history_of(setup)) {
    if (auto failure = configure_again(setup)) {
      // Some filters keep the values that came before a refused one.
      static_cast<void>(forget());
      return failure;
    }
    setup_ = std::move(setup);
    return std::nullopt;
  }
  auto other = begin(std::move(setup), size_);
  if (!other)
    return other.error();
  *this = std::move(**other);
  return std::nullopt;
}

Failure FilterLine::forget() {
  auto chain = make_chain(linked_plugin(), setup_.requests, setup_.ranges);
  if (!chain)
    return chain.error();
  chain_ = std::move(*chain);
  index_ = 0;
  return std::nullopt;
}

Result<gexton::Frame> FilterLine::process(ImageView image, std::span<uint16_t> target) {
  if (auto failure = check_codes(image, camera_))
    return *failure;
  auto frame = wrap(image, index_, *profile_, camera_);
  ++index_;
  for (hosting::Filter& filter : chain_.filters) {
    if (!frame)
      break;
    const bool is_last = &filter == &chain_.filters.back();
    if (is_last && !target.empty())
      gexton_offer_pixels(target.data(), static_cast<uint32_t>(target.size_bytes()));
    frame = apply(filter, **frame);
    gexton_offer_pixels(nullptr, 0); // where the filter did not take it, nobody else may
  }
  return frame;
}

} // namespace depth_elements
