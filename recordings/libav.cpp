#include "recordings/libav.h"

#include <array>

namespace recordings::libav {

Io make_io(void* user, ReadOrWrite read, ReadOrWrite write, Seek seek) {
  constexpr int buffer_size = 1 << 16;
  auto* buffer = static_cast<uint8_t*>(av_malloc(buffer_size));
  Io io(buffer != nullptr ? avio_alloc_context(buffer, buffer_size, write != nullptr ? 1 : 0, user,
                                               read, write, seek)
                          : nullptr);
  if (io == nullptr)
    av_free(buffer);
  return io;
}

std::string error_text(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return text.data();
}

Error out_of_memory() {
  return {"out of memory", ErrorKind::system};
}

void silence() {
  av_log_set_level(AV_LOG_QUIET);
}

} // namespace recordings::libav
