/* An executable that defines host functions itself and loads the plug-in is the host that the
 * plug-in calls, although the plug-in is linked with the reference host. */

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "filter_processor.h"

/* Negative codes that no enumerator has are values of the types in C too. */
_Static_assert(sizeof(gx_frame_type) == 4 && (gx_frame_type)-7 < 0, "32 bits with a sign");
_Static_assert(sizeof(gx_format) == 4 && (gx_format)-7 < 0, "32 bits with a sign");

struct gx_error {
  char unused;
};

static struct gx_error made;
static int failures, type_queries, deletions;

static void check(int condition, const char* what) {
  if (condition)
    return;
  printf("FAILED: %s\n", what);
  ++failures;
}

gx_frame_type gx_frame_get_type(const gx_frame* frame, gx_error** error) {
  (void)frame;
  (void)error;
  ++type_queries;
  return GX_FRAME_COLOR;
}

gx_error* gx_create_error(gx_status status, const char* message, const char* function,
                          const char* args, gx_exception_type type) {
  (void)status;
  check(strcmp(message, "invalid frame type error") == 0, message);
  check(strcmp(function, "HoleFillingFilter::filter_process") == 0, function);
  check(strcmp(args, "frameType") == 0, args);
  check(type == GX_EXCEPTION_TYPE_INVALID_VALUE, "exception type 4");
  return &made;
}

void gx_delete_frame(gx_frame* frame, gx_error** error) {
  (void)frame;
  (void)error;
  ++deletions;
}

int main(int argc, char** argv) {
  if (argc != 2)
    return 2;
  void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* const symbol = library != NULL ? dlsym(library, "gx_create_filter") : NULL;
  if (symbol == NULL) {
    printf("FAILED: %s\n", dlerror());
    return 1;
  }
  gx_priv_filter_context* (*create)(uint64_t, gx_error**) = NULL;
  memcpy(&create, &symbol, sizeof create); /* C's only defined way from void* */

  gx_priv_filter_context* context = create(1, NULL);
  gx_error* error = NULL;
  char anything = 0; /* only this host looks at frames */
  gx_frame* result = context->process(context->filter, (gx_frame*)(void*)&anything, &error);
  context->destroy(context);
  check(result == NULL, "a colour frame has no result");
  check(type_queries == 1, "the frame type was asked of this host");
  check(error == &made, "the error was made by this host");
  check(deletions == 0, "the input was not given back");
  dlclose(library);
  return failures == 0 ? 0 : 1;
}
