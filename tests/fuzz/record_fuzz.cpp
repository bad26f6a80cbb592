// FalsePositiveFilter configured by arbitrary records, against the naive form: which frames are
// refused and every pixel of the others.

#include "fuzz/fuzzing.h"
#include "support/filter.h"

namespace {

using namespace fuzzing;
using namespace filter_processor::simd;
using namespace test;

/// Bytes of the record that parameter strings set, and so does a reset; offset and length.
constexpr std::pair<size_t, size_t> parameter_bytes[] = {{52, 1},  {59, 16}, {79, 5},
                                                         {84, 16}, {160, 5}, {167, 16}};

class Pair {
 public:
  void set_record(Input& input) {
    const naive::false_positive::Record record = read_record(input);
    std::vector<uint8_t> blob(1, input.byte());
    blob.insert(blob.end(), record.bytes.begin(), record.bytes.end());
    ErrorSlot error;
    filter_.set_config_data(blob.data(), blob.size(), error);
    const bool usable = record.u16(0) != 0 && record.u16(2) != 0 && record.u16(8) != 0;
    require(!error == usable, "only records without size or bin width are refused");
    if (usable)
      model_.anchor = record;
  }

  void reset() {
    filter_.reset();
    for (const auto& [offset, length] : parameter_bytes)
      std::copy_n(&defaults_.bytes[offset], length, &model_.anchor.bytes[offset]);
    model_.params_changed = false;
  }

  void process(Input& input, Size size) {
    Pixels expected = read_pixels(input, size);
    const Frame frame = make_frame(size.width, size.height, expected);
    ErrorSlot error;
    const Frame output = filter_.process(frame, error);
    const std::string message =
        model_.process(expected, static_cast<int>(size.width), static_cast<int>(size.height));
    require(error.text().substr(0, error.text().find(" |")) == message,
            "the same frames are refused");
    require((output != nullptr) == message.empty(), "a result or an error");
    require(output == nullptr || pixels_of(output.get()) == expected,
            "every pixel is as in the naive form");
  }

 private:
  const naive::false_positive::Record defaults_ = naive::false_positive::default_record();
  naive::false_positive::Fired fired_;
  naive::false_positive::Filter model_{fired_};
  Filter filter_{"FalsePositiveFilter"};
};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr int most_steps = 12;
  Input input({data, size});
  const auto levels = supported_levels();
  use_level(levels[input.byte() % levels.size()]);
  Pair pair;
  Size frame_size{24, 16};
  size_t pixel_budget = 8192; // keeps a run short
  for (int step = 0; step < most_steps && !input.ended(); ++step) {
    const unsigned action = input.below(8);
    if (action < 3) {
      pair.set_record(input);
    } else if (action == 3) {
      pair.reset();
    } else {
      if (action > 5)
        frame_size = read_size(input, 4096);
      if (frame_size.width > 65535 || frame_size.pixels() > pixel_budget)
        break;
      pixel_budget -= frame_size.pixels();
      pair.process(input, frame_size);
    }
  }
  return 0;
}
