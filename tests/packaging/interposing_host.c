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
  char message[64];
  char function[64];
  char args[64];
  gx_exception_type type;
};

static struct gx_error stored;
static int type_queries;
static int deletions;

gx_frame_type gx_frame_get_type(const gx_frame* frame, gx_error** error) {
  (void)frame;
  (void)error;
  ++type_queries;
  return GX_FRAME_COLOR;
}

gx_error* gx_create_error(gx_status status, const char* message, const char* function,
                          const char* args, gx_exception_type type) {
  (void)status;
  (void)snprintf(stored.message, sizeof stored.message, "%s", message);
  (void)snprintf(stored.function, sizeof stored.function, "%s", function);
  (void)snprintf(stored.args, sizeof stored.args, "%s", args);
  stored.type = type;
  return &stored;
}

void gx_delete_frame(gx_frame* frame, gx_error** error) {
  (void)frame;
  (void)error;
  ++deletions;
}

static int check(int condition, const char* what) {
  if (!condition)
    printf("FAILED: %s\n", what);
  return condition ? 0 : 1;
}

/* A function from the plug-in; the detour over memcpy is C's only defined way from void*. */
static void find(void* library, const char* name, void* function, size_t size) {
  void* symbol = dlsym(library, name);
  if (symbol == NULL)
    printf("FAILED: no %s\n", name);
  memcpy(function, &symbol, size);
}

int main(int argc, char** argv) {
  if (argc != 2)
    return 2;
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    printf("FAILED: %s\n", dlerror());
    return 1;
  }
  gx_priv_filter_context* (*create)(uint64_t, gx_error**) = NULL;
  find(library, "gx_create_filter", &create, sizeof create);
  if (create == NULL)
    return 1;

  gx_priv_filter_context* context = create(1, NULL);
  gx_error* error = NULL;
  char anything = 0; /* only this host looks at frames */
  gx_frame* result = context->process(context->filter, (gx_frame*)(void*)&anything, &error);
  context->destroy(context);

  int failures = check(result == NULL, "a colour frame has no result");
  failures += check(type_queries == 1, "the frame type was asked of this host");
  failures += check(error == &stored, "the error was made by this host");
  failures += check(strcmp(stored.message, "invalid frame type error") == 0, stored.message);
  failures +=
      check(strcmp(stored.function, "HoleFillingFilter::filter_process") == 0, stored.function);
  failures += check(strcmp(stored.args, "frameType") == 0, stored.args);
  failures += check(stored.type == GX_EXCEPTION_TYPE_INVALID_VALUE, "exception type 4");
  failures += check(deletions == 0, "the input was not given back");
  dlclose(library);
  return failures == 0 ? 0 : 1;
}
