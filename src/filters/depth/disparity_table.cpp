#include "filters/depth/disparity_table.h"

#include <algorithm>
#include <cmath>

namespace filter_processor {
namespace {

/// Codes from here on are marks of the camera, not disparities.
constexpr uint32_t first_reserved_code = 65532;

/// Codes for one pixel of disparity when `integer_bits` of the record's bits are its whole part.
double codes_per_pixel(const D2DParameters& camera, int integer_bits) {
  return std::ldexp(1.0, int{camera.bitSize} - integer_bits);
}

/// The output value of a depth, cut to a whole number; 0 outside the range (NaN is outside it).
class OutputRange {
 public:
  explicit OutputRange(const DepthOutput& output)
      : max_(static_cast<float>(output.max_depth) * output.value_scale),
        min_(static_cast<float>(output.min_depth) * output.value_scale) {}

  uint16_t entry(double depth, double end = 65536.0) const {
    const bool inside = depth <= double{max_} && depth >= double{min_} && depth < end;
    return inside ? static_cast<uint16_t>(depth) : uint16_t{0};
  }

 private:
  float max_, min_; // the bounds are float32 products by definition; min_ is never negative
};

/// `decode` turns a code into a disparity in pixels; disparities from `limit` on are invalid.
template <typename Decode>
void fill_stereo(const D2DParameters& camera, const DepthOutput& output, double limit,
                 DisparityTable& table, Decode decode) {
  const OutputRange range(output);
  const double bf = double{camera.baseline} * camera.fx;
  const double units = double{output.value_scale * camera.unit}; // a float32 product by definition
  const double end = output.shifted_codes ? 4096.0 : 65536.0;
  const uint32_t count = std::min(disparity_code_count(camera.bitSize), first_reserved_code);
  for (uint32_t code = 0; code < count; ++code) {
    const double d = decode(code);
    const bool invalid = std::abs(d - static_cast<double>(camera.invalidDisp)) < 0.0001;
    if (!invalid && d > 0.0 && d < limit) {
      const double disparity = double{camera.dispOffset} + d + double{output.disparity_offset};
      table[code] = range.entry(bf / disparity * units, end);
    }
  }
}

/// `decode` turns a code into the disparity against the reference plane, in pixels. `skipped` codes
/// have no depth. Code 65535 never gets an entry.
template <typename Skipped, typename Decode>
void fill_mono(const D2DParameters& camera, const DepthOutput& output, DisparityTable& table,
               Skipped skipped, Decode decode) {
  const OutputRange range(output);
  const double k = camera.zpd / (double{camera.baseline} * camera.fx);
  const double units = double{camera.unit} * double{output.value_scale} * camera.zpd;
  const uint32_t count = std::min(disparity_code_count(camera.bitSize), 65535U);
  for (uint32_t code = 0; code < count; ++code)
    if (!skipped(code))
      table[code] = range.entry(units / ((double{camera.dispOffset} + decode(code)) * k + 1.0));
}

} // namespace

uint32_t disparity_code_count(uint8_t bit_size) {
  return uint32_t{1} << std::min<uint32_t>(bit_size, 16);
}

void fill_stereo_table_of_pack_mode_1(const D2DParameters& camera, const DepthOutput& output,
                                      DisparityTable& table) {
  const double scale = codes_per_pixel(camera, 8);
  fill_stereo(camera, output, 256.0, table, [&](uint32_t code) {
    return 200.375 - (2 * code) / scale + 128.0 - double{camera.minDisparity};
  });
}

bool fill_stereo_table(const D2DParameters& camera, const DepthOutput& output,
                       DisparityTable& table) {
  const auto fill_unsigned = [&](int integer_bits) {
    const double scale = codes_per_pixel(camera, integer_bits);
    fill_stereo(camera, output, std::ldexp(1.0, integer_bits), table,
                [=](uint32_t code) { return code / scale; });
  };
  switch (camera.packMode) {
  case 1:
    fill_stereo_table_of_pack_mode_1(camera, output, table);
    return true;
  case 2:
    fill_unsigned(8);
    return true;
  case 3:
    fill_unsigned(10);
    return true;
  default:
    return false;
  }
}

bool fill_mono_table(const D2DParameters& camera, const DepthOutput& output,
                     DisparityTable& table) {
  const double scale = codes_per_pixel(camera, 8);
  switch (camera.packMode) {
  case 1:
    fill_mono(
        camera, output, table, [](uint32_t code) { return code == 0; },
        [=](uint32_t code) { return 200.375 - (2 * code) / scale; });
    return true;
  case 2:
    fill_mono(
        camera, output, table, [](uint32_t code) { return code == 8192; },
        [=](uint32_t code) {
          // The low 14 bits as a signed number.
          return (static_cast<int32_t>((code - 8192) & 0x3fff) - 8192) / scale;
        });
    return true;
  case 4:
    fill_mono(
        camera, output, table, [](uint32_t code) { return code >= first_reserved_code; },
        [=](uint32_t code) { return code / scale; });
    return true;
  default:
    return false;
  }
}

} // namespace filter_processor
