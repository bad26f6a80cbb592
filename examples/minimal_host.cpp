// The host of minimal_host.c with the owners of gexton_host.hpp: nothing is given back by hand, and
// no way out of main leaks. C++17.

#include <cstdio>
#include <cstring>

#include "gexton_host.hpp"

namespace {

constexpr uint32_t width = 8, height = 4;

void print_pixels(const char* title, const gx_frame& frame) {
  uint16_t pixels[width * height];
  std::memcpy(pixels, gx_frame_get_data(&frame, nullptr), sizeof pixels);
  std::printf("%s", title);
  for (uint32_t i = 0; i < width * height; ++i)
    std::printf("%s%4d", i > 0 && i % width == 0 ? "\n        " : " ", pixels[i]);
  std::printf("\n");
}

int fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  return 1;
}

} // namespace

int main() {
  const uint16_t scene[width * height] = {
      900, 901, 902, 903, 904, 905, 906, 907, // a wall with a gap in its middle
      900, 901, 0,   0,   904, 905, 906, 907, //
      900, 901, 0,   0,   904, 905, 0,   907, //
      900, 901, 902, 903, 904, 905, 906, 907,
  };
  gexton::ErrorSlot error;
  const gexton::Profile profile(
      gexton_create_stream_profile(GX_FORMAT_Y16, width, height, error.receive()));
  if (error)
    return fail(error.text());
  const gexton::Frame frame(
      gexton_create_video_frame(GX_FRAME_DEPTH, profile.get(), scene, error.receive()));
  if (error)
    return fail(error.text());

  gexton::Filter filter = gexton::Filter::create("HoleFillingFilter");
  if (!filter)
    return fail("there is no HoleFillingFilter");
  filter.update_config({"1"}, error); // fill with the nearest neighbouring surface
  if (error)
    return fail(error.text());
  const gexton::Frame filtered = filter.process(*frame, error);
  if (error)
    return fail(error.text());
  print_pixels("before: ", *frame);
  print_pixels("after:  ", *filtered);
  return 0;
}
