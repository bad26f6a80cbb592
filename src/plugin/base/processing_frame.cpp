#include "plugin/base/processing_frame.h"

#include <utility>

namespace filter_processor {
namespace {

constexpr const char* operation = "filter_process";

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
  const std::uint64_t needed = std::uint64_t{size.width} * size.height;
  const std::uint64_t present = host(gx_frame_get_data_size, depth_) / sizeof(std::uint16_t);
  if (present < needed)
    fail({"invalid frame data size error", operation, "frameData"});
  return failed_ ? FrameSize{} : size;
}

std::uint16_t* ProcessingFrame::copy_depth_to_output() {
  output_.reset(host(gx_create_frame_from_other_frame, depth_, true));
  // The host aligns pixel buffers for every pixel format.
  return reinterpret_cast<std::uint16_t*>(host(gx_frame_get_data, output_.get()));
}

void ProcessingFrame::release(OwnedProfile profile) {
  if (!failed_ && profile != nullptr)
    host(gx_delete_stream_profile, profile.release());
}

void ProcessingFrame::fail(const FilterError& reason) {
  warn(reason);
  failed_ = true;
}

void ProcessingFrame::fail_traced(const FilterError& reason) {
  if (failed_)
    return;
  fail(reason);
  if (error_ != nullptr)
    print_host_error_trace(*error_);
}

void ProcessingFrame::warn(const FilterError& reason) {
  if (!failed_)
    set_filter_error(error_, filter_, reason);
}

void ProcessingFrame::fail_kernel(const char* message, const char* args) {
  fail({message, operation, args, GX_EXCEPTION_TYPE_UNKNOWN});
}

gx_frame* ProcessingFrame::deliver() {
  release(std::move(profile_));
  if (failed_)
    return nullptr;
  if (input_type_ != GX_FRAME_SET)
    return output_.release();
  const auto member = gx::Frame::adopt(std::move(output_));
  OwnedFrame set{host(gx_create_frame_from_other_frame, input_, false)};
  host(gx_frameset_push_frame, set.get(), member->handle());
  return failed_ ? nullptr : set.release();
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
