#include "recordings/libav.h"

#include <array>
#include <cstdarg>

namespace recordings::libav {
namespace {

void on_message(void* about, int level, const char*, va_list) {
  const bool is_codec =
      about != nullptr && *static_cast<const AVClass**>(about) == avcodec_get_class();
  void* flag = is_codec ? static_cast<AVCodecContext*>(about)->opaque : nullptr;
  if (flag != nullptr && level <= AV_LOG_ERROR)
    *static_cast<Flag*>(flag) = true;
}

} // namespace

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

void listen() {
  av_log_set_callback(on_message);
}

} // namespace recordings::libav
