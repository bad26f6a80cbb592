// What an element costs beside the filter that it drives, in microseconds for a buffer of
// 640x480, as rows of a table. Element and direct call take turns; the medians are shown.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "pipeline.h"

namespace {

using namespace gst_test;

constexpr FrameSize size{640, 480};
constexpr int rounds = 400;

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

/// A frame through the filter alone: made once, given back each time.
void measure(const char* filter, const char* element, const Image& image) {
  auto direct = gexton::Filter::create(filter);
  std::vector<std::string> values;
  for (const gexton::Parameter& parameter : direct.schema())
    values.push_back(parameter.default_value);
  gexton::ErrorSlot slot;
  direct.update_config(values, slot);
  const auto camera = recordings::make_camera(recordings::CameraFacts::object(), size);
  const auto profile = recordings::make_profile(size, *camera);
  const auto frame = recordings::make_frame(recordings::ImageView(image), 0, **profile, *camera);
  Pipeline pipeline(element, size);
  GstBuffer* const buffer = make_buffer(image, 0, 0);
  std::vector<double> direct_times;
  std::vector<double> element_times;
  for (int i = 0; i < rounds; ++i) {
    direct_times.push_back(microseconds([&] { direct.process(**frame, slot); }));
    element_times.push_back(microseconds([&] {
      gst_buffer_unref(gst_harness_push_and_pull(pipeline.harness(), gst_buffer_ref(buffer)));
    }));
  }
  gst_buffer_unref(buffer);
  const double alone = median(direct_times);
  const double whole = median(element_times);
  std::printf("| `%s` | %.1f | %.1f | %.1f |\n", element, alone, whole, whole - alone);
}

} // namespace

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  const Image image = scene(size, 0);
  measure("HoleFillingFilter", "depthholefillingfilter", image);
  measure("EdgeNoiseRemovalFilter", "depthedgenoiseremovalfilter", image);
  measure("TemporalFilter", "depthtemporalfilter", image);
  measure("SpatialFastFilter", "depthspatialfastfilter", image);
  measure("NoiseRemovalFilter", "depthnoiseremovalfilter", image);
}
