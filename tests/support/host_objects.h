#pragma once

// The host's side of a test: frames, sets and filter instances with owners, and errors as values.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "filter_processor.h"
#include "gexton_host.h"

namespace test {

using Pixels = std::vector<uint16_t>;

struct Release {
  void operator()(gx_frame* frame) const { gx_delete_frame(frame, nullptr); }
  void operator()(gx_stream_profile* profile) const { gx_delete_stream_profile(profile, nullptr); }
  void operator()(gx_error* error) const { gx_delete_error(error); }
  void operator()(gx_priv_filter_context* context) const { context->destroy(context); }
};

using Frame = std::unique_ptr<gx_frame, Release>;
using Profile = std::unique_ptr<gx_stream_profile, Release>;

/// An error slot that owns what it receives.
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;
  ~ErrorSlot() { clear(); }

  gx_error** out() {
    clear();
    return &error_;
  }
  bool empty() const { return error_ == nullptr; }

  /// "message | function | args | type", or "" without an error; so one comparison checks them all.
  std::string text() const {
    if (error_ == nullptr)
      return "";
    EXPECT_EQ(gx_error_get_status(error_), GX_STATUS_ERROR);
    return std::string(gx_error_get_message(error_)) + " | " + gx_error_get_function(error_) +
           " | " + gx_error_get_args(error_) + " | " +
           std::to_string(gx_error_get_exception_type(error_));
  }

  /// The four lines that the plug-in prints for this error.
  std::string trace() const {
    return std::string("gx_error was raised: \n\tcall: ") + gx_error_get_function(error_) + "(" +
           gx_error_get_args(error_) + ")\n\tmessage: " + gx_error_get_message(error_) +
           "\n\terror type: " + std::to_string(gx_error_get_exception_type(error_)) + "\n";
  }

 private:
  void clear() {
    if (error_ != nullptr)
      gx_delete_error(error_);
    error_ = nullptr;
  }
  gx_error* error_ = nullptr;
};

/// A frame of `width` x `height` pixels of the given kind.
inline Frame make_frame(uint32_t width, uint32_t height, const Pixels& pixels,
                        gx_pixel_type pixel_type = GX_PIXEL_DEPTH,
                        gx_frame_type type = GX_FRAME_DEPTH) {
  EXPECT_EQ(pixels.size(), size_t{width} * height);
  const Profile profile{gexton_create_stream_profile(GX_FORMAT_Y16, width, height, nullptr)};
  Frame frame{gexton_create_video_frame(type, profile.get(), pixels.data(), nullptr)};
  gx_video_frame_set_pixel_type(frame.get(), pixel_type, nullptr);
  return frame;
}

inline Frame make_set(const std::vector<gx_frame*>& members) {
  Frame set{gexton_create_frameset(nullptr)};
  for (gx_frame* member : members)
    gx_frameset_push_frame(set.get(), member, nullptr);
  return set;
}

inline Pixels pixels_of(const gx_frame* frame) {
  const auto* data = reinterpret_cast<const uint16_t*>(gx_frame_get_data(frame, nullptr));
  return {data, data + gx_frame_get_data_size(frame, nullptr) / 2};
}

/// A filter instance driven through its context record.
class Filter {
 public:
  explicit Filter(const std::string& name) {
    for (uint64_t i = 0; i < gx_get_filter_count(nullptr); ++i)
      if (gx_get_filter_name(static_cast<int32_t>(i), nullptr) == name)
        context_.reset(gx_create_filter(i, nullptr));
  }

  /// The error's text, "" when the values were accepted.
  std::string update(std::vector<const char*> values) {
    ErrorSlot error;
    context_->update_config(context_->filter, static_cast<int32_t>(values.size()), values.data(),
                            error.out());
    return error.text();
  }
  std::string update_to(const std::vector<std::string>& texts) {
    std::vector<const char*> values;
    values.reserve(texts.size());
    for (const std::string& text : texts)
      values.push_back(text.c_str());
    return update(std::move(values));
  }
  Frame process(gx_frame* frame, gx_error** error = nullptr) {
    return Frame{context_->process(context_->filter, frame, error)};
  }
  Frame process(const Frame& frame, ErrorSlot& error) { return process(frame.get(), error.out()); }
  void reset() { context_->reset(context_->filter); }
  gx_priv_filter_context* context() { return context_.get(); }

 private:
  std::unique_ptr<gx_priv_filter_context, Release> context_;
};

/// Fails the test when host objects are left over at the end of a scope.
class NoLeftovers {
 public:
  NoLeftovers() = default;
  NoLeftovers(const NoLeftovers&) = delete;
  NoLeftovers& operator=(const NoLeftovers&) = delete;
  ~NoLeftovers() {
    const auto now = gexton_get_live_handles();
    EXPECT_EQ(now.frames, before_.frames);
    EXPECT_EQ(now.stream_profiles, before_.stream_profiles);
    EXPECT_EQ(now.errors, before_.errors);
    EXPECT_EQ(gexton_get_excess_releases(), excess_before_);
  }

 private:
  gexton_live_handles before_ = gexton_get_live_handles();
  uint64_t excess_before_ = gexton_get_excess_releases();
};

} // namespace test
