/* A host in plain C: makes a small depth frame, fills its holes and prints the pixels before and
 * after.
 *
 * Frames come from the reference host here; a camera's host makes them from its sensor. */

#include <stdio.h>
#include <string.h>

#include "filter_processor.h"
#include "gexton_host.h"

enum { width = 8, height = 4 };

static void print_pixels(const char* title, const gx_frame* frame) {
  uint16_t pixels[width * height];
  memcpy(pixels, gx_frame_get_data(frame, NULL), sizeof pixels);
  printf("%s", title);
  for (int i = 0; i < width * height; ++i)
    printf("%s%4d", i > 0 && i % width == 0 ? "\n        " : " ", pixels[i]);
  printf("\n");
}

/* The filter of that name, or null. */
static gx_priv_filter_context* create_filter(const char* name) {
  for (uint64_t i = 0; i < gx_get_filter_count(NULL); ++i)
    if (strcmp(gx_get_filter_name((int32_t)i, NULL), name) == 0)
      return gx_create_filter(i, NULL);
  return NULL;
}

int main(void) {
  const uint16_t scene[width * height] = {
      900, 901, 902, 903, 904, 905, 906, 907, /* a wall with a gap in its middle */
      900, 901, 0,   0,   904, 905, 906, 907, /* */
      900, 901, 0,   0,   904, 905, 0,   907, /* */
      900, 901, 902, 903, 904, 905, 906, 907,
  };
  gx_error* error = NULL;
  gx_stream_profile* profile = gexton_create_stream_profile(GX_FORMAT_Y16, width, height, NULL);
  gx_frame* frame = gexton_create_video_frame(GX_FRAME_DEPTH, profile, scene, NULL);

  gx_priv_filter_context* filter = create_filter("HoleFillingFilter");
  if (filter == NULL)
    return 1;
  const char* parameters[] = {"1"}; /* fill with the nearest neighbouring surface */
  filter->update_config(filter->filter, 1, parameters, &error);

  gx_frame* filtered = error == NULL ? filter->process(filter->filter, frame, &error) : NULL;
  if (filtered != NULL) {
    print_pixels("before: ", frame);
    print_pixels("after:  ", filtered);
    gx_delete_frame(filtered, NULL);
  } else if (error != NULL) {
    fprintf(stderr, "%s: %s\n", gx_error_get_function(error), gx_error_get_message(error));
    gx_delete_error(error);
  }

  filter->destroy(filter);
  gx_delete_frame(frame, NULL);
  gx_delete_stream_profile(profile, NULL);
  return filtered != NULL ? 0 : 1;
}
