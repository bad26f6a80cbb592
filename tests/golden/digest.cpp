#include "golden/digest.h"

namespace golden {

Digest& Digest::add(const std::string& text) {
  add(text.size());
  for (const char c : text)
    add(static_cast<uint16_t>(static_cast<unsigned char>(c)));
  return *this;
}

Digest& Digest::add(const test::CameraFrame& frame) {
  add(frame.type).add(frame.format).add(frame.index).add(frame.width).add(frame.height);
  add(frame.pixel_type).add(frame.bits).add(frame.scale);
  add(frame.offset.has_value()).add(frame.offset.value_or(0));
  const gx_camera_intrinsic& lens = frame.intrinsic;
  add(lens.fx).add(lens.fy).add(lens.cx).add(lens.cy).add(lens.width).add(lens.height);
  const D2DParameters& record = frame.record;
  const auto add_field = [&](auto field) { add(field); }; // a copy: they are packed
  add_field(record.zpd);
  add_field(record.zpps);
  add_field(record.baseline);
  add_field(record.fx);
  add_field(record.bitSize);
  add_field(record.unit);
  add_field(record.minDisparity);
  add_field(record.packMode);
  add_field(record.dispOffset);
  add_field(record.invalidDisp);
  add_field(record.dispIntPlace);
  add_field(record.isDualCamera);
  add(frame.pixels.size());
  for (const uint16_t pixel : frame.pixels)
    add(pixel);
  return *this;
}

} // namespace golden
