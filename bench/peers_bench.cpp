// What OpenCV has for the filters' jobs, in one thread. Not the same results: the nearest thing.
// Without OpenCV there is nothing to compare with.

#include "measure.h"

#if defined(FILTER_PROCESSOR_BENCH_OPENCV)

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/ximgproc/edge_filter.hpp>

namespace bench {
namespace {

/// The scene as an image of the type, which the caller owns.
cv::Mat image(Size size, int type) {
  const Pixels& scene = cached(noisy_scene, size);
  cv::Mat converted;
  cv::Mat(static_cast<int>(size.height), static_cast<int>(size.width), CV_16UC1,
          const_cast<uint16_t*>(scene.data())) // read only
      .convertTo(converted, type);
  return converted;
}

/// `call(from, to)` reads an image of `type`.
template <typename Call>
void add(const char* peer, int type, Call call) {
  for (const Size size : sizes) {
    const auto run = [=](benchmark::State& state) {
      const cv::Mat from = image(size, type);
      cv::Mat to;
      call(from, to); // makes `to`
      for (auto _ : state) {
        call(from, to);
        benchmark::ClobberMemory();
      }
      set_throughput(state, size);
    };
    const std::string name = std::string("opencv/") + peer + "/" + text(size);
    benchmark::RegisterBenchmark(name.c_str(), run);
  }
}

void add_filter_speckles() {
  for (const Size size : sizes) {
    const auto run = [=](benchmark::State& state) {
      cv::Mat buffer; // kept from frame to frame
      measure_with_copy(state, cached(noisy_scene, size), [&](Pixels& pixels) {
        cv::Mat depth(static_cast<int>(size.height), static_cast<int>(size.width), CV_16SC1,
                      pixels.data());
        cv::filterSpeckles(depth, 0, 80, 160, buffer);
      });
      set_throughput(state, size);
    };
    benchmark::RegisterBenchmark(("opencv/filterSpeckles/" + text(size)).c_str(), run);
  }
}

void resize(const cv::Mat& from, cv::Mat& to, int factor) {
  cv::resize(from, to, from.size() * factor, 0, 0, cv::INTER_NEAREST);
}

void accumulate(const cv::Mat& from, cv::Mat& to) {
  if (to.empty())
    to = cv::Mat(from.size(), CV_32FC1, cv::Scalar(1000));
  cv::accumulateWeighted(from, to, 0.4);
}

} // namespace

void register_peers() {
  cv::setNumThreads(1);
  using Mat = cv::Mat;
  add("medianBlur_3x3", CV_16U, [](const Mat& from, Mat& to) { cv::medianBlur(from, to, 3); });
  add("medianBlur_5x5", CV_16U, [](const Mat& from, Mat& to) { cv::medianBlur(from, to, 5); });
  add("dilate_3x3", CV_16U, [](const Mat& from, Mat& to) { cv::dilate(from, to, Mat()); });
  add("blur_5x5", CV_16U, [](const Mat& from, Mat& to) { cv::blur(from, to, {5, 5}); });
  add("bilateralFilter_5x5", CV_32F,
      [](const Mat& from, Mat& to) { cv::bilateralFilter(from, to, 5, 160, 2); });
  add("dtFilter", CV_32F, [](const Mat& from, Mat& to) {
    cv::ximgproc::dtFilter(from, from, to, 10, 160, cv::ximgproc::DTF_RF, 1);
  });
  add("accumulateWeighted", CV_16U, accumulate);
  add("resize_same", CV_16U, [](const Mat& from, Mat& to) { resize(from, to, 1); });
  add("resize_double", CV_16U, [](const Mat& from, Mat& to) { resize(from, to, 2); });
  add_filter_speckles();
}

} // namespace bench

#else

void bench::register_peers() {}

#endif
