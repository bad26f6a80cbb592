// What an element costs beside the filter that it drives, in microseconds for a buffer of
// 640x480, as rows of a table. Element and direct call take turns; the medians are shown. Fails
// where an element costs more than it may.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "pipeline.h"

namespace {

using namespace gst_test;

constexpr FrameSize size{640, 480};
constexpr int rounds = 1000;
constexpr double most = 20;           ///< microseconds that an element may cost
constexpr int most_trials = 10;       ///< other programs' work only adds
constexpr double most_share = 1. / 3; ///< of the filter's own time: memory that it leaves cold

[[noreturn]] void fail(const char* name, const std::string& reason) {
  std::fprintf(stderr, "%s: %s\n", name, reason.c_str());
  std::exit(1);
}

template <class Work>
double microseconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
      .count();
}

double median(std::vector<double> times) {
  std::ranges::nth_element(times, times.begin() + rounds / 2);
  return times[rounds / 2];
}

/// Medians of a frame through the filter alone and through its element.
struct Cost {
  double direct;
  double element;

  double difference() const { return element - direct; }
};

Cost measure(const char* filter, const char* element, const Image& image) {
  auto direct = gexton::Filter::create(filter);
  std::vector<std::string> values;
  for (const gexton::Parameter& parameter : direct.schema())
    values.push_back(parameter.default_value);
  gexton::ErrorSlot slot;
  direct.update_config(values, slot);
  const auto camera = recordings::make_camera(recordings::CameraFacts::object(), size);
  const auto profile = recordings::make_profile(size, *camera);
  // Made once, given back each time.
  const auto frame = recordings::make_frame(recordings::ImageView(image), 0, **profile, *camera);
  Pipeline pipeline(element, size);
  GstBuffer* const buffer = make_buffer(image, 0, 0);
  std::vector<double> direct_times;
  std::vector<double> element_times;
  for (int i = 0; i < rounds; ++i) {
    direct_times.push_back(microseconds([&] { direct.process(**frame, slot); }));
    element_times.push_back(microseconds([&] {
      GstBuffer* const output =
          gst_harness_push_and_pull(pipeline.harness(), gst_buffer_ref(buffer));
      if (output == nullptr)
        fail(element, "it gives no frame");
      gst_buffer_unref(output);
    }));
    if (slot) // a failure costs less than a frame
      fail(filter, slot.text());
  }
  gst_buffer_unref(buffer);
  return {median(direct_times), median(element_times)};
}

double allowed(const Cost& cost) {
  return std::max(most, cost.direct * most_share);
}

/// Whether the element costs no more than it may.
bool show(const char* filter, const char* element, const Image& image) {
  Cost cost = measure(filter, element, image);
  for (int trial = 1; trial < most_trials && cost.difference() > allowed(cost); ++trial) {
    const Cost again = measure(filter, element, image);
    cost = again.difference() < cost.difference() ? again : cost;
  }
  std::printf("| `%s` | %.1f | %.1f | %.1f |\n", element, cost.direct, cost.element,
              cost.difference());
  if (cost.difference() <= allowed(cost))
    return true;
  std::fprintf(stderr, "%s costs %.1f microseconds beside its filter; it may cost %.0f\n", element,
               cost.difference(), allowed(cost));
  return false;
}

} // namespace

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  const Image image = scene(size, 0);
  bool is_cheap = true;
  for (const auto& [filter, element] :
       {std::pair("HoleFillingFilter", "depthholefillingfilter"),
        std::pair("EdgeNoiseRemovalFilter", "depthedgenoiseremovalfilter"),
        std::pair("TemporalFilter", "depthtemporalfilter"),
        std::pair("SpatialFastFilter", "depthspatialfastfilter"),
        std::pair("NoiseRemovalFilter", "depthnoiseremovalfilter")})
    is_cheap = show(filter, element, image) && is_cheap;
  return is_cheap ? 0 : 1;
}
