// The table of digests, made of the naive forms of the filters; of the filters themselves it knows
// but plain records of numbers. Prints the table, or with --check how it differs from the one that
// is compiled in. A case that sees no frame, or that does the same as another, would prove nothing.

#include <cstdio>
#include <memory>
#include <set>
#include <utility>

#include "golden/plan.h"
#include "golden/table.h"
#include "naive/depth_adaptive.h"
#include "naive/depth_resize.h"
#include "naive/disparity_filters.h"
#include "naive/edge_strips_filters.h"
#include "naive/false_positive.h"
#include "naive/hardware_d2d.h"
#include "naive/hole_filling.h"
#include "naive/spatial_fast.h"
#include "naive/speckle_filters.h"
#include "naive/temporal.h"

namespace {

using namespace golden;
using test::CameraFrame;

/// What a naive filter makes of a frame, in place.
struct Made {
  std::string error{};
  bool passed_on = false; ///< the whole input, as it was
};

/// The parts of the interface that naive filters have in common.
class NaiveFilter : public Subject {
 public:
  bool has_made_pixels() const { return has_made_pixels_; }
  std::string set_record(const Record& /*record*/) override { return ""; }
  Outcome process(const Step& step) final {
    CameraFrame frame = step.frame;
    const Made made = make(frame);
    Outcome outcome{.error = made.error};
    if (!made.error.empty())
      return outcome;
    has_made_pixels_ |= !made.passed_on && !frame.pixels.empty();
    outcome.is_set = step.in_set;
    outcome.set_index = step.in_set ? step.frame.index : 0;
    if (made.passed_on && step.in_set)
      outcome.frames.push_back(color_frame());
    outcome.frames.push_back(made.passed_on ? step.frame : frame);
    return outcome;
  }

 private:
  virtual Made make(CameraFrame& frame) = 0;

  bool has_made_pixels_ = false;
};

/// A filter of a naive form that takes values and can be reset.
template <typename Model>
class Of : public NaiveFilter {
 public:
  template <typename... Arguments>
  explicit Of(Arguments&&... arguments) : model_{std::forward<Arguments>(arguments)...} {}

  std::string update(const Values& values) final {
    model_.update(values);
    return "";
  }
  void reset() final { model_.reset(); }

 protected:
  Model model_;
};

/// One that changes pixels alone.
template <typename Model>
class OfPixels final : public Of<Model> {
  using Of<Model>::Of;

  Made make(CameraFrame& frame) override {
    std::string error;
    frame.pixels = this->model_.process(frame, error);
    return {error};
  }
};

struct HoleFilling {
  int mode = 0;

  void update(const Values& values) { mode = std::stoi(values[0]); }
  void reset() { mode = 0; }
  naive::Pixels process(const CameraFrame& frame, std::string& /*error*/) const {
    naive::Pixels pixels = frame.pixels;
    naive::fill({pixels, frame.width, frame.height}, mode, frame.pixel_type == GX_PIXEL_DISPARITY);
    return pixels;
  }
};

naive::false_positive::Fired fired;

class FalsePositive final : public Of<naive::false_positive::Filter> {
 public:
  FalsePositive() : Of(fired) {}

  std::string set_record(const Record& record) override {
    std::copy(record.begin() + 1, record.end(), model_.anchor.bytes.begin());
    return "";
  }

 private:
  Made make(CameraFrame& frame) override {
    const std::string error =
        model_.process(frame.pixels, static_cast<int>(frame.width), static_cast<int>(frame.height));
    if (error.empty())
      return {};
    return {error + " | FalsePositiveFilter::filter_process | FalsePositiveFilter | 0"};
  }
};

class Disparity final : public Of<naive::DisparityFilter> {
  using Of::Of;

  Made make(CameraFrame& frame) override {
    if (frame.pixel_type != GX_PIXEL_DISPARITY)
      return {.passed_on = true};
    frame.pixels = model_.convert(frame).value_or(naive::Pixels{});
    frame.pixel_type = GX_PIXEL_DEPTH;
    frame.bits = model_.output_bits;
    frame.scale = 1.0F / model_.value_scale;
    if (model_.resampling.is_on()) {
      frame.width = model_.resampling.width;
      frame.height = model_.resampling.height;
      frame.intrinsic.width = static_cast<int16_t>(frame.width);
      frame.intrinsic.height = static_cast<int16_t>(frame.height);
    }
    return {};
  }
};

class HardwareD2D final : public NaiveFilter {
 public:
  std::string update(const Values& /*values*/) override { return ""; }
  void reset() override { filter_.reset(); }

