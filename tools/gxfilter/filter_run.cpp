#include "gxfilter/filter_run.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>

#include <fmt/format.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "gxfilter/idle_filters.h"
#include "gxfilter/interruption.h"
#include "gxfilter/ordered_pipeline.h"
#include "gxfilter/preview.h"
#include "gxfilter/progress.h"
#include "gxfilter/report.h"
#include "recordings/formats.h"
#include "recordings/host_frame.h"
#include "recordings/image_file.h"
#include "recordings/picture_sink.h"
#include "recordings/pixel_digest.h"
#include "recordings/png_image.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

namespace {

namespace fs = std::filesystem;

/// A frame under way.
struct Passage {
  StoredFrame stored;
  Image image;            ///< once decoded, until it is a frame
  gexton::Frame before;   ///< as it came
  gexton::Frame frame;    ///< as it is now
  uint64_t valid = 0;     ///< pixels of it other than 0
  std::string unreadable; ///< why it can't be read; empty: it can
  bool left_out = false;
  bool kept = false; ///< its result was there before
  EncodedFrame encoded;
  PreviewRanges ranges;
  std::vector<uint8_t> preview;
};

Error at(const std::string& place, const Error& error) {
  return {fmt::format("{}: {}", place, error.message), error.kind};
}

fs::path preview_path(const fs::path& folder, const std::string& name) {
  return folder / (name + "_preview.png");
}

class Runner {
 public:
  Runner(Input input, Chain chain, const RunSettings& settings)
      : input_(std::move(input)), chain_(std::move(chain)), settings_(settings),
        painter_(chain_.caption()), progress_(input_.source->frame_count()) {
    for (const Filter& filter : chain_.filters)
      outcome_.statistics.emplace_back(filter.name());
  }

  RunOutcome run() {
    const InterruptionGuard guard;
    OrderedPipeline<Passage> pipeline([this] { return take(); }, stages(), most_frames());
    outcome_.failure = pipeline.run(settings_.jobs);
    outcome_.remarks = input_.source->remarks();
    if (!outcome_.failure && !outcome_.interrupted && sink_ != nullptr)
      outcome_.failure = sink_->finish();
    const bool is_whole = !outcome_.failure && !outcome_.interrupted;
    if (is_whole && settings_.digest && outcome_.frames > 0)
      outcome_.digest = digest_.text();
    if (!is_whole && names_one_file(settings_.output) && settings_.output != standard_stream)
      outcome_.frames = 0; // the file is not there
    if (!outcome_.interrupted)
      explain_idle_filters();
    return std::move(outcome_);
  }

 private:
  // ---- the stages, in the order in which a frame passes them ----

  std::vector<Stage<Passage>> stages() {
    std::vector<Stage<Passage>> stages;
    const auto add = [&](bool in_order, std::function<Failure(Passage&)> work) {
      stages.push_back({in_order, [work = std::move(work)](Passage& passage) {
                          return passage.left_out ? std::nullopt : work(passage);
                        }});
    };
    add(false, [this](Passage& passage) { return decode(passage); });
    add(true, [this](Passage& passage) { return begin(passage); });
    for (size_t i = 0; i < chain_.filters.size(); ++i)
      add(true, [this, i](Passage& passage) { return filter(passage, i); });
    add(true, [this](Passage& passage) { return open_sink(passage); });
    if (settings_.digest)
      add(true, [this](Passage& passage) { return take_digest(passage); });
    if (!settings_.previews.empty())
      add(true, [this](Passage& passage) { return choose_colors(passage); });
    if (!settings_.previews.empty())
      add(false, [this](Passage& passage) { return paint(passage); });
    add(false, [this](Passage& passage) { return encode(passage); });
    add(true, [this](Passage& passage) { return write(passage); });
    return stages;
  }

  Result<std::unique_ptr<Passage>> take() {
    if (InterruptionGuard::interrupted()) {
      outcome_.interrupted = true;
      return std::unique_ptr<Passage>();
    }
    auto next = input_.source->next();
    if (!next)
      return next.error();
    if (!*next)
      return std::unique_ptr<Passage>();
    auto passage = std::make_unique<Passage>();
    passage->stored = std::move(**next);
    return passage;
  }

