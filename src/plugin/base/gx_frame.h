#pragma once

#include <cstdint>
#include <exception>
#include <memory>

#include "plugin/base/handles.h"

namespace gx {

/// A host error as an exception. Copies share the handle's value; the host's error is deleted with
/// the last of them.
class Error : public std::exception {
 public:
  /// Takes the error over; null is allowed.
  explicit Error(gx_error* error);

  /// The message of the host's error, valid as long as this object or a copy of it.
  const char* what() const noexcept override;
  const gx_error* handle() const noexcept { return error_.get(); }

 private:
  std::shared_ptr<gx_error> error_;
};

/// A shared reference to one host frame, given back with the last owner. Made only by `adopt`.
///
/// Each query throws gx::Error when the host reports one.
class Frame : public std::enable_shared_from_this<Frame> {
 public:
  /// Owns the handle from now on, also when memory runs out (std::bad_alloc).
  static std::shared_ptr<Frame> adopt(filter_processor::OwnedFrame frame);

  explicit Frame(gx_frame* frame) noexcept : frame_(frame) {}
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;
  virtual ~Frame() = default;

  virtual gx_frame_type get_type() const;
  virtual gx_format get_format() const;
  virtual uint64_t get_index() const;
  virtual uint8_t* get_data() const;
  virtual uint32_t get_data_size() const;

  /// The same a second time, in slots of their own.
  virtual gx_format format() const { return get_format(); }
  virtual uint64_t index() const { return get_index(); }
  virtual uint8_t* data() const { return get_data(); }
  virtual uint32_t data_size() const { return get_data_size(); }

  gx_frame* handle() const noexcept { return frame_.get(); }

 private:
  filter_processor::OwnedFrame frame_;
};

} // namespace gx