 private:
  Made make(CameraFrame& frame) override {
    const bool is_depth = frame.pixel_type == GX_PIXEL_DEPTH;
    const auto corrected = is_depth ? filter_.correct(frame) : std::nullopt;
    frame.pixels = corrected.value_or(frame.pixels);
    return {.passed_on = !corrected};
  }

  naive::HardwareD2D filter_;
};

class DepthResize final : public Of<naive::DepthResize> {
 public:
  DepthResize() { model_.scale = 0; }

 private:
  Made make(CameraFrame& frame) override {
    const std::string where = " | DepthResize::filter_process | DepthResize | ";
    if (!model_.fits(frame.width, frame.height))
      return {"incorrect config schema" + where + "4"};
    if (model_.dst_width == 0 || model_.dst_height == 0)
      return {"depth resize error" + where + "0"};
    frame.pixels = model_.resize(frame.pixels, frame.width, frame.height);
    frame.width = model_.dst_width;
    frame.height = model_.dst_height;
    return {};
  }
};

std::unique_ptr<NaiveFilter> make_filter(const std::string& name) {
  if (name == "DisparityTransform" || name == "OpenNIDisparityTransform")
    return std::make_unique<Disparity>(name[0] == 'O');
  if (name == "HoleFillingFilter")
    return std::make_unique<OfPixels<HoleFilling>>();
  if (name == "NoiseRemovalFilter" || name == "LutNoiseRemovalFilter")
    return std::make_unique<OfPixels<naive::SpeckleFilter>>(name[0] == 'L');
  if (name == "SpatialAdvancedFilter")
    return std::make_unique<OfPixels<test::SpatialAdvancedModel>>();
  if (name == "TemporalFilter")
    return std::make_unique<OfPixels<naive::Temporal>>();
  if (name == "DepthResize")
    return std::make_unique<DepthResize>();
  if (name == "EdgeNoiseRemovalFilter" || name == "MgcNoiseRemovalFilter")
    return std::make_unique<OfPixels<naive::EdgeStripsFilter>>(name[0] == 'M');
  if (name == "HardwareD2DCorrectionFilter")
    return std::make_unique<HardwareD2D>();
  if (name == "SpatialFastFilter")
    return std::make_unique<OfPixels<naive::SpatialFast>>();
  if (name == "SpatialModerateFilter")
    return std::make_unique<OfPixels<test::SpatialModerateModel>>();
  if (name == "FalsePositiveFilter")
    return std::make_unique<FalsePositive>();
  return nullptr;
}

} // namespace

int main(int argc, char** argv) {
  const bool check = argc > 1 && std::string(argv[1]) == "--check";
  const std::vector<Case> cases = all_cases();
  size_t differing = 0;
  size_t worthless = 0;
  std::set<uint64_t> digests;
  for (const Case& each : cases) {
    const auto filter = make_filter(each.filter);
    if (filter == nullptr) {
      std::fprintf(stderr, "%s has no naive form\n", each.filter.c_str());
      return 1;
    }
    const uint64_t digest = digest_of(steps_of(each), *filter);
    const bool is_new = digests.insert(digest).second;
    if (!is_new || !filter->has_made_pixels()) {
      ++worthless;
      std::fprintf(stderr, "%s proves nothing\n", each.name().c_str());
    }
    if (check && expected_digest(each.name()) == digest)
      continue;
    ++differing;
    std::printf("%s %016llx\n", each.name().c_str(), static_cast<unsigned long long>(digest));
  }
  if (!check)
    return worthless == 0 ? 0 : 1;
  std::printf("%zu cases, %zu lines in the table, %zu cases differ from it\n", cases.size(),
              table_size(), differing);
  return differing + worthless == 0 && cases.size() == table_size() ? 0 : 1;
}