  Failure decode(Passage& passage) {
    auto image = passage.stored.decode();
    passage.stored.decode = nullptr; // and with it, what was read
    if (!image) {
      if (!settings_.skip_bad || image.error().kind != ErrorKind::input)
        return image.error();
      passage.unreadable = image.error().message;
      return std::nullopt;
    }
    passage.image = std::move(*image);
    input_.decoder.apply(passage.image);
    return std::nullopt;
  }

  /// The first frame sets the size and, with it, the camera's defaults and the stream profile that
  /// all frames share.
  Failure begin(Passage& passage) {
    if (!passage.unreadable.empty())
      return leave_out(passage);
    if (profile_ == nullptr)
      if (auto failure = begin_recording(passage.image.size))
        return at(passage.stored.place, *failure);
    auto failure = check_frame(passage.image);
    if (failure && settings_.skip_bad) {
      passage.unreadable = at(passage.stored.place, *failure).message;
      return leave_out(passage);
    }
    if (failure)
      return at(passage.stored.place, *failure);
    auto frame = make_frame(std::move(passage.image), index_++, *profile_, camera_);
    if (!frame)
      return frame.error();
    passage.before = gexton::share(**frame);
    passage.frame = std::move(*frame);
    const auto view = look_at(*passage.frame);
    if (!view)
      return at(passage.stored.place, view.error());
    passage.valid = count_valid(view->pixels);
    return std::nullopt;
  }

  Failure filter(Passage& passage, size_t i) {
    const auto before = look_at(*passage.frame);
    if (!before)
      return at(passage.stored.place, before.error());
    Filter& filter = chain_.filters[i];
    gexton::ErrorSlot slot;
    const auto start = std::chrono::steady_clock::now();
    gexton::Frame filtered = filter.process(*passage.frame, slot);
    const std::chrono::duration<double, std::milli> elapsed =
        std::chrono::steady_clock::now() - start;
    if (!filtered || slot) {
      return Error{fmt::format("{}: {} fails: {}\n  it got {}", passage.stored.place, filter.name(),
                               slot ? slot.text() : "no frame and no error",
                               describe_situation(*before, chain_.requests[i], filter.schema())),
                   ErrorKind::processing};
    }
    const auto after = look_at(*filtered);
    if (!after)
      return at(passage.stored.place, after.error());
    passage.valid = outcome_.statistics[i].add(elapsed.count(), *before, passage.valid, *after);
    passage.frame = std::move(filtered);
    return std::nullopt;
  }

  /// What is written is of the camera that the first result shows.
  Failure open_sink(Passage& passage) {
    if (sink_ != nullptr)
      return std::nullopt;
    const auto camera = camera_of(*passage.frame, camera_);
    if (!camera)
      return at(passage.stored.place, camera.error());
    auto sink = create_sink(settings_.output, {.format = settings_.format,
                                               .origin = settings_.origin,
                                               .topic = input_.source->topic(),
                                               .camera = *camera});
    if (!sink)
      return sink.error();
    sink_ = std::move(*sink);
    return std::nullopt;
  }

  Failure take_digest(const Passage& passage) {
    const auto result = look_at(*passage.frame);
    if (!result)
      return at(passage.stored.place, result.error());
    digest_.add({result->size, result->pixels});
    return std::nullopt;
  }

  /// What the colours of the previews stand for is fixed by the first frames.
  Failure choose_colors(Passage& passage) {
    if (painter_.still_chooses()) {
      const auto views = preview_views(passage);
      if (!views)
        return views.error();
      painter_.choose_ranges(views->first, views->second);
    }
    passage.ranges = painter_.ranges();
    return std::nullopt;
  }

  Failure paint(Passage& passage) {
    const auto views = preview_views(passage);
    if (!views)
      return views.error();
    auto picture = encode_png(
        painter_.paint(passage.ranges, views->first, views->second, passage.stored.info.name));
    if (!picture)
      return picture.error();
    passage.preview = std::move(*picture);
    return std::nullopt;
  }

