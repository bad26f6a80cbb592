/* gexton_host.h - what only a host does with GextonSDK: make frames, frame sets and stream
 * profiles, count live handles and make host calls fail on purpose.
 *
 * Errors, ownership and threads are as in gexton_sdk.h. Plug-ins never call these functions.
 */
#ifndef GEXTON_HOST_H
#define GEXTON_HOST_H

#include "gexton_sdk.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- stream profiles ---- */

/* A new reference to a profile of `width` x `height` pixels, with zero intrinsics (but their size)
 * and a zero disparity record. */
GEXTON_API gx_stream_profile* gexton_create_stream_profile(gx_format format, uint32_t width,
                                                           uint32_t height, gx_error** error);
GEXTON_API void gexton_stream_profile_set_disparity_param(gx_stream_profile* profile,
                                                          const D2DParameters* parameters,
                                                          gx_error** error);

/* ---- frames ---- */

/* A new reference to a frame with the profile's format and size and 2 bytes for each pixel, copied
 * from `pixels` or zero where that is null. The frame takes a reference of its own to the profile.
 * Pixel type GX_PIXEL_DEPTH, 16 available bits, value scale 1, index 0, no metadata. */
GEXTON_API gx_frame* gexton_create_video_frame(gx_frame_type type, gx_stream_profile* profile,
                                               const uint16_t* pixels, gx_error** error);

/* Gives back what pixels belong to: called once, when the last reference to their frame is given
 * back or the frame's pixels are replaced, on the thread that does so. None of the host's locks is
 * held; must not throw. */
typedef void (*gexton_release)(void* owner);

/* The same around pixels that someone else owns: width * height of them, row by row, at an address
 * that fits them. They are not copied and have to stay until `release` is called with `owner`; a
 * null `release` means that they outlive the frame. The host never writes to them (new pixels for
 * the frame are stored elsewhere), nor may anybody else through gx_frame_get_data. Copies of the
 * frame have pixels of their own. Where an error is stored, nothing was taken over and `release` is
 * not called. */
GEXTON_API gx_frame* gexton_wrap_video_frame(gx_frame_type type, gx_stream_profile* profile,
                                             const uint16_t* pixels, gexton_release release,
                                             void* owner, gx_error** error);

/* A new reference to an empty frame set. */
GEXTON_API gx_frame* gexton_create_frameset(gx_error** error);

/* One more reference to the same frame. */
GEXTON_API gx_frame* gexton_frame_add_reference(gx_frame* frame, gx_error** error);

GEXTON_API void gexton_frame_set_index(gx_frame* frame, uint64_t index, gx_error** error);
GEXTON_API void gexton_frame_set_metadata(gx_frame* frame, gx_metadata_id id, int64_t value,
                                          gx_error** error);
GEXTON_API void gexton_frame_remove_metadata(gx_frame* frame, gx_metadata_id id, gx_error** error);

/* Members of a frame set, in the order in which they were pushed. */
GEXTON_API uint32_t gexton_frameset_get_count(const gx_frame* frameset, gx_error** error);
GEXTON_API gx_frame* gexton_frameset_get_frame(const gx_frame* frameset, uint32_t index,
                                               gx_error** error); /* a new reference */

/* ---- memory ---- */

/* Objects that are alive (each counted once, however many references it has). */
typedef struct gexton_live_handles {
  uint64_t frames;
  uint64_t stream_profiles;
  uint64_t errors;
} gexton_live_handles;

GEXTON_API gexton_live_handles gexton_get_live_handles(void);

/* References that were given back although none was held; a correct program keeps this at 0. */
GEXTON_API uint64_t gexton_get_excess_releases(void);

/* The next frame of exactly `size` bytes that this thread makes has its pixels here, once: so a
 * host gets a filter's output where it wants it, without a copy. The memory stays the caller's and
 * has to outlive the frame. Null takes back an offer that is open; an offer takes the place of the
 * one before. Returns whether that one was still open, so that nobody had taken it. */
GEXTON_API bool gexton_offer_pixels(uint16_t* pixels, uint32_t size);

/* Frees the pixel buffers that wait for reuse. */
GEXTON_API void gexton_trim_buffers(void);

/* From now on, a new pixel buffer lies before memory that can't be touched, with at most 63 bytes
 * between (none where its size is a multiple of 64), so that a read or write beyond its end stops
 * the program. Each buffer is mapped for itself and never reused: for checks, not for work. Does
 * nothing on Windows. */
GEXTON_API void gexton_guard_buffers(bool on);

/* ---- faults on purpose ----
 *
 * Every gx_ function with an error slot counts as a call and may be made to fail: it then stores an
 * error with message "injected fault", its own name as function, "gexton" as args and exception
 * type GX_EXCEPTION_TYPE_UNKNOWN, and does nothing else; only the two delete functions give the
 * reference back all the same. The counters are the process's. gexton_ functions never fail this
 * way. */

/* From now on, the n-th call (n = 1 is the next) fails, once; 0 switches this off. */
GEXTON_API void gexton_fail_nth_call(uint64_t n);

/* From now on, the n-th call of this one function fails, once; 0 fails every call of it. The name
 * is copied (at most 127 characters); null switches this off. */
GEXTON_API void gexton_fail_function(const char* function, uint64_t n);

/* Switches all faults off and starts the call count at 0. */
GEXTON_API void gexton_clear_faults(void);

/* Calls of gx_ functions with an error slot since gexton_clear_faults. */
GEXTON_API uint64_t gexton_get_call_count(void);

/* Faults that have been delivered since gexton_clear_faults. */
GEXTON_API uint64_t gexton_get_fault_count(void);

/* The function that was made to fail last, or "" before the first fault. */
GEXTON_API const char* gexton_get_last_fault(void);

#ifdef __cplusplus
}
#endif

#endif /* GEXTON_HOST_H */
