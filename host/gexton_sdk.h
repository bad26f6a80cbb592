/* gexton_sdk.h - the plain-function interface of the depth-camera host, GextonSDK.
 *
 * Everything a filter plug-in may ask of its host stands here. A program that plays the host
 * defines these functions itself or links with a library that does; plug-ins leave them undefined.
 *
 * Errors: a trailing `gx_error** error` is written only when the call fails, and may be null. A
 * failed call returns null, 0 or false. The caller owns a stored error and gives it back with
 * gx_delete_error.
 *
 * Ownership: handles are reference-counted. "New reference" means that the caller gives it back
 * with the matching delete function; every other handle is borrowed.
 *
 * Threads: every function is [thread-safe] unless it changes an object that another thread uses at
 * the same time; reads of one object from many threads need no locking.
 */
#ifndef GEXTON_SDK_H
#define GEXTON_SDK_H

#include <stdbool.h>
#include <stdint.h>

/* Functions, unlike data, need no mark to be imported from a DLL: the same programs link with it
 * and with an archive. */
#if !defined(_WIN32)
#define GEXTON_API __attribute__((visibility("default")))
#elif defined(GEXTON_SDK_BUILD)
#define GEXTON_API __declspec(dllexport)
#else
#define GEXTON_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct gx_frame gx_frame;
typedef struct gx_stream_profile gx_stream_profile;
typedef struct gx_error gx_error;

/* Enumerations. A host may know more codes than these, negative ones too. Lowest and highest code
 * stand for nothing; with them every 32-bit code is a value of the type, in C and in C++. */

typedef enum gx_status {
  GX_STATUS_OK = 0,
  GX_STATUS_ERROR = 1,
  GX_STATUS_LOWEST_CODE = -0x7fffffff - 1,
  GX_STATUS_HIGHEST_CODE = 0x7fffffff,
} gx_status;

typedef enum gx_exception_type {
  GX_EXCEPTION_TYPE_UNKNOWN = 0,
  GX_EXCEPTION_TYPE_INVALID_VALUE = 4,
  GX_EXCEPTION_TYPE_LOWEST_CODE = -0x7fffffff - 1,
  GX_EXCEPTION_TYPE_HIGHEST_CODE = 0x7fffffff,
} gx_exception_type;

typedef enum gx_frame_type {
  GX_FRAME_COLOR = 2,
  GX_FRAME_DEPTH = 3,
  GX_FRAME_SET = 5,
  GX_FRAME_LOWEST_CODE = -0x7fffffff - 1,
  GX_FRAME_HIGHEST_CODE = 0x7fffffff,
} gx_frame_type;

typedef enum gx_format {
  GX_FORMAT_UNKNOWN = 0,
  GX_FORMAT_Y16 = 16,         /* 16-bit pixels */
  GX_FORMAT_Y12_SHIFTED = 34, /* 12-bit code in the upper bits, four other bits below */
  GX_FORMAT_LOWEST_CODE = -0x7fffffff - 1,
  GX_FORMAT_HIGHEST_CODE = 0x7fffffff,
} gx_format;

/* What a 16-bit pixel means. */
typedef enum gx_pixel_type {
  GX_PIXEL_UNKNOWN = -1,
  GX_PIXEL_DEPTH = 0,
  GX_PIXEL_DISPARITY = 2,
  GX_PIXEL_TOF_DEPTH = 4, /* depth without disparity parameters */
  GX_PIXEL_LOWEST_CODE = -0x7fffffff - 1,
  GX_PIXEL_HIGHEST_CODE = 0x7fffffff,
} gx_pixel_type;

typedef enum gx_metadata_id {
  GX_METADATA_DISPARITY_OFFSET = 32,
  GX_METADATA_LOWEST_CODE = -0x7fffffff - 1,
  GX_METADATA_HIGHEST_CODE = 0x7fffffff,
} gx_metadata_id;

/* How a camera's disparity codes become depth; 51 bytes without padding. */
#pragma pack(push, 1)
typedef struct D2DParameters {
  double zpd;           /* reference-plane distance of a single-camera rig, in units of `unit` */
  double zpps;          /* pixel size at the reference plane */
  float baseline;       /* distance of the two optical centres, mm */
  double fx;            /* focal length, pixels */
  uint8_t bitSize;      /* significant bits of a disparity code */
  float unit;           /* depth unit factor of the camera */
  float minDisparity;   /* disparity offset of pack mode 1 */
  uint8_t packMode;     /* encoding of a disparity code: 1, 2, 3 or 4 */
  float dispOffset;     /* added to every disparity */
  int32_t invalidDisp;  /* disparity that marks a pixel without data */
  int32_t dispIntPlace; /* integer bits of a disparity code (low byte) */
  uint8_t isDualCamera; /* non-zero: stereo rig; zero: structured light with one camera */
} D2DParameters;
#pragma pack(pop)

/* Pinhole model of a video stream: focal lengths and principal point in pixels. */
typedef struct gx_camera_intrinsic {
  float fx, fy, cx, cy;
  int16_t width, height;
} gx_camera_intrinsic;

/* ---- frames ---- */

GEXTON_API gx_frame_type gx_frame_get_type(const gx_frame* frame, gx_error** error);
GEXTON_API gx_format gx_frame_get_format(const gx_frame* frame, gx_error** error);
GEXTON_API uint64_t gx_frame_get_index(const gx_frame* frame, gx_error** error);

/* The writable pixel buffer, valid as long as the frame; null for a frame without pixels. */
GEXTON_API uint8_t* gx_frame_get_data(const gx_frame* frame, gx_error** error);
GEXTON_API uint32_t gx_frame_get_data_size(const gx_frame* frame, gx_error** error);