  Failure encode(Passage& passage) {
    const auto result = look_at(*passage.frame);
    if (!result)
      return at(passage.stored.place, result.error());
    const ImageView image(result->size, result->pixels);
    if (auto failure = look_for_result(passage, image))
      return failure;
    if (!passage.kept) {
      auto encoded = sink_->encode(image);
      if (!encoded)
        return at(passage.stored.place, encoded.error());
      passage.encoded = std::move(*encoded);
    }
    passage.before.reset();
    passage.frame.reset();
    return std::nullopt;
  }

  Failure write(Passage& passage) {
    if (!passage.kept)
      if (auto failure = sink_->write(passage.stored.info, passage.encoded))
        return failure;
    if (!passage.preview.empty())
      if (auto failure = write_file(preview_path(settings_.previews, passage.stored.info.name),
                                    passage.preview))
        return failure;
    ++outcome_.frames;
    outcome_.kept += passage.kept ? 1U : 0U;
    progress_.advance();
    return std::nullopt;
  }

  // ---- after the last frame ----

  void explain_idle_filters() {
    for (size_t i = 0; i < chain_.filters.size(); ++i)
      if (outcome_.statistics[i].idle())
        outcome_.idle_filters.push_back(
            explain_idleness(chain_.plugin, chain_.requests[i], camera_, outcome_.statistics[i]));
  }

  // ---- parts of stages ----

  /// Before and after, as the preview shows them.
  Result<std::pair<FrameView, FrameView>> preview_views(const Passage& passage) const {
    auto before = view_frame(*passage.before);
    auto after = view_frame(*passage.frame);
    if (!before || !after)
      return at(passage.stored.place, before ? after.error() : before.error());
    if (!settings_.crop)
      return std::pair(std::move(*before), std::move(*after));
    return std::pair(cropped(*before, *settings_.crop), cropped(*after, *settings_.crop));
  }

  Failure begin_recording(FrameSize size) {
    if (auto failure = settle_size(input_, size))
      return failure;
    const auto camera = make_camera(input_.facts.facts(), size);
    if (!camera)
      return camera.error();
    camera_ = *camera;
    size_ = size;
    outcome_.facts = facts_in_force(input_.facts, camera_, size);
    if (settings_.tell_facts)
      note("the camera's facts in force:" + format_facts(outcome_.facts));
    auto profile = make_profile(size, camera_);
    if (!profile)
      return profile.error();
    if (auto failure = make_preview_folder())
      return failure;
    profile_ = std::move(*profile);
    return std::nullopt;
  }

  Failure make_preview_folder() const {
    std::error_code code;
    if (!settings_.previews.empty())
      fs::create_directories(settings_.previews, code);
    if (code) {
      return Error{fmt::format("{}: {}", settings_.previews.string(), code.message()),
                   ErrorKind::system};
    }
    return std::nullopt;
  }

  Failure check_frame(const Image& image) const {
    if (image.size != size_) {
      return Error{fmt::format("{}x{} pixels in a recording of {}x{}", image.size.width,
                               image.size.height, size_.width, size_.height)};
    }
    return check_codes(image, camera_);
  }

  /// In the order of the frames, so that all are told in it.
  Failure leave_out(Passage& passage) {
    passage.left_out = true;
    outcome_.left_out.push_back(std::move(passage.unreadable));
    progress_.advance();
    return std::nullopt;
  }

  /// Keeps the result that an earlier run left, which must be what this run has made.
  Failure look_for_result(Passage& passage, ImageView image) const {
    const Format* format = format_of_name("x." + settings_.format);
    if (names_one_file(settings_.output))
      return std::nullopt;
    const fs::path path = picture_path(settings_.output, passage.stored.info.name, *format);
    std::error_code code;
    if (settings_.overwrite || !fs::exists(path, code))
      return std::nullopt;
    if (!settings_.resume)
      return exists_already(path);
    const auto there = read_image(path, image.size);
    if (!there || there->size != image.size || !std::ranges::equal(there->pixels, image.pixels)) {
      return Error{fmt::format("{} is not what these filters make of this frame; --overwrite "
                               "replaces it",
                               path.string()),
                   ErrorKind::request};
    }
    passage.kept = true;
    return std::nullopt;
  }

 public:
  static Error exists_already(const fs::path& path) {
    return {fmt::format("{} is there already (--overwrite replaces it, --resume goes on behind it)",
                        path.string()),
            ErrorKind::request};
  }

