/* filter_processor.h - the ten functions that libFilterProcessor exports, and the record through
 * which a host drives one filter instance.
 *
 * A host asks for the filters' number and names, creates an instance by index, configures it,
 * pushes frames through it and destroys it. A new instance holds its class's construction values,
 * which are not always the schema's defaults: call update_config before the first frame.
 *
 * Errors: a trailing `gx_error** error` may be null; it is written only on failure, whatever it
 * held before is overwritten, and the caller owns the stored error (gx_delete_error). No exception
 * leaves these functions.
 *
 * Threads: [thread-safe] may be called at any time from any thread; [one thread at a time per
 * instance] leaves it to the host to serialise the calls on one instance; [locking classes] is safe
 * against gx_priv_filter_process on the same instance, and against each other, for every filter
 * but DepthResize, HardwareD2DCorrectionFilter, HoleFillingFilter and TemporalFilter, which leave
 * it to the host. Different instances share nothing.
 */
#ifndef FILTER_PROCESSOR_H
#define FILTER_PROCESSOR_H

#include <stdint.h>

#include "gexton_sdk.h"

#if !defined(_WIN32)
#define FILTER_PROCESSOR_API __attribute__((visibility("default")))
#elif defined(FILTER_PROCESSOR_BUILD)
#define FILTER_PROCESSOR_API __declspec(dllexport)
#else
#define FILTER_PROCESSOR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One filter instance; opaque, owned by its context record. */
typedef struct gx_priv_filter gx_priv_filter;

/* What gx_create_filter returns: seven pointer-sized words. Call `destroy` with the record itself
 * and the other functions with `filter`; each equals the exported function of the same meaning
 * below, as dlsym finds it and position-independent programs see it. */
typedef struct gx_priv_filter_context {
  void (*destroy)(struct gx_priv_filter_context* context);
  gx_priv_filter* filter;
  void (*reset)(gx_priv_filter* filter);
  const char* (*get_config_schema)(gx_priv_filter* filter);
  void (*update_config)(gx_priv_filter* filter, int32_t argc, const char** argv, gx_error** error);
  void (*set_config_data)(gx_priv_filter* filter, const uint8_t* data, uint64_t size,
                          gx_error** error);
  gx_frame* (*process)(gx_priv_filter* filter, gx_frame* frame, gx_error** error);
} gx_priv_filter_context;

/* The number of filters, 14; 0 when memory runs out. `error` is never written. [thread-safe] */
FILTER_PROCESSOR_API uint64_t gx_get_filter_count(gx_error** error);

/* The class name of the filter at `index`, or "UnknownFilter" outside 0 to 13. The text lives as
 * long as the library is loaded. `error` is never written. [thread-safe] */
FILTER_PROCESSOR_API const char* gx_get_filter_name(int32_t index, gx_error** error);

/* A constant text, "2c544ce". [thread-safe] */
FILTER_PROCESSOR_API const char* gx_get_commit_hash(void);

/* A new filter of the class at `index`, owned by the caller (gx_priv_filter_context_destroy); null
 * for an index outside 0 to 13 and when memory runs out. `error` is never written. [thread-safe] */
FILTER_PROCESSOR_API gx_priv_filter_context* gx_create_filter(uint64_t index, gx_error** error);

/* Destroys the filter and its record; null does nothing. [one thread at a time per instance] */
FILTER_PROCESSOR_API void gx_priv_filter_context_destroy(gx_priv_filter_context* context);

/* The filter's parameters, one line each: name, type, min, max, step, default, description. The
 * same pointer on every call, valid as long as the library is loaded; null for a null filter.
 * [thread-safe] */
FILTER_PROCESSOR_API const char* gx_priv_filter_get_config_schema(gx_priv_filter* filter);

/* Sets the parameters from `argc` strings in the schema's order. A refused value stores an error
 * (exception type 4), except that the two disparity transforms ignore a depth range or unit that
 * they refuse; the filter stays usable with the values that it has. Numbers are read as in the "C"
 * locale, whatever locale is set. [locking classes] */
FILTER_PROCESSOR_API void gx_priv_filter_update_config(gx_priv_filter* filter, int32_t argc,
                                                       const char** argv, gx_error** error);

/* Sets the whole configuration from a record of `size` bytes, for the filters that take one
 * (FalsePositiveFilter: 290 bytes). SpatialModerateFilter prints a number from a record of 4 bytes;
 * the others ignore theirs. [locking classes] */
FILTER_PROCESSOR_API void gx_priv_filter_set_config_data(gx_priv_filter* filter,
                                                         const uint8_t* data, uint64_t size,
                                                         gx_error** error);

/* Filters one depth frame, or the depth frame of a frame set, and returns a new frame or frame set
 * that the caller owns (gx_delete_frame). The input is neither changed nor deleted. Null on
 * failure, and for a null filter or frame. [one thread at a time per instance] */
FILTER_PROCESSOR_API gx_frame* gx_priv_filter_process(gx_priv_filter* filter, gx_frame* frame,
                                                      gx_error** error);

/* Restores the class's default parameters and clears what the filter keeps between frames. The two
 * disparity transforms only drop their table; FalsePositiveFilter goes on with its parameters in
 * use until the next accepted update or change of the frame size, and MgcNoiseRemovalFilter with
 * the strips at the rows' ends until the frame size changes. [one thread at a time per instance] */
FILTER_PROCESSOR_API void gx_priv_filter_reset(gx_priv_filter* filter);

#ifdef __cplusplus
}
#endif

#endif /* FILTER_PROCESSOR_H */