/* Replaces the frame's pixels by `size` bytes of `data`, which may be the frame's own buffer. */
GEXTON_API void gx_frame_update_data(gx_frame* frame, const uint8_t* data, uint32_t size,
                                     gx_error** error);

/* Copies every attribute (frame type, format, index, pixel type, bit size, value scale, metadata,
 * stream profile), but neither the pixels nor the data size. */
GEXTON_API void gx_frame_copy_info(const gx_frame* source, gx_frame* destination, gx_error** error);

/* A new reference, or null without an error where the frame has no profile. */
GEXTON_API gx_stream_profile* gx_frame_get_stream_profile(const gx_frame* frame, gx_error** error);

/* The frame takes a reference of its own. */
GEXTON_API void gx_frame_set_stream_profile(gx_frame* frame, gx_stream_profile* profile,
                                            gx_error** error);

GEXTON_API bool gx_frame_has_metadata(const gx_frame* frame, gx_metadata_id id, gx_error** error);
GEXTON_API int64_t gx_frame_get_metadata_value(const gx_frame* frame, gx_metadata_id id,
                                               gx_error** error);

/* A new reference to a frame of `data_size` zero bytes. */
GEXTON_API gx_frame* gx_create_frame(gx_frame_type type, gx_format format, uint32_t data_size,
                                     gx_error** error);

/* A new reference to a frame with the same attributes, size and stream profile, its pixels copied
 * or zero. Of a frame set: with `copy_data` a set with copies of the members, without it an empty
 * set. */
GEXTON_API gx_frame* gx_create_frame_from_other_frame(const gx_frame* other, bool copy_data,
                                                      gx_error** error);

/* Gives one reference back. */
GEXTON_API void gx_delete_frame(gx_frame* frame, gx_error** error);

/* ---- frame sets ---- */

/* A new reference, or null without an error where the set has no depth frame. */
GEXTON_API gx_frame* gx_frameset_get_depth_frame(const gx_frame* frameset, gx_error** error);

/* The set takes a reference of its own. */
GEXTON_API void gx_frameset_push_frame(gx_frame* frameset, gx_frame* frame, gx_error** error);

/* ---- video and depth frames ---- */

/* Pixels, as the frame's stream profile says; an error where it has none. */
GEXTON_API uint32_t gx_video_frame_get_width(const gx_frame* frame, gx_error** error);
GEXTON_API uint32_t gx_video_frame_get_height(const gx_frame* frame, gx_error** error);

GEXTON_API gx_pixel_type gx_video_frame_get_pixel_type(const gx_frame* frame, gx_error** error);
GEXTON_API void gx_video_frame_set_pixel_type(gx_frame* frame, gx_pixel_type type,
                                              gx_error** error);
GEXTON_API uint8_t gx_video_frame_get_pixel_available_bit_size(const gx_frame* frame,
                                                               gx_error** error);
GEXTON_API void gx_video_frame_set_pixel_available_bit_size(gx_frame* frame, uint8_t bit_size,
                                                            gx_error** error);

/* Millimetres for one unit of a pixel. */
GEXTON_API float gx_depth_frame_get_value_scale(const gx_frame* frame, gx_error** error);
GEXTON_API void gx_depth_frame_set_value_scale(gx_frame* frame, float scale, gx_error** error);

/* ---- stream profiles ---- */

/* A new reference to an independent copy. */
GEXTON_API gx_stream_profile*
gx_create_stream_profile_from_other_stream_profile(const gx_stream_profile* other,
                                                   gx_error** error);

/* Gives one reference back. */
GEXTON_API void gx_delete_stream_profile(gx_stream_profile* profile, gx_error** error);

GEXTON_API gx_format gx_stream_profile_get_format(const gx_stream_profile* profile,
                                                  gx_error** error);
GEXTON_API uint32_t gx_video_stream_profile_get_width(const gx_stream_profile* profile,
                                                      gx_error** error);
GEXTON_API uint32_t gx_video_stream_profile_get_height(const gx_stream_profile* profile,
                                                       gx_error** error);
GEXTON_API void gx_video_stream_profile_set_width(gx_stream_profile* profile, uint32_t width,
                                                  gx_error** error);
GEXTON_API void gx_video_stream_profile_set_height(gx_stream_profile* profile, uint32_t height,
                                                   gx_error** error);
GEXTON_API gx_camera_intrinsic
gx_video_stream_profile_get_intrinsic(const gx_stream_profile* profile, gx_error** error);
GEXTON_API void gx_video_stream_profile_set_intrinsic(gx_stream_profile* profile,
                                                      gx_camera_intrinsic intrinsic,
                                                      gx_error** error);
GEXTON_API D2DParameters gx_disparity_based_stream_profile_get_disparity_param(
    const gx_stream_profile* profile, gx_error** error);

/* ---- errors ---- */

/* A new error that owns copies of its texts; null texts count as empty. */
GEXTON_API gx_error* gx_create_error(gx_status status, const char* message, const char* function,
                                     const char* args, gx_exception_type type);
GEXTON_API gx_status gx_error_get_status(const gx_error* error);

/* The texts live as long as the error. */
GEXTON_API const char* gx_error_get_message(const gx_error* error);
GEXTON_API const char* gx_error_get_function(const gx_error* error);
GEXTON_API const char* gx_error_get_args(const gx_error* error);
GEXTON_API gx_exception_type gx_error_get_exception_type(const gx_error* error);
GEXTON_API void gx_delete_error(gx_error* error);

#ifdef __cplusplus
}
#endif

#endif /* GEXTON_SDK_H */