 private:
  /// Enough to keep all threads busy where one frame takes longer than others, and a bound on
  /// memory.
  size_t most_frames() const { return 2 * size_t{settings_.jobs} + chain_.filters.size() + 2; }

  Input input_;
  Chain chain_;
  const RunSettings& settings_;
  PreviewPainter painter_;
  ProgressBar progress_;
  RunOutcome outcome_;
  Camera camera_;
  FrameSize size_;
  gexton::Profile profile_;
  std::unique_ptr<FrameSink> sink_;
  PixelDigest digest_;
  uint64_t index_ = 0;
};

/// `path` as it would be without links and detours, so that equal places compare equal.
fs::path place_of(const fs::path& path) {
  std::error_code code;
  return fs::weakly_canonical(fs::absolute(path, code), code);
}

Failure check_output_file(const std::vector<fs::path>& inputs, const RunSettings& settings) {
  const fs::path& output = settings.output;
  const auto is_output = [&](const fs::path& input) { return place_of(input) == place_of(output); };
  if (std::ranges::any_of(inputs, is_output)) {
    return Error{fmt::format("{} would replace an input; choose another --out", output.string()),
                 ErrorKind::request};
  }
  std::error_code code;
  if (fs::exists(output, code) && !settings.overwrite && !settings.resume)
    return Runner::exists_already(output);
  return std::nullopt;
}

/// Previews may replace previews, but stand apart from inputs and results.
Failure check_previews(const std::vector<fs::path>& inputs, const RunSettings& settings) {
  if (settings.previews.empty())
    return std::nullopt;
  const fs::path folder = place_of(settings.previews / "");
  const auto is_in_it = [&](const fs::path& path) {
    return place_of(path / "") == folder || place_of(place_of(path).parent_path() / "") == folder;
  };
  const bool holds_results = place_of(settings.output / "") == folder;
  if (!holds_results && std::ranges::none_of(inputs, is_in_it))
    return std::nullopt;
  return Error{fmt::format("{}: previews need a directory apart from inputs and results",
                           settings.previews.string()),
               ErrorKind::request};
}

/// Frames come and go by the thousand: memory that was theirs stays for the next instead of going
/// back to the system and being cleared again, which takes longer than most filters.
void keep_memory_of_frames() {
#ifdef __GLIBC__
  constexpr int any_frame = 1 << 30;
  mallopt(M_MMAP_THRESHOLD, any_frame);
  mallopt(M_TRIM_THRESHOLD, any_frame);
#endif
}

} // namespace

RunOutcome run_filters(Input input, Chain chain, const RunSettings& settings) {
  keep_memory_of_frames();
  return Runner(std::move(input), std::move(chain), settings).run();
}

Failure check_output(const FrameSource& source, const std::vector<fs::path>& inputs,
                     const RunSettings& settings) {
  if (auto failure = check_sink(settings.output, settings.format))
    return failure;
  std::vector<fs::path> all_inputs = source.files();
  all_inputs.insert(all_inputs.end(), inputs.begin(), inputs.end());
  if (auto failure = check_previews(all_inputs, settings))
    return failure;
  if (settings.output == standard_stream)
    return std::nullopt;
  const Format* format = format_of_name("x." + settings.format);
  if (names_one_file(settings.output))
    return check_output_file(all_inputs, settings);
  std::set<fs::path> places;
  for (const fs::path& input : all_inputs)
    places.insert(place_of(input));
  std::map<fs::path, fs::path> writers;
  std::error_code code;
  for (const fs::path& frame : source.files()) {
    const fs::path output = picture_path(settings.output, frame.stem().string(), *format);
    const auto [other, is_first] = writers.emplace(output, frame);
    if (!is_first && other->second != frame) {
      return Error{fmt::format("{} and {} would both write {}", other->second.string(),
                               frame.string(), output.string()),
                   ErrorKind::request};
    }
    if (places.contains(place_of(output))) {
      return Error{fmt::format("{} would replace an input; choose another --out", output.string()),
                   ErrorKind::request};
    }
    if (!settings.overwrite && !settings.resume && fs::exists(output, code))
      return Runner::exists_already(output);
  }
  return std::nullopt;
}

} // namespace gxfilter
