// Drives the exported functions with sequences of calls. Every call goes to two instances of a
// filter which run at different instruction levels and must agree in every bit and every error.

#include <array>
#include <optional>

#include "fuzz/fuzzing.h"
#include "simd/level.h"
#include "support/filter_facts.h"
#include "support/schema.h"

namespace {

using namespace fuzzing;
using namespace filter_processor::simd;
using namespace test;

// ---- parameters ----

std::string read_value(Input& input, const SchemaParameter& parameter) {
  const double edges[] = {parameter.min, parameter.max, parameter.min - parameter.step,
                          parameter.max + parameter.step};
  const unsigned kind = input.below(16);
  if (kind < std::size(edges))
    return parameter.text(edges[kind]);
  if (kind == 4)
    return input.pick("", "x", "nan", "-inf", "inf", "1e400", "0x10", " 7", "-1", "3.5z", "-0",
                      "99999999999999999999", "2147483648", "-2147483649", "1e-320", "4294967297");
  if (kind == 5) {
    const auto bytes = input.take(input.below(8));
    return {bytes.begin(), bytes.end()};
  }
  const double share = input.byte();
  return parameter.text(kind < 8 ? parameter.min + (parameter.max - parameter.min) * share / 255
                                 : std::min(parameter.max, parameter.min + parameter.step * share));
}

/// A target side that needs little memory, or is refused as no frame can have both.
void bound_target_side(std::string& value) {
  if (std::atof(value.c_str()) > 320)
    value = "65535";
}

struct Update {
  std::vector<std::string> values;
  std::vector<const char*> argv;
  int32_t argc = 0;
  const char** arguments = nullptr; ///< argv, or null
};

void point_to_values(Input& input, Update& update) {
  update.argv = gexton::argument_texts(update.values);
  const unsigned oddity = input.below(32);
  if (oddity == 0)
    update.argv.push_back("1");
  update.argc = static_cast<int32_t>(update.argv.size());
  update.arguments = oddity == 3 ? nullptr : update.argv.data();
  if (oddity == 1)
    --update.argc;
  if (oddity == 2)
    update.argc = input.pick(0, -1, INT32_MIN);
  if (oddity == 4 && !update.argv.empty())
    update.argv[input.byte() % update.argv.size()] = nullptr;
}

// ---- frames ----

float read_scale(Input& input) {
  if (input.one_in(8))
    return input.number<float>();
  return input.pick(1.0F, 1.0F, 0.1F, 0.25F, 10.0F, 0.05F, 0.0F, -1.0F, NAN, INFINITY, 3e38F);
}

D2DParameters read_camera_record(Input& input) {
  if (input.one_in(8))
    return input.number<D2DParameters>();
  D2DParameters record = stereo_record();
  record.packMode = input.pick<uint8_t>(1, 2, 3, 4, 2);
  record.isDualCamera = input.one_in(3) ? 0 : 1;
  record.bitSize = input.pick<uint8_t>(12, 8, 10, 14, 16);
  record.dispIntPlace = input.pick(8, 6, 4, 12, -3);
  record.zpd = input.pick(800.0, 0.0, -1.0);
  record.dispOffset = input.pick(0.0F, 0.5F, -3.0F);
  record.invalidDisp = input.pick(0, 5, -1);
  record.baseline = input.pick(50.0F, 0.0F, 3.0F, -1.0F);
  return record;
}

Profile read_profile(Input& input, Size size) {
  const auto format =
      input.pick(GX_FORMAT_Y16, GX_FORMAT_Y16, GX_FORMAT_Y12_SHIFTED, GX_FORMAT_UNKNOWN);
  Profile profile{gexton_create_stream_profile(format, size.width, size.height, nullptr)};
  const D2DParameters record = read_camera_record(input);
  gexton_stream_profile_set_disparity_param(profile.get(), &record, nullptr);
  if (input.one_in(4))
    gx_video_stream_profile_set_intrinsic(profile.get(), input.number<gx_camera_intrinsic>(),
                                          nullptr);
  return profile;
}

/// Gives the frame a buffer that does not go with its size, or a size far beyond its buffer.
void misfit_buffer(Input& input, gx_frame* frame, gx_stream_profile* profile) {
  const uint32_t bytes = gx_frame_get_data_size(frame, nullptr);
  const uint32_t wanted = input.one_in(2) ? bytes + input.byte() : bytes - input.byte();
  const std::vector<uint8_t> data(wanted < bytes + 256 ? wanted : 0, input.byte());
  const unsigned kind = input.below(4);
  if (kind > 1)
    return gx_frame_update_data(frame, data.data(), static_cast<uint32_t>(data.size()), nullptr);
  const auto set_side =
      kind == 0 ? gx_video_stream_profile_set_width : gx_video_stream_profile_set_height;
  set_side(profile, input.pick(70000U, 0x80000000U, UINT32_MAX, 0U), nullptr);
}

/// New pixels or those of the frame before, each at most seven larger or smaller.
Pixels read_pixels_after(Input& input, Size size, Pixels& previous) {
  if (previous.size() != size.pixels() || !input.one_in(2))
    return previous = read_pixels(input, size);
  const uint32_t step = 1 + input.byte();
  for (size_t i = 0; i < previous.size(); ++i)
    if (previous[i] != 0)
      previous[i] = static_cast<uint16_t>(previous[i] + i * step % 15 - 7);
  return previous;
}

Frame read_video_frame(Input& input, gx_frame_type type, Size size, Pixels& previous) {
  const Profile profile = read_profile(input, size);
  const Pixels pixels = read_pixels_after(input, size, previous);
  Frame frame{gexton_create_video_frame(type, profile.get(), pixels.data(), nullptr)};
  gx_video_frame_set_pixel_type(
      frame.get(), static_cast<gx_pixel_type>(input.pick(0, 0, 2, 2, 4, 0, 2, -1, 1, 77)), nullptr);
  gx_video_frame_set_pixel_available_bit_size(
      frame.get(), input.pick<uint8_t>(12, 16, 14, 10, 8, 0, 255), nullptr);
  gx_depth_frame_set_value_scale(frame.get(), read_scale(input), nullptr);
  gexton_frame_set_index(frame.get(), input.byte(), nullptr);
  if (input.one_in(2)) {
    const int64_t offset =
        input.one_in(6) ? input.number<int64_t>() : input.pick(2, 0, 20, -4, 1000);
    gexton_frame_set_metadata(frame.get(), GX_METADATA_DISPARITY_OFFSET, offset, nullptr);
  }
  if (input.one_in(12))
    misfit_buffer(input, frame.get(), profile.get());
  return frame;
}

Frame read_frame(Input& input, Size size, Pixels& previous) {
  const auto depth = [&] { return read_video_frame(input, GX_FRAME_DEPTH, size, previous); };
  const auto colour = [&] {
    Pixels none;
    return read_video_frame(input, GX_FRAME_COLOR, {4, 3}, none);
  };
  switch (input.below(24)) {
  case 0:
    return nullptr;
  case 1:
    return Frame{gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, input.byte(), nullptr)};
  case 2:
    return colour();
  case 3:
    return gexton::make_frame_set({});
  case 4:
    return gexton::make_frame_set({colour().get()});
  case 5:
  case 6:
    return gexton::make_frame_set({colour().get(), depth().get()});
  case 7:
  case 8:
    return gexton::make_frame_set({depth().get()});
  default:
    return depth();
  }
}

