#pragma once

#include <array>
#include <cstdint>

#include "gexton_sdk.h"

namespace filter_processor {

/// The depth of every code that a 16-bit pixel can hold; 0 where a code has no depth. Always full
/// size, so that no look-up needs a bound.
using DisparityTable = std::array<uint16_t, 65536>;

/// What a table depends on besides the camera's record.
struct DepthOutput {
  uint32_t max_depth = 0;        ///< millimetres; larger depths are no depth
  uint32_t min_depth = 0;        ///< millimetres; smaller depths are no depth
  float value_scale = 1.0F;      ///< units of the output for one millimetre
  float disparity_offset = 0.0F; ///< added to every disparity of a stereo camera, in pixels
  bool shifted_codes = false;    ///< depths must fit 12 bits, because four other bits stand below
};

/// Number of codes of `bit_size` bits: 2^bit_size, at most the table's size.
uint32_t disparity_code_count(uint8_t bit_size);

/// Each builder expects a zero table and writes the entries of the record's codes (2^bitSize of
/// them, at most 65536). False for a pack mode that it does not know; the table then stays zero.
bool fill_stereo_table(const D2DParameters& camera, const DepthOutput& output,
                       DisparityTable& table);
bool fill_mono_table(const D2DParameters& camera, const DepthOutput& output, DisparityTable& table);

/// The stereo table for codes of pack mode 1, whatever the record's pack mode and kind of camera.
void fill_stereo_table_of_pack_mode_1(const D2DParameters& camera, const DepthOutput& output,
                                      DisparityTable& table);

} // namespace filter_processor
