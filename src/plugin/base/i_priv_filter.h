#pragma once

#include <cstdint>

#include "gexton_sdk.h"

namespace filter_processor {

/// The interface of every filter, reached by the host through the exported functions.
///
/// Objects are destroyed by the shared pointer that created them, which knows the concrete class;
/// hence no virtual destructor. Every `error` may be null.
class IPrivFilter {
 public:
  /// The parameters as the host shows them, one line each: name, type, min, max, step, default,
  /// description. A constant text; the bounds that are enforced stand in update_filter_config.
  virtual const char* get_config_schema() = 0;

  /// Takes `argc` values in the schema's order, or refuses them with an error of type 4.
  virtual void update_filter_config(int32_t argc, const char** argv, gx_error** error) = 0;

  /// Takes the whole configuration as `size` bytes; most filters have none and ignore it.
  virtual void set_filter_config_data(const uint8_t* /*data*/, uint64_t /*size*/,
                                      gx_error** /*error*/) {}

  /// A new frame (or frame set) with the filtered pixels, owned by the caller; null on failure. The
  /// input stays unchanged. May throw std::bad_alloc.
  virtual gx_frame* filter_process(gx_frame* frame, gx_error** error) = 0;

  /// Back to the default parameters; clears what is kept between frames.
  virtual void reset() = 0;

  /// Writes the current parameters to standard output. For who debugs a filter: nothing in the
  /// library calls it, and no exported function leads to it.
  virtual void print_filter_params() = 0;

 protected:
  IPrivFilter() = default;
  IPrivFilter(const IPrivFilter&) = default;
  IPrivFilter& operator=(const IPrivFilter&) = default;
  ~IPrivFilter() = default;
};

} // namespace filter_processor
