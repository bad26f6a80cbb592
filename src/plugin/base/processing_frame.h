#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "plugin/base/errors.h"
#include "plugin/base/gx_frame.h"
#include "plugin/base/handles.h"

namespace filter_processor {

/// Pixels in a row and rows in a frame.
struct FrameSize {
  uint32_t width = 0;
  uint32_t height = 0;

  friend bool operator==(const FrameSize&, const FrameSize&) = default;
};

/// Whether the pixels of such a frame can be counted in the host's 32 bits of bytes.
constexpr bool fits_a_frame(FrameSize size) {
  return uint64_t{size.width} * size.height <= UINT32_MAX / sizeof(uint16_t);
}

/// What tells one stream of a camera from another.
struct StreamFormat {
  FrameSize size;
  gx_format format;

  bool operator==(const StreamFormat&) const = default;
};

/// One call of a filter's filter_process: what the call shares with those of all other filters.
///
/// It finds the depth frame of the input, makes the output frame, owns every handle taken on the
/// way and delivers the result. The first failure ends the call: it is stored in the caller's error
/// slot (and printed as the trace where a host function failed), after which every further
/// operation does nothing and returns zero, and `deliver` returns null. A null slot makes failures
/// silent.
///
/// A filter's filter_process therefore reads straight down and tests `ok()` only before it touches
/// pixels or its own state.
class ProcessingFrame {
 public:
  /// Chooses the depth frame: the input itself or, of a frame set, its depth frame. Any other input
  /// fails with "invalid frame type error"; a null input just has no result. `filter` is the class
  /// name, a constant text.
  ProcessingFrame(const char* filter, gx_frame* input, gx_error** error);
  ProcessingFrame(const ProcessingFrame&) = delete;
  ProcessingFrame& operator=(const ProcessingFrame&) = delete;
  ~ProcessingFrame() = default;

  bool ok() const { return !failed_; }

  /// The depth frame of the input, borrowed; null after a failure.
  gx_frame* depth() const { return depth_; }

  /// The input's own frame type: depth frame or frame set.
  gx_frame_type input_type() const { return input_type_; }

  /// `function(arguments..., error slot)`: the one way from a filter to a host function.
  template <typename Function, typename... Arguments>
  auto host(Function function, Arguments... arguments) {
    using Result = std::invoke_result_t<Function, Arguments..., gx_error**>;
    gx_error* error = nullptr;
    if constexpr (std::is_void_v<Result>) {
      if (!failed_)
        function(arguments..., &error);
      if (error != nullptr)
        host_failed(error);
    } else {
      Result result{};
      if (!failed_)
        result = function(arguments..., &error);
      if (error == nullptr)
        return result;
      host_failed(error);
      return Result{};
    }
  }

  /// The depth frame's size. Refuses a frame whose buffer is too short for it with "invalid frame
  /// data size error".
  FrameSize read_size();

  /// Size and format, as a profile says them.
  StreamFormat stream_format_of(gx_stream_profile* profile);

  /// The depth frame's disparity offset, pixels; none where the frame says nothing of it, or after
  /// a failure.
  std::optional<int64_t> read_disparity_offset();

  /// Gives a profile back where the host's answer matters: an error ends the call. Null does
  /// nothing.
  void release(OwnedProfile profile);

  /// Keeps a profile until the result is delivered, which is when it is given back in this way.
  void keep(OwnedProfile profile) { profile_ = std::move(profile); }

  /// Makes the output a copy of the depth frame and returns its pixels; null after a failure.
  uint16_t* copy_depth_to_output();

  /// Makes the output a frame like the depth frame, with zero pixels.
  void create_output_like_depth();

  /// Makes the output a frame of `size` zero pixels, which must fit a frame, with the depth frame's
  /// attributes, of which the host wants the format in advance. Its stream profile is the depth
  /// frame's until `complete_output`.
  void create_output(gx_format format, FrameSize size);

  /// An independent copy of the depth frame's stream profile.
  OwnedProfile copy_depth_profile();

  /// Gives an output made with `create_output` the profile, resized to `size`, and commits its
  /// pixels, which `pixels_of` has given.
  void complete_output(OwnedProfile profile, const uint16_t* pixels, FrameSize size);

  /// The output frame, borrowed; null until it is made.
  gx_frame* output() const { return output_.get(); }

  /// The pixels of the depth frame or the output; null after a failure.
  uint16_t* pixels_of(gx_frame* frame);

  /// Ends the call with an error of the filter's own.
  void fail(const FilterError& reason);

  /// The same for an error raised while parameters are derived, which is printed as the trace, like
  /// a host error.
  void fail_traced(const FilterError& reason);

  /// The same with the kernel's message, for a kernel that reports failure.
  void fail_kernel(const char* message, const char* args);

  /// Leaves an error for the caller beside the result, if the call has one in the end.
  void warn(const FilterError& reason) { warning_ = reason; }

  /// The result for the caller, who owns it: the output frame or, for a frame set, a new set that
  /// holds it. Null after a failure.
  gx_frame* deliver();

  /// Instead of an output: a copy of the whole input as it came, for the caller, who owns it.
  gx_frame* deliver_copy_of_input();

 private:
  void host_failed(gx_error* error);
  void choose_depth();
  OwnedFrame set_with_output();

  const char* filter_;
  gx_frame* input_;
  gx_error** error_;
  bool failed_ = false;
  std::optional<FilterError> warning_;
  gx_frame_type input_type_{};
  gx_frame* depth_ = nullptr;
  std::shared_ptr<gx::Frame> depth_reference_; // of a frame set's depth frame
  OwnedProfile profile_;
  OwnedFrame output_;
};

} // namespace filter_processor
