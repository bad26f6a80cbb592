#pragma once

#include "naive/false_positive.h"
#include "support/random.h"

namespace test {

inline int dice(Random& random, int sides) {
  return static_cast<int>(random() % static_cast<unsigned>(sides));
}

/// The default record with limits that small scenes reach, and everything switched by chance.
inline naive::false_positive::Record random_record(int width, int height, Random& random) {
  naive::false_positive::Record r = naive::false_positive::default_record(width, height);
  for (const size_t offset : {52U, 79U, 160U, 231U, 270U})
    r.u8(offset, dice(random, 3) == 0 ? 0 : 1 + dice(random, 255));
  r.u8(50, dice(random, 3) == 0 ? 1 : 0);
  r.u8(51, dice(random, 5)); // of which the kernel knows 1 to 3
  r.u16(4, one_of(random, {0, 0, 0, 1000}));
  r.u16(6, dice(random, 12));
  r.u16(8, one_of(random, {1, 100, 499, 500, 4000, 65535}));
  if (dice(random, 3) == 0)
    for (size_t bin = 0; bin < 20; ++bin)
      r.u16(10 + 2 * bin, dice(random, 4) == 0 ? dice(random, 65536) : dice(random, 80));
  r.u16(53, dice(random, 12));
  r.u16(55, one_of(random, {0, 0, 1, 2, 5, 60000}));
  r.u16(57, one_of(random, {200, 999, 1000, 10000, 10000}));
  for (const size_t roi : {59U, 84U, 167U}) {
    for (const size_t side : {0U, 4U, 8U, 12U}) {
      r.f32(roi + side, side % 8 == 0 ? one_of(random, {0.0F, 0.0F, 0.1F, 0.35F})
                                      : one_of(random, {1.0F, 1.0F, 0.9F, 0.4F}));
    }
  }
  r.f32(75, one_of(random, {0.98F, 0.5F, 1.0F}));
  r.u16(80, 20 + dice(random, dice(random, 3) == 0 ? 400 : 40));
  for (const size_t max_depth : {82U, 163U})
    r.u16(max_depth, one_of(random, {900, 1000, 1100, 6000, 6000}));
  r.u16(165, one_of(random, {900, 1000, 3000, 15000, 15000}));
  r.f32(104, one_of(random, {0.3F, 1.0F}));
  r.f32(108, one_of(random, {0.3F, 1.0F}));
  r.u16(161, 10 + dice(random, 200));
  r.f32(183, one_of(random, {0.15F, 0.02F, 0.6F}));
  r.f32(187, one_of(random, {0.25F, 0.1F, 1.0F}));
  for (size_t band = 0; band < 20; ++band)
    r.u16(191 + 2 * band, one_of(random, {0, 10, 50, 1000}));
  r.f32(234, one_of(random, {0.5F, 0.1F}));
  r.f32(250, static_cast<float>(height) / 2);
  r.f32(242, 20);
  r.f32(254, one_of(random, {0.0F, 0.3F}));
  r.f32(277, one_of(random, {0.1F, 0.8F}));
  r.f32(281, one_of(random, {0.4F, 0.0F}));
  r.f32(285, one_of(random, {1.0F, 0.5F, 0.8F}));
  return r;
}

} // namespace test
