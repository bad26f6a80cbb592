// What the checks work with: descriptions of outcomes, test frames, and what is left over.
#pragma once

#include <string>
#include <vector>

#include "gexton_host.h"
#include "validation.h"

namespace gxfilter::validation {

inline constexpr const char* no_error = "no error";

// 'the error "message" in function(args), type 4', or "no error" for null.
[[nodiscard]] std::string describe(const gx_error* error);
[[nodiscard]] std::string describe_error(const std::string& message, const std::string& function,
                                         const std::string& args,
                                         gx_exception_type type = GX_EXCEPTION_TYPE_INVALID_VALUE,
                                         gx_status status = GX_STATUS_ERROR);
[[nodiscard]] std::string message_of(const gx_error* error);

// An error slot in which a mark tells whether it was written. Owns what is written.
class MarkedSlot {
 public:
  MarkedSlot() = default;
  MarkedSlot(const MarkedSlot&) = delete;
  MarkedSlot& operator=(const MarkedSlot&) = delete;
  ~MarkedSlot();

  gx_error** receive() { return &error_; }
  // "untouched" or what became of it.
  [[nodiscard]] std::string state() const;

 private:
  static gx_error* mark();

  gx_error* error_ = mark();
};

// The host's objects that are alive.
class LiveHandles {
 public:
  LiveHandles();
  // "nothing left over", or what is alive now that was not then, and releases too many since then.
  [[nodiscard]] std::string left_over() const;

 private:
  gexton_live_handles live_;
  uint64_t excess_releases_;
};
inline constexpr const char* nothing_left = "nothing left over";

// ---- frames ----

struct PixelKind {
  const char* name;
  gx_pixel_type type;
};
inline constexpr PixelKind pixel_kinds[] = {{"depth", GX_PIXEL_DEPTH},
                                            {"disparity", GX_PIXEL_DISPARITY},
                                            {"time-of-flight", GX_PIXEL_TOF_DEPTH}};

// Rows of whole cache lines, so that guarded buffers end exactly where the pixels do.
inline constexpr FrameSize usual_size{64, 40};

// A frame of a generated scene, with all that filters ask of a camera. Two references are held, so
// that a filter that gives back one that is not its own can be told from one that does not.
class Input {
 public:
  Input(PixelKind kind, FrameSize size = usual_size, uint32_t number = 0,
        gx_frame_type type = GX_FRAME_DEPTH);

  [[nodiscard]] gx_frame& frame() const { return *frame_; }
  [[nodiscard]] gx_frame* get() const { return frame_.get(); }

  // Cuts the pixel buffer to so many bytes; the profile keeps its size.
  void shorten(uint32_t bytes) const;

 private:
  FrameHandle frame_;
  FrameHandle second_reference_;
};

// A frame set that holds these frames. Throws Unable.
[[nodiscard]] FrameHandle make_set(const std::vector<gx_frame*>& members);
[[nodiscard]] FrameHandle depth_member(const gx_frame& set);

// Everything about a depth frame that the host tells.
class FrameState {
 public:
  explicit FrameState(const gx_frame& frame);

  // "unchanged", or the names of what differs.
  [[nodiscard]] std::string changes_to(const FrameState& later) const;
  [[nodiscard]] const std::vector<uint8_t>& pixels() const { return parts_.front().bytes; }
  [[nodiscard]] bool same_pixels(const FrameState& other) const {
    return pixels() == other.pixels();
  }

 private:
  struct Part {
    const char* name;
    std::vector<uint8_t> bytes;
  };
  std::vector<Part> parts_; // the pixels first
};
inline constexpr const char* unchanged = "unchanged";

// ---- parameters ----

[[nodiscard]] std::vector<std::string> default_values(const std::vector<Parameter>& schema);

// Parameters with which a filter works on frames of the usual size.
struct Setting {
  std::string label;
  std::vector<std::string> values;
};
[[nodiscard]] std::vector<Setting> settings_of(const Filter& filter, FrameSize size = usual_size);

// "no error" or the error's description.
std::string update(Filter& filter, const std::vector<std::string>& values);

// A new instance with the setting. Throws Unable where that is refused.
[[nodiscard]] Filter make_configured(const Subject& subject, const Setting& setting);

// The frame that the filter makes of the input. Throws Unable where there is none.
FrameHandle process(Filter& filter, const Input& input);

// What a call of process gave: "a new frame", "no frame and the error ...", and so on.
[[nodiscard]] std::string describe(const gx_frame* output, const gx_frame* input,
                                   const gx_error* error);

} // namespace gxfilter::validation
