#include "core/recordings.h"

#include <fmt/format.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "core/errors.h"
#include "core/frames.h"
#include "core/unlocked.h"
#include "gxfilter/input.h"
#include "recordings/frame_names.h"
#include "recordings/frame_sink.h"

namespace python {

using namespace gxfilter;
using namespace recordings;

namespace {

namespace fs = std::filesystem;

/// One way through a recording.
class Reader {
 public:
  Reader(const InputOptions& options, bool skip_bad) : skip_bad_(skip_bad) {
    InputOptions told = options;
    told.note = [remarks = remarks_](const std::string& text) { remarks->push_back(text); };
    input_.emplace(value_or_raise(unlocked([&] { return open_input(told); })));
  }

  /// The next frame; None at the end.
  py::object next() {
    auto frame = value_or_raise(unlocked([&] { return take(); }));
    if (!frame)
      return py::none();
    return to_array(std::move(*frame));
  }

  std::optional<uint64_t> frame_count() const { return input_->source->frame_count(); }
  std::string facts() const { return input_->facts.facts().dump(); }
  std::string topic() const { return input_->source->topic(); }
  std::vector<fs::path> files() const {
    auto files = input_->source->files();
    if (const fs::path list = input_->source->list(); !list.empty())
      files.insert(files.begin(), list);
    return files;
  }
  /// Those that came since the last call, in their order.
  std::vector<std::string> new_remarks() {
    take_remarks_of_source();
    return std::exchange(*remarks_, {});
  }
  uint64_t left_out() const { return left_out_; }
  bool has_losses() const { return left_out_ > 0 || input_->source->has_losses(); }

 private:
  void take_remarks_of_source() {
    const auto& of_source = input_->source->remarks();
    for (; told_of_source_ < of_source.size(); ++told_of_source_)
      remarks_->push_back(of_source[told_of_source_]);
  }

  /// Null at the end.
  Result<std::optional<HostFrame>> take() {
    for (;;) {
      auto stored = input_->source->next();
      if (!stored)
        return stored.error();
      if (!*stored)
        return std::optional<HostFrame>();
      auto frame = decode(std::move(**stored));
      if (frame)
        return std::optional(std::move(*frame));
      if (!skip_bad_ || frame.error().kind != ErrorKind::input)
        return frame.error();
      take_remarks_of_source();
      remarks_->push_back("left out: " + frame.error().message);
      ++left_out_;
    }
  }

  Result<HostFrame> decode(StoredFrame stored) {
    auto image = stored.decode();
    if (!image)
      return image.error();
    input_->decoder.apply(*image);
    if (auto failure = begin_with(*image))
      return Error{fmt::format("{}: {}", stored.place, failure->message), failure->kind};
    auto frame = make_frame(std::move(*image), index_++, *setup_->profile, setup_->camera);
    if (!frame)
      return frame.error();
    return HostFrame{
        std::move(*frame), setup_, std::make_shared<const FrameInfo>(stored.info), {}, true};
  }

  /// The first frame sets the size of all, and with it the camera's defaults.
  Failure begin_with(const Image& image) {
    if (!setup_) {
      if (auto failure = settle_size(*input_, image.size))
        return failure;
      auto setup = make_setup(input_->facts, image.size);
      if (!setup)
        return setup.error();
      setup_ = std::move(*setup);
    }
    if (image.size != setup_->size)
      return Error{fmt::format("{}x{} pixels in a recording of {}x{}", image.size.width,
                               image.size.height, setup_->size.width, setup_->size.height)};
    return check_codes(image, setup_->camera);
  }

  bool skip_bad_;
  std::shared_ptr<std::vector<std::string>> remarks_ = std::make_shared<std::vector<std::string>>();
  std::optional<Input> input_;
  size_t told_of_source_ = 0; ///< of its remarks
  uint64_t left_out_ = 0;
  SharedSetup setup_;
  uint64_t index_ = 0;
};

/// Frames on their way into one file or folder, which is there after `finish`.
class Writer {
 public:
  Writer(fs::path path, std::string format, fs::path origin, std::string topic, const Facts* facts)
      : path_(std::move(path)), format_(std::move(format)), origin_(std::move(origin)),
        topic_(std::move(topic)), facts_(facts != nullptr ? facts->facts : CameraFacts()) {
    raise_if(check_sink(path_, format_));
  }

