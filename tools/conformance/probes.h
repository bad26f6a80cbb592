// What the checks look at: errors in words, whether a slot was written, what is left over.
#pragma once

#include <string>

#include "hosting/plugin.h"

namespace conformance {

inline constexpr const char* no_error = "no error";
/// How plug-ins word their refusal of a parameter's value.
inline constexpr const char* out_of_range = "params out of range";

/// 'the error "message" in function(args), type 4', or "no error" for null.
std::string describe(const gx_error* error);
std::string describe_error(const std::string& message, const std::string& function,
                           const std::string& args,
                           gx_exception_type type = GX_EXCEPTION_TYPE_INVALID_VALUE,
                           gx_status status = GX_STATUS_ERROR);
std::string message_of(const gx_error* error);

/// An error slot in which a mark tells whether it was written. Owns what is written.
class MarkedSlot {
 public:
  MarkedSlot() = default;
  MarkedSlot(const MarkedSlot&) = delete;
  MarkedSlot& operator=(const MarkedSlot&) = delete;
  ~MarkedSlot();

  gx_error** receive() { return &error_; }
  /// "untouched" or what became of it.
  std::string state() const;

 private:
  static gx_error* mark();

  gx_error* error_ = mark();
};

/// "nothing left over", or what is alive now that was not then, and releases too many since then.
std::string left_over_since(const gexton::LiveHandles& then);
inline constexpr const char* nothing_left = "nothing left over";

/// What a call of process gave. A filter that hands back its input gives nothing to own: that frame
/// has its owner and is released once only.
struct Output {
  gexton::Frame frame; ///< a new one, or null
  bool is_input = false;

  bool is_nothing() const { return frame == nullptr && !is_input; }
};
Output take_output(gexton::Frame given, const gx_frame& input);
Output try_frame(hosting::Filter& filter, gx_frame& input, gexton::ErrorSlot& slot);

/// "a new frame and no error", "no frame and the error ...", and so on.
std::string describe(const Output& output, const gx_error* error);

} // namespace conformance
