#pragma once

// A harness around one element, and what its frames have to be.

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include "gexton_host.hpp"
#include "recordings/host_frame.h"
#include "recordings/synth.h"

namespace gst_test {

using recordings::FrameSize;
using recordings::Image;

/// A folder for the files of this process alone: the test of leaks runs the same cases beside
/// others. Deleted with what is in it.
class OwnFolder {
 public:
  OwnFolder() { std::filesystem::create_directory(path_); }
  ~OwnFolder() { std::filesystem::remove_all(path_); }
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;

  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_ =
      testing::TempDir() + "filter_processor_gstreamer_" + std::to_string(getpid());
};

inline std::string caps_text(FrameSize size, int rate = 30) {
  return "video/x-raw,format=GRAY16_LE,width=" + std::to_string(size.width) +
         ",height=" + std::to_string(size.height) + ",framerate=" + std::to_string(rate) + "/1";
}

inline Image scene(FrameSize size, uint32_t frame, gx_pixel_type type = GX_PIXEL_DEPTH) {
  recordings::SceneSettings settings;
  settings.size = size;
  settings.pixel_type = type;
  return recordings::render_scene(settings, frame);
}

/// A buffer with `padding` bytes behind each row and before the first.
inline GstBuffer* make_buffer(const Image& image, size_t padding, uint64_t number) {
  gsize offset[GST_VIDEO_MAX_PLANES] = {padding};
  const size_t step = size_t{image.size.width} * 2 + padding;
  gint stride[GST_VIDEO_MAX_PLANES] = {static_cast<gint>(step)};
  GstBuffer* const buffer =
      gst_buffer_new_allocate(nullptr, padding + step * image.size.height, nullptr);
  gst_buffer_memset(buffer, 0, 0xA5, gst_buffer_get_size(buffer));
  for (size_t y = 0; y < image.size.height; ++y)
    gst_buffer_fill(buffer, padding + y * step, &image.pixels[y * image.size.width],
                    size_t{image.size.width} * 2);
  gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_GRAY16_LE,
                                 image.size.width, image.size.height, 1, offset, stride);
  GST_BUFFER_PTS(buffer) = number * GST_SECOND / 30;
  GST_BUFFER_DURATION(buffer) = GST_SECOND / 30;
  GST_BUFFER_OFFSET(buffer) = number;
  return buffer;
}

/// The harness's own pads take any caps and pools; the bus has the element's messages.
class Pipeline {
 public:
  explicit Pipeline(const std::string& launch, FrameSize size = {64, 48}) : size_(size) {
    harness_ = gst_harness_new_parse(launch.c_str());
    element_ = gst_harness_find_element(harness_, launch.substr(0, launch.find(' ')).c_str());
    bus_ = gst_bus_new();
    gst_element_set_bus(harness_->element, bus_);
    gst_harness_set_src_caps_str(harness_, caps_text(size).c_str());
  }
  ~Pipeline() {
    gst_bus_set_flushing(bus_, TRUE); // messages hold the elements that hold the bus
    gst_harness_teardown(harness_);
    gst_object_unref(element_);
    gst_object_unref(bus_);
  }
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  GstHarness* harness() { return harness_; }
  GstElement* element() { return element_; }
  GObject* object() { return G_OBJECT(element_); }

  GstBuffer* push(const Image& image, size_t padding = 0, bool discont = false) {
    GstBuffer* const buffer = make_buffer(image, padding, number_++);
    if (discont)
      GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
    flow_ = gst_harness_push(harness_, buffer);
    return flow_ == GST_FLOW_OK ? gst_harness_pull(harness_) : nullptr;
  }
  /// What comes out, row by row.
  Image filter(const Image& image, size_t padding = 0, bool discont = false) {
    GstBuffer* const buffer = push(image, padding, discont);
    return buffer != nullptr ? unpack(buffer) : Image{};
  }
  Image filter(uint32_t frame) { return filter(scene(size_, frame)); }

  Image unpack(GstBuffer* buffer) {
    GstCaps* const caps = gst_pad_get_current_caps(harness_->sinkpad);
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps);
    gst_caps_unref(caps);
    GstVideoFrame frame;
    gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ);
    Image image{{static_cast<uint32_t>(info.width), static_cast<uint32_t>(info.height)}, {}};
    image.pixels.resize(image.size.pixel_count());
    for (size_t y = 0; y < image.size.height; ++y)
      std::memcpy(&image.pixels[y * image.size.width],
                  static_cast<uint8_t*>(frame.data[0]) +
                      static_cast<ptrdiff_t>(y) * frame.info.stride[0],
                  size_t{image.size.width} * 2);
    gst_video_frame_unmap(&frame);
    gst_buffer_unref(buffer);
    return image;
  }

  /// The texts of the messages of that kind since the last call, one a line.
  std::string messages(GstMessageType type) {
    std::string texts;
    while (GstMessage* const message = gst_bus_pop_filtered(bus_, type)) {
      GError* error = nullptr;
      if (type == GST_MESSAGE_WARNING)
        gst_message_parse_warning(message, &error, nullptr);
      else
        gst_message_parse_error(message, &error, nullptr);
      texts += std::string(error->message) + "\n";
      g_error_free(error);
      gst_message_unref(message);
    }
    return texts;
  }
  GstFlowReturn flow() const { return flow_; }

 private:
  FrameSize size_;
  GstHarness* harness_;
  GstElement* element_;
  GstBus* bus_;
  GstFlowReturn flow_ = GST_FLOW_OK;
  uint64_t number_ = 0;
};

/// The same by the filters themselves, of a host that knows nothing of GStreamer.
class Direct {
 public:
  explicit Direct(const std::string& filter,
                  const std::vector<std::pair<std::string, std::string>>& given = {},
                  recordings::CameraFacts facts = recordings::CameraFacts::object())
      : filter_(gexton::Filter::create(filter)), facts_(std::move(facts)) {
    set(given);
  }

  void set(const std::vector<std::pair<std::string, std::string>>& given) {
    std::vector<std::string> values;
    for (const gexton::Parameter& parameter : filter_.schema()) {
      values.push_back(parameter.default_value);
      for (const auto& [key, value] : given)
        if (key == parameter.name)
          values.back() = value;
    }
    gexton::ErrorSlot slot;
    if (values.empty())
      filter_.reset();
    else
      filter_.update_config(values, slot);
    EXPECT_EQ(slot.text(), "");
  }

  Image filter(const Image& image) {
    const auto camera = recordings::make_camera(facts_, image.size);
    if (profile_ == nullptr)
      profile_ = std::move(*recordings::make_profile(image.size, *camera));
    const auto frame =
        recordings::make_frame(recordings::ImageView(image), index_++, *profile_, *camera);
    gexton::ErrorSlot slot;
    const auto filtered = filter_.process(**frame, slot);
    EXPECT_EQ(slot.text(), "");
    const auto view = recordings::look_at(*filtered);
    return {view->size, {view->pixels.begin(), view->pixels.end()}};
  }

 private:
  gexton::Filter filter_;
  recordings::CameraFacts facts_;
  gexton::Profile profile_;
  uint64_t index_ = 0;
};

} // namespace gst_test