std::string dump(const Frame& frame) {
  return frame == nullptr ? "" : gexton::FrameState(*frame).dump();
}

// ---- calls ----

enum class Slot { empty, none, holding_an_error };

/// What a call left behind; `error` is "" where it wrote none.
struct Outcome {
  Frame frame;
  std::string error;
};

/// `function(error slot)`, with a slot as hosts may hand it over.
template <typename Function>
Outcome call(Slot kind, Function function) {
  ErrorSlot held, written;
  gx_error* before = nullptr;
  if (kind == Slot::holding_an_error) {
    before = gx_create_error(GX_STATUS_ERROR, "old", "", "", GX_EXCEPTION_TYPE_UNKNOWN);
    *held.receive() = before;
  }
  gx_error* error = before;
  Outcome outcome{Frame{function(kind == Slot::none ? nullptr : &error)}, ""};
  if (error != before) {
    require(error != nullptr, "a slot is not emptied");
    *written.receive() = error;
    outcome.error = written.text();
  }
  return outcome;
}

class Twins {
 public:
  Twins(const FilterFacts& filter, Level other_level)
      : filter_(filter), levels_{supported_levels().back(), other_level},
        instances_{gexton::Filter::create(filter.name), gexton::Filter::create(filter.name)} {
    for (const gexton::Filter& instance : instances_)
      require(bool(instance), "every filter can be made");
    parameters_ = schema_of(instances_[0]);
  }

