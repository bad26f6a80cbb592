// In builds without libavformat.
#include <fmt/format.h>

#include "recordings/matroska.h"

namespace recordings {
namespace {

Error absent(const std::string& name) {
  return {fmt::format("{}: this build has no Matroska support (FILTER_PROCESSOR_MATROSKA)", name),
          ErrorKind::request};
}

} // namespace

Result<std::unique_ptr<FrameSource>> open_matroska(std::unique_ptr<ByteStream> stream,
                                                   const SourceOptions&) {
  return absent(stream->name());
}

Result<std::unique_ptr<FrameSink>> create_matroska(const std::filesystem::path& path,
                                                   const SinkOptions&) {
  return absent(path.string());
}

} // namespace recordings