  void write(py::handle object) {
    const Pixels pixels = look_at_array(object);
    if (pixels.is_stack)
      throw py::value_error("frames to write are H x W");
    const HostFrame* const frame = pixels.host_frame;
    if (!sink_)
      begin(frame, pixels.size);
    if (pixels.size != size_) // nobody reads a recording of several sizes
      throw py::value_error(fmt::format("frame {} has {}x{} pixels, those before it {}x{}", index_,
                                        pixels.size.width, pixels.size.height, size_.width,
                                        size_.height));
    FrameInfo info{index_, fmt::format("frame_{:06}", index_), {}};
    if (frame != nullptr && frame->info) {
      info = *frame->info;
      info.index = origin_.empty() ? index_ : info.index;
      if (info.name.empty())
        info.name = fmt::format("frame_{:06}", index_);
    }
    if (!is_one_file(path_)) // names of the user's own frames may be anything
      info.name = names_.make(std::move(info.name));
    ++index_;
    raise_if(unlocked([&]() -> Failure {
      const auto encoded = sink_->encode(pixels.image(0));
      return encoded ? sink_->write(info, *encoded) : encoded.error();
    }));
  }

  void finish() {
    if (!sink_)
      throw py::value_error("there are no frames to write");
    raise_if(unlocked([&] { return sink_->finish(); }));
  }

  static bool is_one_file(const fs::path& path) { return names_one_file(path); }

 private:
  void begin(const HostFrame* frame, FrameSize size) {
    KnownFacts known;
    if (frame != nullptr)
      raise_if(known.add("the frame", value_or_raise(frame->facts())));
    if (!facts_.empty())
      raise_if(known.add("camera", facts_));
    const Camera camera = value_or_raise(make_setup(std::move(known), size))->camera;
    size_ = size;
    sink_ = value_or_raise(create_sink(
        path_, {.format = format_, .origin = origin_, .topic = topic_, .camera = camera}));
  }

  fs::path path_;
  std::string format_;
  fs::path origin_;
  std::string topic_;
  CameraFacts facts_;
  std::unique_ptr<FrameSink> sink_;
  FrameSize size_;   ///< of all frames
  FrameNames names_; ///< of pictures in a folder
  uint64_t index_ = 0;
};

InputOptions input_options(std::vector<fs::path> inputs, std::string match, std::string topic,
                           std::string format, const Facts* facts, fs::path camera_file,
                           PixelDecoding decoding) {
  if (auto failure = check_decoding(decoding))
    throw py::value_error(failure->message);
  InputOptions options;
  options.inputs = std::move(inputs);
  options.source = {std::move(match), std::move(topic), std::move(format), {}};
  options.camera_file = std::move(camera_file);
  if (facts != nullptr)
    options.facts = facts->facts;
  options.decoding = decoding;
  return options;
}

} // namespace

void add_recordings(py::module_& module) {
  py::class_<Reader>(module, "Reader")
      .def(py::init([](std::vector<fs::path> inputs, std::string match, std::string topic,
                       std::string format, const Facts* facts, fs::path camera_file,
                       bool swap_bytes, int rotate_bits, int shift_bits,
                       std::optional<uint16_t> invalid, double factor, bool skip_bad) {
             return std::make_unique<Reader>(
                 input_options(std::move(inputs), std::move(match), std::move(topic),
                               std::move(format), facts, std::move(camera_file),
                               {swap_bytes, rotate_bits, shift_bits, invalid, factor}),
                 skip_bad);
           }),
           py::kw_only(), py::arg("inputs"), py::arg("match"), py::arg("topic"), py::arg("format"),
           py::arg("facts").none(true), py::arg("camera_file"), py::arg("swap_bytes"),
           py::arg("rotate_bits"), py::arg("shift_bits"), py::arg("invalid").none(true),
           py::arg("factor"), py::arg("skip_bad"))
      .def("next", &Reader::next)
      .def_property_readonly("frame_count", &Reader::frame_count)
      .def_property_readonly("facts", &Reader::facts)
      .def_property_readonly("topic", &Reader::topic)
      .def_property_readonly("files", &Reader::files)
      .def("new_remarks", &Reader::new_remarks)
      .def_property_readonly("left_out", &Reader::left_out)
      .def_property_readonly("has_losses", &Reader::has_losses);
  py::class_<Writer>(module, "Writer")
      .def(py::init<fs::path, std::string, fs::path, std::string, const Facts*>(), py::arg("path"),
           py::arg("format"), py::arg("origin"), py::arg("topic"), py::arg("facts").none(true))
      .def("write", &Writer::write, py::arg("frame"))
      .def("finish", &Writer::finish);
  module.def("is_one_file", &Writer::is_one_file, py::arg("path"));
}

} // namespace python