  void update(Input& input) {
    Update update;
    for (const SchemaParameter& parameter : parameters_)
      update.values.push_back(read_value(input, parameter));
    if (filter_.size_parameter >= 0)
      for (const int side : {filter_.size_parameter, filter_.size_parameter + 1})
        bound_target_side(update.values[static_cast<size_t>(side)]);
    point_to_values(input, update);
    configure(input, [&](gx_priv_filter_context& context, gx_error** error) {
      context.update_config(context.filter, update.argc, update.arguments, error);
    });
  }

  /// Resizing refuses frames that do not come out at the configured size.
  void fit_resize(Input& input, Size size) {
    const float scale = input.pick(1.0F, 0.5F, 2.0F, 1.5F, 0.1F, 3.3F);
    const auto side = [&](uint32_t source, int before, int behind) {
      const float end = static_cast<float>(source) * scale + static_cast<float>(before);
      return std::to_string(static_cast<long>(end + static_cast<float>(behind)));
    };
    const int left = input.byte() - 128;
    const int right = input.byte() - 128;
    const int top = input.byte() - 128;
    const int bottom = input.byte() - 128;
    const std::string texts[] = {side(size.width, left, right), side(size.height, top, bottom),
                                 std::to_string(scale),         std::to_string(left),
                                 std::to_string(right),         std::to_string(top),
                                 std::to_string(bottom)};
    ErrorSlot refusal;
    for (gexton::Filter& instance : instances_)
      instance.update_config({std::begin(texts), std::end(texts)}, refusal);
  }

  void set_record(Input& input) {
    std::vector<uint8_t> data(input.pick(290U, 290U, 290U, 290U, 0U, 4U, 289U, 291U));
    if (data.size() == 290) {
      const naive::false_positive::Record record = read_record(input);
      std::copy(record.bytes.begin(), record.bytes.end(), data.begin() + 1);
    }
    const bool null = input.one_in(16);
    configure(input, [&](gx_priv_filter_context& context, gx_error** error) {
      context.set_config_data(context.filter, null ? nullptr : data.data(), data.size(), error);
    });
  }

  void reset() {
    for (gexton::Filter& instance : instances_)
      instance.reset();
  }

  /// Returns the pixels that it took from the budget.
  size_t process(Input& input, size_t pixel_budget) {
    const bool as_before = input.below(4) != 0 && size_.pixels() <= pixel_budget;
    if (!as_before || size_.pixels() == 0)
      size_ = read_size(input, pixel_budget);
    process_frame(input, size_);
    return size_.pixels();
  }

 private:
  void process_frame(Input& input, Size size) {
    if (filter_.must_fit_frame && !input.one_in(4))
      fit_resize(input, size);
    const Frame frame = read_frame(input, size, previous_);
    const std::string before = dump(frame);
    const auto slot = input.pick(Slot::empty, Slot::empty, Slot::none, Slot::holding_an_error);
    const uint64_t failing_call = input.one_in(8) ? input.below(48) : 0;
    Outcome outcomes[2];
    for (size_t i = 0; i < 2; ++i) {
      outcomes[i] = process_at(levels_[i], instances_[i].context(), frame, slot, failing_call);
      require(dump(frame) == before, "the input frame stays as it was");
    }
    const auto& [first, second] = outcomes;
    require(first.error == second.error, "both levels report the same");
    require(dump(first.frame) == dump(second.frame), "both levels give the same frame");
    check(frame, first, slot);
  }

  template <typename Configure>
  void configure(Input& input, Configure one) {
    const auto slot = input.pick(Slot::empty, Slot::none, Slot::holding_an_error);
    std::string errors[2];
    for (size_t i = 0; i < 2; ++i) {
      errors[i] = call(slot, [&](gx_error** error) -> gx_frame* {
                    one(instances_[i].context(), error);
                    return nullptr;
                  }).error;
    }
    require(errors[0] == errors[1], "two instances report the same");
  }

