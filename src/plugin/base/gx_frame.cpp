#include "plugin/base/gx_frame.h"

#include <utility>

namespace gx {
namespace {

/// The host's answer to a query about `frame`.
template <typename Query>
auto ask(Query query, const gx_frame* frame) {
  gx_error* error = nullptr;
  auto answer = query(frame, &error);
  if (error != nullptr)
    throw Error(error);
  return answer;
}

} // namespace

Error::Error(gx_error* error) : error_(error, filter_processor::HandleRelease{}) {}

const char* Error::what() const noexcept {
  return error_ == nullptr ? "" : gx_error_get_message(error_.get());
}

std::shared_ptr<Frame> Frame::adopt(filter_processor::OwnedFrame frame) {
  auto shared = std::make_shared<Frame>(frame.get());
  static_cast<void>(frame.release());
  return shared;
}

gx_frame_type Frame::get_type() const {
  return ask(gx_frame_get_type, handle());
}
gx_format Frame::get_format() const {
  return ask(gx_frame_get_format, handle());
}
uint64_t Frame::get_index() const {
  return ask(gx_frame_get_index, handle());
}
uint8_t* Frame::get_data() const {
  return ask(gx_frame_get_data, handle());
}
uint32_t Frame::get_data_size() const {
  return ask(gx_frame_get_data_size, handle());
}

} // namespace gx
