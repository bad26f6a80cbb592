#pragma once

#include <array>
#include <cstdint>

#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// What a filter's derived parameters depend on, as read from a frame. Floats compare exactly.
struct FrameInfo {
  uint64_t width = 0;            ///< pixels
  uint64_t height = 0;           ///< pixels
  double depth_unit = 1.0;       ///< the frame's value scale: millimetres for one unit
  int32_t depth_flag = -1;       ///< the frame's gx_pixel_type
  float bxf = 0.0F;              ///< baseline x focal length of the camera, mm x pixels
  uint8_t fraction_bit_size = 0; ///< fraction bits of a fixed-point pixel value

  friend bool operator==(const FrameInfo&, const FrameInfo&) = default;
};

/// Which frames are asked for their value scale: all, or all but GX_PIXEL_TOF_DEPTH ones.
enum class ValueScale { of_every_frame, of_frames_with_disparity_record };

/// Reads the depth frame's description and camera record through the host. What a
/// GX_PIXEL_TOF_DEPTH frame does not carry (record, bit size, maybe value scale) keeps its value in
/// `info` and `record`. To be called without the filter's lock: the host may wait in its functions
/// for a thread that configures the filter. Refuses a frame whose buffer is too short; after any
/// failure nothing has changed. Returns call.ok().
bool read_frame_info(ProcessingFrame& call, ValueScale value_scale, FrameInfo& info,
                     D2DParameters& record);

/// Gives the description of a GX_PIXEL_TOF_DEPTH frame the camera facts, which it does not carry,
/// of the frame before it.
void inherit_camera_facts(FrameInfo& info, const FrameInfo& before);

/// Writes the description to standard output, one line for each value; the 8-bit fraction bits come
/// out as a character.
void print_frame_info(const FrameInfo& current_frame_info);

/// A difference in disparity units with `from_bits` fraction bits, brought to `to_bits`, cut to a
/// whole number and to 16 bits.
uint16_t rescale_fraction_bits(uint16_t difference, uint8_t from_bits, uint8_t to_bits);

/// Largest depth differences between neighbours of one surface, one entry for each depth bin of
/// about half a metre (less with units below 0.05 mm): what a difference of disparities makes at
/// that distance, of which 16 bits are kept.
struct DepthDiffLut {
  static constexpr uint8_t size = 7;

  std::array<uint16_t, size> entries{};
  uint8_t shift = 0; ///< a depth's bin is depth >> shift
};

/// Fills the table for a difference of `difference` disparity units. Frames of neither depth kind
/// get zero entries and keep the shift. Returns 0, or 1 for a depth frame whose depth unit or `bxf`
/// is not above 0 (then nothing changes).
int updateDepthDiffLut(const FrameInfo& info, uint16_t difference, DepthDiffLut& lut);

/// What a filter says where that returns 1.
inline constexpr FilterError depth_diff_lut_error{"update depth diff lut error", "updateConfig",
                                                  "updateDepthDiffLut()"};

/// Writes the entries to standard output, on one line under their heading.
void print_depth_diff_lut(const DepthDiffLut& depth_diff_lut);

} // namespace filter_processor