  static Outcome process_at(Level level, const gx_priv_filter_context& context, const Frame& frame,
                            Slot slot, uint64_t failing_call) {
    use_level(level);
    gexton_fail_nth_call(failing_call);
    Outcome outcome = call(slot, [&](gx_error** error) {
      return context.process(context.filter, frame.get(), error);
    });
    gexton_clear_faults();
    return outcome;
  }

  void check(const Frame& input, const Outcome& outcome, Slot slot) const {
    if (outcome.frame == nullptr) {
      const bool told = slot != Slot::none && input != nullptr;
      require(outcome.error.empty() != told, "a failure is reported where there is a slot for it");
      return;
    }
    require(outcome.error.empty(), "a result comes without an error");
    require(input != nullptr, "nothing comes of nothing");
    const Frame from = gexton::depth_frame_of(*input);
    require(from != nullptr, "only depth frames and sets with one are filtered");
    const Frame to = gexton::depth_frame_of(*outcome.frame);
    require(to != nullptr, "the result holds a depth frame");
    const auto same = [](auto property, const Frame& one, const Frame& other) {
      return property(one.get(), nullptr) == property(other.get(), nullptr);
    };
    require(same(gx_frame_get_type, outcome.frame, input), "a frame for a frame, a set for a set");
    require(same(gx_frame_get_index, to, from), "the frame number stays");
    if (filter_.converts &&
        gx_video_frame_get_pixel_type(from.get(), nullptr) != GX_PIXEL_DISPARITY)
      require(dump(outcome.frame) == dump(input), "what is no disparity comes back as it was");
    if (filter_.size_parameter < 0)
      require(same(gx_frame_get_data_size, to, from), "the size stays");
    check_pixels(*from, *to);
  }

  static bool has_all_pixels(const gx_frame& frame) {
    return gx_frame_get_data_size(&frame, nullptr) / 2 >=
           uint64_t{gx_video_frame_get_width(&frame, nullptr)} *
               gx_video_frame_get_height(&frame, nullptr);
  }

  /// What holds for each pixel whatever the parameters.
  void check_pixels(const gx_frame& from, const gx_frame& to) const {
    require(has_all_pixels(to) || !has_all_pixels(from), "the result has all its pixels");
    if (filter_.pixel == Pixel::may_change)
      return;
    const bool clears = filter_.pixel == Pixel::may_be_cleared;
    const Pixels before = pixels_of(&from);
    const Pixels after = pixels_of(&to);
    for (size_t i = 0; i < before.size(); ++i) {
      // Filling with the nearest takes the largest value for a hole too.
      const bool open = before[i] == 0 || before[i] == 65535;
      require(after[i] == before[i] || (clears ? after[i] == 0 : open),
              clears ? "pixels are cleared or stay" : "only holes are filled");
    }
  }

  const FilterFacts& filter_;
  Level levels_[2];
  gexton::Filter instances_[2];
  std::vector<SchemaParameter> parameters_;
  Size size_{0, 0}; ///< of the last frame
  Pixels previous_; ///< its pixels
};

void ask_for_lists(Input& input) {
  const uint64_t count = gx_get_filter_count(nullptr);
  const auto index = input.number<int32_t>();
  require(std::strlen(gx_get_filter_name(index, nullptr)) > 0, "every index has some name");
  require(gx_create_filter(count + input.number<uint64_t>() / 2, nullptr) == nullptr,
          "there is no filter outside the list");
}

void run(Input& input) {
  constexpr int most_steps = 24;
  const auto levels = supported_levels();
  const Level other_level = levels[input.byte() % std::max<size_t>(levels.size() - 1, 1)];
  std::array<std::optional<Twins>, 3> filters;
  size_t pixel_budget = 16384; // keeps a run short
  for (int step = 0; step < most_steps && !input.ended(); ++step) {
    std::optional<Twins>& twins = filters[input.below(filters.size())];
    if (!twins)
      twins.emplace(all_filters()[input.below(all_filters().size())], other_level);
    const unsigned action = input.below(16);
    if (action == 0)
      twins.reset();
    else if (action == 1)
      twins->reset();
    else if (action == 2)
      twins->set_record(input);
    else if (action == 3)
      ask_for_lists(input);
    else if (action < 7)
      twins->update(input);
    else
      pixel_budget -= twins->process(input, pixel_budget);
  }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const gexton::LiveHandles before;
  Input input({data, size});
  run(input);
  require(before.left_over().empty(), "no handle is left over or given back twice");
  return 0;
}
