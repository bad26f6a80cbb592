// copy_frames INPUT OUTPUT [FORMAT [TOPIC]]
// Copies a recording and prints a line for each frame: name, nanoseconds or "-", size. An OUTPUT
// "none" only reads. The way of Python's tests into the library.
#include <cstdio>
#include <iostream>

#include "recordings/frame_sink.h"
#include "recordings/frame_source.h"

namespace {

using namespace recordings;

Failure copy(FrameSource& source, FrameSink* sink) {
  while (true) {
    auto found = source.next();
    if (!found)
      return found.error();
    if (!*found)
      return std::nullopt;
    StoredFrame& frame = **found;
    const auto image = frame.decode();
    if (!image) {
      std::cerr << "frame: " << image.error().message << '\n';
      continue;
    }
    const std::string time = frame.info.time_ns ? std::to_string(*frame.info.time_ns) : "-";
    std::fprintf(sink != nullptr ? stderr : stdout, "%s %s %ux%u\n", frame.info.name.c_str(),
                 time.c_str(), image->size.width, image->size.height);
    if (sink == nullptr)
      continue;
    const auto encoded = sink->encode(*image);
    if (!encoded)
      return encoded.error();
    if (auto failure = sink->write(frame.info, *encoded))
      return failure;
  }
}

Failure run(const std::string& input, const std::string& output, const SourceOptions& options) {
  auto source = open_source({input}, options);
  if (!source)
    return source.error();
  Result<std::unique_ptr<FrameSink>> sink(nullptr);
  if (output != "none")
    sink =
        create_sink(output, {.format = options.format, .origin = input, .topic = {}, .camera = {}});
  if (!sink)
    return sink.error();
  auto failure = copy(**source, sink->get());
  for (const std::string& remark : (*source)->remarks())
    std::cerr << "remark: " << remark << '\n';
  return failure || *sink == nullptr ? failure : (*sink)->finish();
}

} // namespace

int main(int argc, char** argv) {
  if (argc < 3)
    return 2;
  SourceOptions options;
  options.format = argc > 3 ? argv[3] : "";
  options.topic = argc > 4 ? argv[4] : "";
  const Failure failure = run(argv[1], argv[2], options);
  if (failure)
    std::cerr << failure->message << '\n';
  return failure ? 1 : 0;
}
