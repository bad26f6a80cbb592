// Owners for libav's objects, and what else its reader and writer here share.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "recordings/image.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace recordings::libav {

struct Free {
  void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
  }
};

using Codec = std::unique_ptr<AVCodecContext, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;
using Io = std::unique_ptr<AVIOContext, Free>;

using ReadOrWrite = int (*)(void* user, uint8_t* bytes, int count);
using Seek = int64_t (*)(void* user, int64_t offset, int whence);

/// One of `read` and `write` is null, and `seek` where the bytes come or go in order; null without
/// memory.
Io make_io(void* user, ReadOrWrite read, ReadOrWrite write, Seek seek);

/// In libav's words.
std::string error_text(int code);

/// Of what libav can only fail to do for want of memory.
Error out_of_memory();

/// Once at least, before anything else: libav prints nothing from then on, as errors and remarks
/// are ours to say. An error that it would have printed about a codec raises the flag that the
/// codec's `opaque` points to: of damaged slices, which it patches up, it says nothing else.
using Flag = std::atomic<bool>;
void listen();

} // namespace recordings::libav
