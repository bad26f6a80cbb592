#include "plugin/base/processing_frame.h"

#include <utility>

namespace filter_processor {
namespace {

constexpr const char* operation = "filter_process";

constexpr uint32_t data_size(FrameSize size) {
  return size.width * size.height * uint32_t{sizeof(uint16_t)};
}

} // namespace

ProcessingFrame::ProcessingFrame(const char* filter, gx_frame* input, gx_error** error)
    : filter_(filter), input_(input), error_(error), failed_(input == nullptr) {
  choose_depth();
}

void ProcessingFrame::choose_depth() {
  input_type_ = host(gx_frame_get_type, input_);
  if (input_type_ == GX_FRAME_SET) {
    if (OwnedFrame member{host(gx_frameset_get_depth_frame, input_)}) {
      depth_reference_ = gx::Frame::adopt(std::move(member));
      depth_ = depth_reference_->handle();
    }
  } else if (input_type_ == GX_FRAME_DEPTH) {
    depth_ = input_;
  }
  if (depth_ == nullptr)
    fail({"invalid frame type error", operation, "frameType"});
}

FrameSize ProcessingFrame::read_size() {
  const FrameSize size{host(gx_video_frame_get_width, depth_),
                       host(gx_video_frame_get_height, depth_)};
  const uint64_t needed = uint64_t{size.width} * size.height;
  const uint64_t present = host(gx_frame_get_data_size, depth_) / sizeof(uint16_t);
  if (present < needed)
    fail({"invalid frame data size error", operation, "frameData"});
  return failed_ ? FrameSize{} : size;
}

uint16_t* ProcessingFrame::copy_depth_to_output() {
  output_.reset(host(gx_create_frame_from_other_frame, depth_, true));
  return pixels_of(output_.get());
}

void ProcessingFrame::create_output_like_depth() {
  output_.reset(host(gx_create_frame_from_other_frame, depth_, false));
}

void ProcessingFrame::create_output(gx_format format, FrameSize size) {
  output_.reset(host(gx_create_frame, input_type_, format, data_size(size)));
  host(gx_frame_copy_info, depth_, output_.get());
}

OwnedProfile ProcessingFrame::copy_depth_profile() {
  OwnedProfile profile{host(gx_frame_get_stream_profile, depth_)};
  OwnedProfile copy{host(gx_create_stream_profile_from_other_stream_profile, profile.get())};
  release(std::move(profile));
  return copy;
}

void ProcessingFrame::complete_output(OwnedProfile profile, const uint16_t* pixels,
                                      FrameSize size) {
  host(gx_video_stream_profile_set_width, profile.get(), size.width);
  host(gx_video_stream_profile_set_height, profile.get(), size.height);
  host(gx_frame_set_stream_profile, output_.get(), profile.get());
  release(std::move(profile));
  host(gx_frame_update_data, output_.get(), reinterpret_cast<const uint8_t*>(pixels),
       data_size(size));
}

uint16_t* ProcessingFrame::pixels_of(gx_frame* frame) {
  // The host aligns pixel buffers for every pixel format.
  return reinterpret_cast<uint16_t*>(host(gx_frame_get_data, frame));
}

StreamFormat ProcessingFrame::stream_format_of(gx_stream_profile* profile) {
  // In braces: asked in this order.
  return {{host(gx_video_stream_profile_get_width, profile),
           host(gx_video_stream_profile_get_height, profile)},
          host(gx_stream_profile_get_format, profile)};
}

std::optional<int64_t> ProcessingFrame::read_disparity_offset() {
  constexpr gx_metadata_id offset = GX_METADATA_DISPARITY_OFFSET;
  if (!host(gx_frame_has_metadata, depth_, offset))
    return std::nullopt;
  const int64_t value = host(gx_frame_get_metadata_value, depth_, offset);
  return ok() ? std::optional(value) : std::nullopt;
}

void ProcessingFrame::release(OwnedProfile profile) {
  if (!failed_ && profile != nullptr)
    host(gx_delete_stream_profile, profile.release());
}

void ProcessingFrame::fail(const FilterError& reason) {
  if (failed_)
    return;
  failed_ = true;
  set_filter_error(error_, filter_, reason);
}

void ProcessingFrame::fail_traced(const FilterError& reason) {
  if (failed_)
    return;
  fail(reason);
  if (error_ != nullptr)
    print_host_error_trace(*error_);
}

void ProcessingFrame::fail_kernel(const char* message, const char* args) {
  fail({message, operation, args, GX_EXCEPTION_TYPE_UNKNOWN});
}

gx_frame* ProcessingFrame::deliver() {
  release(std::move(profile_));
  OwnedFrame result = input_type_ == GX_FRAME_SET ? set_with_output() : std::move(output_);
  if (failed_)
    return nullptr;
  if (warning_)
    set_filter_error(error_, filter_, *warning_);
  return result.release();
}

OwnedFrame ProcessingFrame::set_with_output() {
  if (failed_)
    return nullptr;
  const auto member = gx::Frame::adopt(std::move(output_));
  OwnedFrame set{host(gx_create_frame_from_other_frame, input_, false)};
  host(gx_frameset_push_frame, set.get(), member->handle());
  return set;
}

gx_frame* ProcessingFrame::deliver_copy_of_input() {
  return host(gx_create_frame_from_other_frame, input_, true);
}

void ProcessingFrame::host_failed(gx_error* error) {
  failed_ = true;
  OwnedError owned{error};
  if (error_ == nullptr)
    return;
  *error_ = owned.release();
  print_host_error_trace(*error_);
}

} // namespace filter_processor
